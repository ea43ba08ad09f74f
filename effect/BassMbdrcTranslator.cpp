/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/BassMbdrcTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> BassMbdrcTranslator::kSrcParams = {
    bass_mbdrc_tuning,
};

void BassMbdrcTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                       Endpoint /*endpoint*/, bool /*mono*/) const {
    command.add(BMDT, &values.lookup(bass_mbdrc_tuning));
}

}  // namespace velora
