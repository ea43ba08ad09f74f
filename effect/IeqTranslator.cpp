/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/IeqTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> IeqTranslator::kSrcParams = {
    ieq_frequency,
    ieq_target,
};

void IeqTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                 Endpoint /*endpoint*/, bool /*mono*/) const {
    std::vector<int>& frequencies = values.lookup(ieq_frequency);
    std::vector<int>& targets = values.lookup(ieq_target);
    command.add(IEBS, static_cast<int>(frequencies.size()), {&frequencies, &targets});
}

}  // namespace velora
