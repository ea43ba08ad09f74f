/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "effect/Translator.h"

namespace velora {

// The optimizer's band table ("AOBS"): band count, channel count, the band frequencies, then
// one gain row per channel. Only stereo and four-channel outputs have a layout the effect
// knows; any other channel count sends no table.
class AudioOptimizerTranslator : public Translator {
  public:
    static const std::vector<Parameter> kSrcParams;

    const std::vector<Parameter>& getSrcParams() const override { return kSrcParams; }
    void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                      bool mono) const override;
};

}  // namespace velora
