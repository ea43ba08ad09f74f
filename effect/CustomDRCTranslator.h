/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "effect/Translator.h"

namespace velora {

// The custom DRC metadata ("DRCM"), as it is.
class CustomDRCTranslator : public Translator {
  public:
    static const std::vector<Parameter> kSrcParams;

    const std::vector<Parameter>& getSrcParams() const override { return kSrcParams; }
    void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                      bool mono) const override;
};

}  // namespace velora
