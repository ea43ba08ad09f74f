/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "effect/Translator.h"

namespace velora {

// The output mode ("DOM"): virtualizer switch, endpoint, orientation and, on the speaker, the
// mix matrix. A mono internal speaker is forced to virtualizer off and orientation 1, and the
// view keeps the forced values so that what it holds matches what the effect was sent.
class OutputModeTranslator : public Translator {
  public:
    static const std::vector<Parameter> kSrcParams;

    const std::vector<Parameter>& getSrcParams() const override { return kSrcParams; }
    void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                      bool mono) const override;
};

}  // namespace velora
