/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/AudioOptimizerTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter>
    AudioOptimizerTranslator::kSrcParams = {
        audio_optimizer_frequency, audio_optimizer_gain_l,  audio_optimizer_gain_ls,
        audio_optimizer_gain_r,    audio_optimizer_gain_rs,
};

void AudioOptimizerTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                            Endpoint /*endpoint*/, bool /*mono*/) const {
    std::vector<int>& frequencies = values.lookup(audio_optimizer_frequency);
    std::vector<int> bands{static_cast<int>(frequencies.size())};
    const std::vector<int>& channels = values.lookup(output_channels);
    const int channelCount = channels.empty() ? 0 : channels.front();

    // The band count leads here, before the channel count: the effect reads this table in
    // that order (the complex equalizer's table is the other way round).
    if (channelCount == 4) {
        std::vector<int> four{4};
        command.add(
            AOBS, {&bands, &four, &frequencies, &values.lookup(audio_optimizer_gain_l),
                   &values.lookup(audio_optimizer_gain_r), &values.lookup(audio_optimizer_gain_ls),
                   &values.lookup(audio_optimizer_gain_rs)});
    } else if (channelCount == 2) {
        std::vector<int> two{2};
        command.add(AOBS, {&bands, &two, &frequencies, &values.lookup(audio_optimizer_gain_l),
                           &values.lookup(audio_optimizer_gain_r)});
    }
}

}  // namespace velora
