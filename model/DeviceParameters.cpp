/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/DeviceParameters.h"

namespace velora {

const std::set<Parameter> DeviceParameters::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::Tuning, RecordKind::ProfileEndpoint});

DeviceParameters::DeviceParameters(ParamChangeObserver* observer)
    : ParameterValues(-1, /*dirty=*/false), mObserver(observer) {
    // Until a tuning is set the output is translated as "other", not mono.
    if (mObserver != nullptr) {
        mObserver->setSource(this, ENDPOINT_OTHER, /*mono=*/false);
    }
}

DeviceParameters::~DeviceParameters() = default;

void DeviceParameters::setProfile(Profile& profile) {
    mProfile = &profile;
    // Changes nothing today, since no profile parameter belongs here; kept so that the view
    // sees every source the same way.
    updateParams(profile);
}

void DeviceParameters::setProfileEndpoint(ProfileEndpoint& profileEndpoint) {
    mProfileEndpoint = &profileEndpoint;
    updateParams(profileEndpoint);
}

void DeviceParameters::setTuning(Tuning& tuning) {
    mTuning = &tuning;
    // The translation of the changed values depends on the endpoint and the mono flag, so
    // the observer learns them first.
    if (mObserver != nullptr) {
        mObserver->setSource(this, tuning.getEndpoint(), tuning.isMono());
    }
    updateParams(tuning);
}

void DeviceParameters::updateParams(const ParameterValues& source) {
    for (const auto& [parameter, value] : source.getValues()) {
        // The observer reads the new value from this view, so it is told only after the
        // value is stored, and before the next one changes.
        if (checkAndUpdate(parameter, value) && mObserver != nullptr) {
            mObserver->onParameterChanged(parameter);
        }
    }
}

}  // namespace velora
