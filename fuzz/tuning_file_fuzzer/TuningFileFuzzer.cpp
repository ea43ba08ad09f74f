/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// A device maker's tuning file, as the first start of the service meets it: the bytes become
// the default tuning file, which is read, validated and written into a fresh settings
// database; then the store is opened over that database and every record it now holds is
// loaded back, as the current state would load it.
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "common/FuzzSupport.h"
#include "common/SystemPaths.h"
#include "model/DeviceTuning.h"
#include "model/Endpoint.h"
#include "model/Port.h"
#include "model/PresetType.h"
#include "store/Provider.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

using velora::fuzz::process_root;
using velora::testing::TempRoot;

namespace {

void load_back(velora::Provider& provider) {
    for (int id = 0; id < provider.getNumOfProfiles(); ++id) {
        provider.loadDefaultProfile(id);
        provider.loadProfile(id);
        provider.loadDefaultProfileEndpoints(id);
        provider.loadProfileEndpoints(id);
        provider.loadDefaultGeqPreset(id);
        provider.loadGeqPreset(id);
    }
    for (int type = 0; type < velora::kPresetTypeCount; ++type) {
        provider.loadIeqPreset(static_cast<velora::PresetType>(type));
    }
    for (int port = 0; port < velora::kPortCount; ++port) {
        for (velora::DeviceTuning* device :
             provider.loadDeviceTuningsForPort(static_cast<velora::Port>(port))) {
            provider.loadTuningForDevice(device->getDevice());
        }
    }
    provider.getSelectedProfile();
    provider.isPexOn();
    provider.getDefaultXmlFormatVersion();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TempRoot& fuzzRoot = process_root();
    const std::string database =
        std::string(velora::SystemPaths::kDatabaseDir) + velora::Provider::kDatabaseFileName;
    fuzzRoot.write(velora::SystemPaths::kDefaultTuningFile,
                   std::string(reinterpret_cast<const char*>(data), size));
    fuzzRoot.remove(database);

    velora::TuningFileParser parser;
    if (parser.setTuningFile(fuzzRoot.hostPath(velora::SystemPaths::kDefaultTuningFile)) != 0) {
        return 0;
    }
    velora::DeviceData* deviceData = parser.getDeviceData();
    if (deviceData == nullptr) return 0;
    deviceData->validateData();
    deviceData->setSignature("1");

    velora::Provider provider;
    if (provider.populate(*deviceData) == 0 && provider.init() == 0) load_back(provider);
    return 0;
}
