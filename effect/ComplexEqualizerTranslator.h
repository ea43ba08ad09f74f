/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "effect/Translator.h"

namespace velora {

// The complex equalizer's channel tunings ("CEQT"), sent while the equalizer is enabled on a
// stereo or four-channel output.
class ComplexEqualizerTranslator : public Translator {
  public:
    static const std::vector<Parameter> kSrcParams;

    const std::vector<Parameter>& getSrcParams() const override { return kSrcParams; }
    void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                      bool mono) const override;
};

}  // namespace velora
