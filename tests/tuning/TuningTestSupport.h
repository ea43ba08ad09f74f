/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"

namespace velora::testing {

// Path of a file in the repository (examples/..., tests/data/tuning/...).
inline std::string source_file(const std::string& relative) {
    return TempRoot::sourceDir() + "/" + relative;
}

// The record whose key (read by the accessor) equals the value, or null. Records of a
// DeviceData come in pointer order, so tests never rely on the order of the sets.
template <typename T, typename Key, typename Value>
T* find_by(const std::set<T*>& records, Key key, const Value& value) {
    for (T* record : records) {
        if ((record->*key)() == value) return record;
    }
    return nullptr;
}
inline Tuning* find_tuning(DeviceData& data, const std::string& name) {
    return find_by(data.getTunings(), &Tuning::getName, name);
}
inline Profile* find_profile(DeviceData& data, int profileId) {
    return find_by(data.getProfiles(), &Profile::getProfileId, profileId);
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

// Records kept: ieq presets, geq presets, profiles, profile endpoints, tunings, devices.
inline std::vector<size_t> counts_of(DeviceData& data) {
    return {data.getIeqPresets().size(), data.getGeqPresets().size(),
            data.getProfiles().size(),   data.getProfileEndpoints().size(),
            data.getTunings().size(),    data.getDeviceTunings().size()};
}

// Whether every record holds only parameters its kind may hold (or, with `all`, exactly
// those).
inline bool params_valid(DeviceData& data, bool all = false) {
    auto check = [all](const auto& records) {
        for (const ParameterValues* record : records) {
            const std::set<Parameter>& valid = record->getValidParams();
            std::set<Parameter> keys;
            for (const auto& entry : record->getValues()) keys.insert(entry.first);
            if (all ? keys != valid
                    : !std::includes(valid.begin(), valid.end(), keys.begin(), keys.end()))
                return false;
        }
        return true;
    };
    return check(data.getIeqPresets()) && check(data.getGeqPresets()) &&
           check(data.getProfiles()) && check(data.getProfileEndpoints()) &&
           check(data.getTunings());
}

}  // namespace velora::testing
