/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/AudioRegulatorTranslator.h"

#include "effect/SetParamCommand.h"

namespace velora {

// Built before the translator collection reads it (see TranslatorCollection.cpp).
__attribute__((init_priority(102))) const std::vector<Parameter>
    AudioRegulatorTranslator::kSrcParams = {
        regulator_stress_amount,
        regulator_frequency,
        regulator_isolated_band,
        regulator_threshold_high,
        regulator_threshold_low,
        regulator_sibilance_suppress_amounts_left,
        regulator_sibilance_suppress_amounts_left_surround,
        regulator_sibilance_suppress_amounts_right,
        regulator_sibilance_suppress_amounts_right_surround,
};

void AudioRegulatorTranslator::pexTranslate(SetParamCommand& command, ParameterValues& values,
                                            Endpoint /*endpoint*/, bool /*mono*/) const {
    command.add(ARSA, {&values.lookup(output_channels), &values.lookup(regulator_stress_amount)});

    std::vector<int>& frequencies = values.lookup(regulator_frequency);
    // Thresholds go low before high: the order of the effect's band table.
    command.add(
        ARBS, static_cast<int>(frequencies.size()),
        {&frequencies, &values.lookup(regulator_threshold_low),
         &values.lookup(regulator_threshold_high), &values.lookup(regulator_isolated_band)});

    const std::vector<int>& suppress = values.lookup(regulator_sibilance_suppress_enable);
    if (suppress.empty() || suppress.front() != 1) {
        return;
    }
    const std::vector<int>& channels = values.lookup(output_channels);
    const int channelCount = channels.empty() ? 0 : channels.front();
    std::vector<int>& left = values.lookup(regulator_sibilance_suppress_amounts_left);
    std::vector<int> perChannel{static_cast<int>(left.size())};
    // Channel rows in the effect's order: left, right, then the surround pair.
    if (channelCount == 4) {
        std::vector<int> four{4};
        command.add(RSSA, {&four, &perChannel, &left,
                           &values.lookup(regulator_sibilance_suppress_amounts_right),
                           &values.lookup(regulator_sibilance_suppress_amounts_left_surround),
                           &values.lookup(regulator_sibilance_suppress_amounts_right_surround)});
    } else if (channelCount == 2) {
        std::vector<int> two{2};
        command.add(RSSA, {&two, &perChannel, &left,
                           &values.lookup(regulator_sibilance_suppress_amounts_right)});
    }
}

}  // namespace velora
