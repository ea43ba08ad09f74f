/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "effect/TranslatorCollection.h"
#include "model/Endpoint.h"
#include "model/ParamChangeObserver.h"
#include "model/ParameterValues.h"

namespace velora {

class SetParamCommand;
class Translator;

// The observer of one merged view: it remembers which translators have work since the last
// batch (a parameter that changed twice is sent once, with its last value) and runs them into
// a batch when the controller asks. Changes that arrive while no batch is asked for stay
// pending, so nothing is lost and nothing is sent twice.
//
// Not thread-safe: used on the thread that delivers state changes to the controller.
class ParameterTranslator : public ParamChangeObserver {
  public:
    // The process-wide map from parameter to translator, shared by every device.
    static const TranslatorCollection sTranslatorCollection;

    ParameterTranslator();
    ~ParameterTranslator() override;

    void setSource(ParameterValues* source, Endpoint endpoint, bool mono) override;
    void onParameterChanged(Parameter parameter) override;

    // Runs every pending translator once into command, then forgets them.
    void translatePending(SetParamCommand& command);
    // Marks every translator fed by the view's parameters pending, then runs them: a full
    // send of what the view holds, changed or not.
    void translateAll(SetParamCommand& command);
    // Marks every translation of the view pending, as translateAll does, without sending.
    void markAll();

    const std::set<Translator*>& getPending() const { return mPending; }
    ParameterValues* getSource() const { return mSource; }
    Endpoint getEndpoint() const { return mEndpoint; }
    bool isMono() const { return mMono; }

  private:
    std::set<Translator*> mPending;
    // Runs the pending translations; resend keeps records equal to the last ones sent.
    void translate(SetParamCommand& command, bool resend);

    // What each translation last wrote: its records, and the parameter ids among them that
    // got values. A translation that gives fewer ids now (the source lost a value, a tuning
    // has fewer channels) sends the others with no values, so that the effect holds no value
    // that the current sources would not give it; one that writes what it wrote last time is
    // taken back out of the batch, since the effect holds that already.
    struct Given {
        std::vector<int> words;
        std::set<uint32_t> ids;
    };
    std::map<Translator*, Given> mGiven;
    ParameterValues* mSource;
    Endpoint mEndpoint;
    bool mMono;
};

}  // namespace velora
