/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "model/Endpoint.h"
#include "model/Parameter.h"
#include "model/ParameterValues.h"

namespace velora {

class SetParamCommand;

// Turns semantic parameters of a merged view into effect parameter records. A translator
// names the parameters it reads (its sources); a change of any of them makes the translator
// run in the next batch, where it reads all of them from the view and adds its records.
//
// Translators are constant objects shared by every device: they hold no state of their own,
// and what differs per device (the view, its endpoint and mono flag) comes in as arguments.
class Translator {
  public:
    virtual ~Translator() = default;

    // The semantic parameters this translator reads, in the order it reads them.
    virtual const std::vector<Parameter>& getSrcParams() const = 0;

    // Reads the sources from values and adds this translator's records to command. A source
    // the view lacks is entered in the view with an empty vector and used as empty.
    virtual void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                              bool mono) const = 0;
};

}  // namespace velora
