/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/ProfileParameters.h"

namespace velora {

const std::set<Parameter> ProfileParameters::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::Profile, RecordKind::IeqPreset, RecordKind::GeqPreset});

ProfileParameters::ProfileParameters(ParamChangeObserver* observer)
    : ParameterValues(-1, /*dirty=*/false), mObserver(observer) {
    if (mObserver != nullptr) {
        mObserver->setSource(this, ENDPOINT_OTHER, /*mono=*/false);
    }
}

ProfileParameters::~ProfileParameters() = default;

void ProfileParameters::setProfile(Profile& profile) {
    dropMissing(mProfile, profile);
    mProfile = &profile;
    updateParams(profile);
}

void ProfileParameters::setIeqPreset(IeqPreset& preset) {
    dropMissing(mIeqPreset, preset);
    mIeqPreset = &preset;
    updateParams(preset);
}

void ProfileParameters::setGeqPreset(GeqPreset& preset) {
    dropMissing(mGeqPreset, preset);
    mGeqPreset = &preset;
    updateParams(preset);
}

void ProfileParameters::dropMissing(const ParameterValues* previous,
                                    const ParameterValues& source) {
    // A value of the record replaced that the new one lacks (an equalizer preset without
    // bands) would stay in the view, and reach the effect, though no start would give it.
    if (previous == nullptr || previous == &source) return;
    for (const auto& entry : previous->getValues()) {
        const Parameter parameter = entry.first;
        if (source.getValues().count(parameter) != 0) continue;
        if (checkAndUpdate(parameter, {}) && mObserver != nullptr) {
            mObserver->onParameterChanged(parameter);
        }
    }
}

void ProfileParameters::updateParams(const ParameterValues& source) {
    for (const auto& [parameter, value] : source.getValues()) {
        // The observer reads the new value from this view, so it is told only after the
        // value is stored, and before the next one changes.
        if (checkAndUpdate(parameter, value) && mObserver != nullptr) {
            mObserver->onParameterChanged(parameter);
        }
    }
}

}  // namespace velora
