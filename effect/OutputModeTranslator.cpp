/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/OutputModeTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter> OutputModeTranslator::kSrcParams =
    {
        virtualizer_enable,
        output_mix_matrix,
        orientation,
};

void OutputModeTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                        Endpoint endpoint, bool mono) const {
    std::vector<int>& virtualizer = values.lookup(virtualizer_enable);
    std::vector<int>& orient = values.lookup(orientation);
    std::vector<int> endpointValue{static_cast<int>(endpoint)};

    if (endpoint != ENDPOINT_SPEAKER) {
        command.add(DOM, {&virtualizer, &endpointValue, &orient});
        return;
    }

    std::vector<int> mixMatrix = values.lookup(output_mix_matrix);
    if (mono) {
        // A mono internal speaker cannot be virtualised and has one orientation. The view is
        // written too, on purpose: it then holds what the effect was sent, and a later change
        // of these two parameters is judged against the forced values.
        virtualizer = {0};
        orient = {1};
    }
    command.add(DOM, {&virtualizer, &endpointValue, &orient, &mixMatrix});
}

}  // namespace velora
