/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <vector>

#include "effect/PexParameter.h"
#include "effect/Translator.h"

namespace velora {

// Copies one semantic parameter into one effect parameter, as it is: the record holds the
// parameter's whole vector (possibly empty).
class SimpleTranslator : public Translator {
  public:
    SimpleTranslator(PexParameter pexParameter, Parameter parameter);

    const std::vector<Parameter>& getSrcParams() const override { return mSrcParams; }
    void pexTranslate(SetParamCommand& command, ParameterValues& values, Endpoint endpoint,
                      bool mono) const override;

    PexParameter getPexParameter() const { return mPexParameter; }

  private:
    const PexParameter mPexParameter;
    const std::vector<Parameter> mSrcParams;
};

}  // namespace velora
