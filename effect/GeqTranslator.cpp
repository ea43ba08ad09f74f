/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/GeqTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> GeqTranslator::kSrcParams = {
    geq_frequency,
    geq_gain,
};

void GeqTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                 Endpoint /*endpoint*/, bool /*mono*/) const {
    std::vector<int>& frequencies = values.lookup(geq_frequency);
    std::vector<int>& gains = values.lookup(geq_gain);
    command.add(GEBS, static_cast<int>(frequencies.size()), {&frequencies, &gains});
    command.add(VCBF, {&frequencies});
}

}  // namespace velora
