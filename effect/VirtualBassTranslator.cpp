/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/VirtualBassTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> VirtualBassTranslator::kSrcParams =
    {
        virtual_bass_src_freq_low,
        virtual_bass_src_freq_high,
        virtual_bass_mix_freq_low,
        virtual_bass_mix_freq_high,
};

void VirtualBassTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                         Endpoint /*endpoint*/, bool /*mono*/) const {
    command.add(VBSF, {&values.lookup(virtual_bass_src_freq_low),
                       &values.lookup(virtual_bass_src_freq_high)});
    command.add(VBMF, {&values.lookup(virtual_bass_mix_freq_low),
                       &values.lookup(virtual_bass_mix_freq_high)});
}

}  // namespace velora
