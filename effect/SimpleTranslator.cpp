/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/SimpleTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

SimpleTranslator::SimpleTranslator(PexParameter pexParameter, Parameter parameter)
    : mPexParameter(pexParameter), mSrcParams{parameter} {}

void SimpleTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                    Endpoint /*endpoint*/, bool /*mono*/) const {
    std::vector<int>& value = values.lookup(mSrcParams.front());
    command.add(mPexParameter, {&value});
}

}  // namespace velora
