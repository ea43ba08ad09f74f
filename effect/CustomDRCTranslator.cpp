/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/CustomDRCTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> CustomDRCTranslator::kSrcParams = {
    custom_drc_metadata,
};

void CustomDRCTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                       Endpoint /*endpoint*/, bool /*mono*/) const {
    command.add(DRCM, &values.lookup(custom_drc_metadata));
}

}  // namespace velora
