/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tuning/DeviceData.h"

namespace velora {

DeviceData::DeviceData() = default;

DeviceData::~DeviceData() = default;

std::string DeviceData::getFormatVersion() { return mFormatVersion; }

std::string DeviceData::getToolVersion() { return mToolVersion; }

std::set<IeqPreset*>& DeviceData::getIeqPresets() { return mIeqPresets; }

std::set<GeqPreset*>& DeviceData::getGeqPresets() { return mGeqPresets; }

std::set<Profile*>& DeviceData::getProfiles() { return mProfiles; }

std::set<ProfileEndpoint*>& DeviceData::getProfileEndpoints() { return mProfileEndpoints; }

std::set<Tuning*>& DeviceData::getTunings() { return mTunings; }

std::set<DeviceTuning*>& DeviceData::getDeviceTunings() { return mDeviceTunings; }

void DeviceData::setFormatVersion(const std::string& version) { mFormatVersion = version; }

void DeviceData::setToolVersion(const std::string& version) { mToolVersion = version; }

void DeviceData::setIeqPresets(const std::set<IeqPreset*>& presets) { mIeqPresets = presets; }

void DeviceData::setGeqPresets(const std::set<GeqPreset*>& presets) { mGeqPresets = presets; }

void DeviceData::setProfiles(const std::set<Profile*>& profiles) { mProfiles = profiles; }

void DeviceData::setProfileEndPoints(const std::set<ProfileEndpoint*>& endpoints) {
    mProfileEndpoints = endpoints;
}

void DeviceData::setTunings(const std::set<Tuning*>& tunings) { mTunings = tunings; }

void DeviceData::setDeviceTunings(const std::set<DeviceTuning*>& deviceTunings) {
    mDeviceTunings = deviceTunings;
}

std::string DeviceData::getSignature() { return mSignature; }

void DeviceData::setSignature(const std::string& signature) { mSignature = signature; }

void DeviceData::validateData() {
    for (Profile* profile : mProfiles) {
        // Looked up with insertion on purpose: the store writes what the profile holds, and a
        // profile read without the value carries an empty one from here on.
        const std::vector<int>& enable = profile->lookup(ieq_enable);
        if (enable.empty() || enable[0] == 0) {
            profile->setSelectedIeqPreset(PRESET_OFF);
        }
    }
}

}  // namespace velora
