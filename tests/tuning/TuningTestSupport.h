/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"

namespace velora::testing {

// Path of a file in the repository (examples/..., tests/data/tuning/...).
inline std::string source_file(const std::string& relative) {
    return TempRoot::sourceDir() + "/" + relative;
}

// Writes a tuning file below the temporary root and returns its host path.
inline std::string write_tuning(const TempRoot& root, const std::string& text,
                                const std::string& name = "/tuning.xml") {
    root.write(name, text);
    return root.hostPath(name);
}

// Lookups by the records' own keys; null (or empty) when there is none. Records of a
// DeviceData come in pointer order, so tests never rely on the order of the sets.
inline Tuning* find_tuning(DeviceData& data, const std::string& name) {
    for (Tuning* tuning : data.getTunings()) {
        if (tuning->getName() == name) return tuning;
    }
    return nullptr;
}

inline Profile* find_profile(DeviceData& data, int profileId) {
    for (Profile* profile : data.getProfiles()) {
        if (profile->getProfileId() == profileId) return profile;
    }
    return nullptr;
}

inline ProfileEndpoint* find_endpoint(DeviceData& data, int profileId, Endpoint endpoint) {
    for (ProfileEndpoint* record : data.getProfileEndpoints()) {
        if (record->getProfileId() == profileId && record->getEndpoint() == endpoint) return record;
    }
    return nullptr;
}

inline IeqPreset* find_ieq(DeviceData& data, PresetType type) {
    for (IeqPreset* preset : data.getIeqPresets()) {
        if (preset->getType() == type) return preset;
    }
    return nullptr;
}

inline GeqPreset* find_geq(DeviceData& data, int profileId) {
    for (GeqPreset* preset : data.getGeqPresets()) {
        if (preset->getProfileId() == profileId) return preset;
    }
    return nullptr;
}

inline DeviceTuning* find_device(DeviceData& data, const std::string& device) {
    for (DeviceTuning* entry : data.getDeviceTunings()) {
        if (entry->getDevice() == device) return entry;
    }
    return nullptr;
}

// "device@port" of every entry that selects the tuning, sorted.
inline std::vector<std::string> devices_of(DeviceData& data, const std::string& tuning) {
    std::vector<std::string> devices;
    for (DeviceTuning* entry : data.getDeviceTunings()) {
        if (entry->getTuning() == tuning)
            devices.push_back(entry->getDevice() + "@" + entry->getPort());
    }
    std::sort(devices.begin(), devices.end());
    return devices;
}

}  // namespace velora::testing
