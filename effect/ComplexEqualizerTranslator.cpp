/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/ComplexEqualizerTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter>
    ComplexEqualizerTranslator::kSrcParams = {
        complex_equalizer_tuning_left,
        complex_equalizer_tuning_left_surround,
        complex_equalizer_tuning_right,
        complex_equalizer_tuning_right_surround,
};

void ComplexEqualizerTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                              Endpoint /*endpoint*/, bool /*mono*/) const {
    const std::vector<int>& enable = values.lookup(complex_equalizer_enable);
    if (enable.empty() || enable.front() != 1) {
        return;
    }
    const std::vector<int>& channels = values.lookup(output_channels);
    const int channelCount = channels.empty() ? 0 : channels.front();
    std::vector<int>& left = values.lookup(complex_equalizer_tuning_left);
    std::vector<int> perChannel{static_cast<int>(left.size())};

    // The channel count leads here, before the tuning length; channel rows go left, right,
    // then the surround pair. Both orders are the effect's.
    if (channelCount == 4) {
        std::vector<int> four{4};
        command.add(CEQT,
                    {&four, &perChannel, &left, &values.lookup(complex_equalizer_tuning_right),
                     &values.lookup(complex_equalizer_tuning_left_surround),
                     &values.lookup(complex_equalizer_tuning_right_surround)});
    } else if (channelCount == 2) {
        std::vector<int> two{2};
        command.add(CEQT,
                    {&two, &perChannel, &left, &values.lookup(complex_equalizer_tuning_right)});
    }
}

}  // namespace velora
