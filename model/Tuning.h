/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <set>
#include <string>

#include "model/Endpoint.h"
#include "model/ParameterValues.h"

namespace velora {

// A named set of hardware-dependent parameters (optimizer and regulator bands, bass
// processing, complex equalizer, speaker angles, output mode) for one endpoint. Tunings from
// the tuning file are read-only; devices on a port select one by name (DeviceTuning).
class Tuning : public ParameterValues {
  public:
    // A new tuning from the tuning file: id -1, read-only, dirty.
    Tuning(const std::string& name, Endpoint endpoint, bool mono);
    // A tuning read from the database: clean.
    Tuning(long id, const std::string& name, Endpoint endpoint, bool mono, bool readonly);
    Tuning(const Tuning&) = default;
    Tuning& operator=(const Tuning&) = default;
    ~Tuning() override;

    int64_t getId() const override { return mId; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    const std::string& getName() const { return mName; }
    Endpoint getEndpoint() const { return mEndpoint; }
    // Takes the endpoint by its printable name; an unknown name leaves the endpoint as it is.
    void setEndpoint(const std::string& name);
    void setMono(bool mono) { mMono = mono; }
    bool isMono() const { return mMono; }
    bool isReadonly() const { return mReadonly; }

    std::string toString() const;

    // The 50 parameters a tuning holds.
    static const std::set<Parameter> kValidParams;
    // Printable endpoint name to endpoint: "speaker", "headphone", "other".
    static const std::map<std::string, Endpoint> kEndpNameToEndpoint;

  private:
    std::string mName;
    Endpoint mEndpoint;
    bool mMono;
    bool mReadonly;
};

}  // namespace velora
