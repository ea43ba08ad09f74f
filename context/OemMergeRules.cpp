/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "context/OemMergeRules.h"

#include <utility>

#include "model/DeviceTuning.h"
#include "model/Tuning.h"

namespace velora {

OemMergeRules::OemMergeRules(std::set<std::string> defaultTunings,
                             std::set<std::string> defaultDevices)
    : mDefaultTunings(std::move(defaultTunings)), mDefaultDevices(std::move(defaultDevices)) {}

OemMergeRules::Verdict OemMergeRules::judge(const Tuning& tuning) {
    if (mDefaultTunings.count(tuning.getName()) == 0) return kKeep;
    mDroppedTunings.insert(tuning.getName());
    return kTuningInDefaults;
}

OemMergeRules::Verdict OemMergeRules::judge(const DeviceTuning& device) const {
    if (mDroppedTunings.count(device.getTuning()) != 0) return kDroppedWithTuning;
    if (mDefaultDevices.count(device.getDevice()) != 0) return kDeviceInDefaults;
    return kKeep;
}

}  // namespace velora
