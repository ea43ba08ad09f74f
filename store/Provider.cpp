/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VlrDatabaseProvider"

#include "store/Provider.h"

#include <errno.h>
#include <log/log.h>
#include <stdlib.h>
#include <string.h>

#include "store/TextHelpers.h"
#include "tuning/DeviceData.h"

namespace velora {

namespace {

// The ports whose tuning device the service selects, ascending: every port but "other".
// The runtime state walks the same list; the store keeps its own copy so that it does not
// depend on the runtime state.
constexpr Port kSupportedPorts[] = {PORT_INTERNAL_SPEAKER, PORT_HDMI,      PORT_MIRACAST,
                                    PORT_HEADPHONE,        PORT_BLUETOOTH, PORT_USB};

// The endpoint a tuning gets when the port of its device names none, the same endpoint a
// tuning file's unknown endpoint type gives; the stored tuning row, read right after,
// replaces it with its own endpoint when it has one.
constexpr Endpoint kFallbackEndpoint = ENDPOINT_SPEAKER;

}  // namespace

const char* const Provider::kDefaultName = "default";
const char* const Provider::kCustomName = "custom";
const char* const Provider::kOemName = "oem";
const char* const Provider::kSignature = "signature";
const char* const Provider::kFormatVersion = "version";
const char* const Provider::kDigest = "digest";
const char* const Provider::kSelectedProfile = "Profile";
const char* const Provider::kPexState = "State";
const char* const Provider::kDatabaseFileName = "kiv_sqlite3.db";

Provider::Provider() : mDb(std::make_unique<DatabaseHelper>(kDatabaseFileName)) {}

Provider::~Provider() { clearDeviceTuningCache(); }

void Provider::clearDeviceTuningCache() {
    for (auto& port : mDeviceTunings) {
        for (DeviceTuning* deviceTuning : port.second) delete deviceTuning;
    }
    mDeviceTunings.clear();
    for (Tuning* tuning : mTunings) delete tuning;
    mTunings.clear();
}

Provider::ProfileRecords* Provider::records(int id, const char* caller) {
    if (id < 0 || static_cast<size_t>(id) >= mProfiles.size()) {
        ALOGE("%s(): no profile %d, %d profiles known", caller, id, mNumOfProfiles);
        return nullptr;
    }
    return &mProfiles[static_cast<size_t>(id)];
}

int Provider::init() {
    std::vector<std::string> names;
    mDb->queryProfileNames(names, kDefaultName);
    // A second init() starts over; records handed out by the first one are gone.
    mProfiles.clear();
    for (auto& preset : mIeqPresets) preset.reset();
    mNumOfProfiles = static_cast<int>(names.size());
    if (mNumOfProfiles == 0) {
        ALOGE("%s(): No profiles found from the database", "init");
        return -ENODEV;
    }
    ALOGD("%s(): Altogether %d profiles found", "init", mNumOfProfiles);
    mProfiles.resize(names.size());
    for (int i = 0; i < mNumOfProfiles; ++i) {
        ProfileRecords& profile = mProfiles[static_cast<size_t>(i)];
        const std::string& name = names[static_cast<size_t>(i)];
        profile.defaultProfile = std::make_unique<Profile>(i, name, PRESET_OFF);
        profile.customProfile = std::make_unique<Profile>(i, name, PRESET_OFF);
        for (int e = 0; e < kEndpointCount; ++e) {
            profile.defaultEndpoints.push_back(
                std::make_unique<ProfileEndpoint>(i, static_cast<Endpoint>(e)));
            profile.defaultEndpointSet.insert(profile.defaultEndpoints.back().get());
            profile.customEndpoints.push_back(
                std::make_unique<ProfileEndpoint>(i, static_cast<Endpoint>(e)));
            profile.customEndpointSet.insert(profile.customEndpoints.back().get());
        }
        profile.defaultGeqPreset = std::make_unique<GeqPreset>(i);
        profile.customGeqPreset = std::make_unique<GeqPreset>(i);
        profile.workingEndpoint = std::make_unique<ProfileEndpoint>(i, ENDPOINT_SPEAKER);
    }
    for (int type = 0; type < kPresetTypeCount; ++type) {
        mIeqPresets[type] = std::make_unique<IeqPreset>(static_cast<PresetType>(type));
    }
    return 0;
}

int Provider::getSelectedProfile() {
    return atoi(mDb->querySelectedProfile(kSelectedProfile).c_str());
}

int Provider::getNumOfProfiles() { return mNumOfProfiles; }

bool Provider::isPexOn() { return mDb->queryPexStatus(kPexState); }

Tuning* Provider::loadTuningForDevice(const std::string& device) {
    DeviceTuning* found = nullptr;
    for (const auto& port : mDeviceTunings) {
        for (DeviceTuning* deviceTuning : port.second) {
            if (deviceTuning->getDevice() == device) {
                found = deviceTuning;
                break;
            }
        }
        if (found != nullptr) break;
    }
    if (found == nullptr) {
        ALOGW("Cannot find device with name %s in mDeviceTunings", device.c_str());
        return nullptr;
    }

    std::string name = found->getTuning();
    for (Tuning* tuning : mTunings) {
        if (tuning->getName() == name) {
            ALOGD("Found existing tuning[%s] from cache device[%s]", name.c_str(), device.c_str());
            return tuning;
        }
    }

    Endpoint endpoint = kFallbackEndpoint;
    auto portEndpoint = kPortNameToEndpoint.find(found->getPort());
    if (portEndpoint != kPortNameToEndpoint.end()) {
        endpoint = portEndpoint->second;
    } else {
        // A port name outside the known ones (a misspelling in a tuning file) must not cost
        // the device its tuning; the stored row still says which endpoint the tuning is for.
        ALOGW("Port[%s] of device[%s] names no endpoint, tuning[%s] starts as %s",
              found->getPort().c_str(), device.c_str(), name.c_str(),
              kEndpointNames[kFallbackEndpoint]);
    }
    Tuning* tuning = new Tuning(name, endpoint, true);
    mDb->queryTuning(name, tuning);
    mTunings.insert(tuning);
    ALOGD("Load tuning[%s] from cache device[%s], and put it in cached mTunings", name.c_str(),
          device.c_str());
    return tuning;
}

std::set<DeviceTuning*> Provider::loadDeviceTuningsForPort(Port port) {
    auto cached = mDeviceTunings.find(port);
    if (cached != mDeviceTunings.end()) return cached->second;
    if (static_cast<int>(port) < 0 || static_cast<int>(port) >= kPortCount) {
        ALOGE("%s(): invalid port %d", "loadDeviceTuningsForPort", static_cast<int>(port));
        return std::set<DeviceTuning*>();
    }
    std::set<DeviceTuning*>& entry = mDeviceTunings[port];
    entry = mDb->queryDeviceTunings(kPortNames[port]);
    return entry;
}

void Provider::initDatabase() { mDb->init(); }

void Provider::setPexOn(bool on) { mDb->updatePexStatus(kPexState, on); }

void Provider::updateDeviceTuning(const std::string& key, const std::string& value) {
    mDb->updateTuningDevice(key, value);
}

Profile* Provider::loadDefaultProfile(int id) {
    ProfileRecords* profile = records(id, "loadDefaultProfile");
    if (profile == nullptr) return nullptr;
    mDb->queryProfileValue(int2string(id), kDefaultName, profile->defaultProfile.get());
    return profile->defaultProfile.get();
}

void Provider::setSelectedProfile(int id) {
    mDb->updateSelectedProfile(kSelectedProfile, int2string(id));
}

void Provider::loadEndpoints(int id, const std::set<ProfileEndpoint*>& endpoints,
                             const std::string& customName) {
    for (ProfileEndpoint* endpoint : endpoints) {
        mDb->queryEndpointValue(int2string(id), endpoint_name(endpoint->getEndpoint()), customName,
                                endpoint);
    }
}

std::set<ProfileEndpoint*> Provider::loadDefaultProfileEndpoints(int id) {
    ProfileRecords* profile = records(id, "loadDefaultProfileEndpoints");
    if (profile == nullptr) return std::set<ProfileEndpoint*>();
    loadEndpoints(id, profile->defaultEndpointSet, kDefaultName);
    return profile->defaultEndpointSet;
}

std::set<ProfileEndpoint*> Provider::loadProfileEndpoints(int id) {
    ProfileRecords* profile = records(id, "loadProfileEndpoints");
    if (profile == nullptr) return std::set<ProfileEndpoint*>();
    loadEndpoints(id, profile->customEndpointSet, kCustomName);
    return profile->customEndpointSet;
}

Profile* Provider::loadProfile(int id) {
    ProfileRecords* profile = records(id, "loadProfile");
    if (profile == nullptr) return nullptr;
    mDb->queryProfileValue(int2string(id), kCustomName, profile->customProfile.get());
    return profile->customProfile.get();
}

ProfileEndpoint* Provider::loadProfileEndpoint(int id, Endpoint e) {
    ProfileRecords* profile = records(id, "loadProfileEndpoint");
    if (profile == nullptr) return nullptr;
    if (static_cast<int>(e) < 0 || static_cast<int>(e) >= kEndpointCount) {
        ALOGE("%s(): invalid endpoint %d", "loadProfileEndpoint", static_cast<int>(e));
        return nullptr;
    }
    mDb->queryEndpointValue(int2string(id), endpoint_name(e), kCustomName,
                            profile->workingEndpoint.get());
    return profile->workingEndpoint.get();
}

void Provider::save(Profile* profile) { mDb->updateProfileValue(profile, kCustomName); }

void Provider::save(ProfileEndpoint* endpoint) {
    mDb->updateProfileEndpointValue(endpoint, kCustomName);
}

void Provider::save(GeqPreset* preset) { mDb->updateGeqValue(preset, kCustomName); }

Profile* Provider::reset(Profile* profile) {
    if (profile == nullptr) return nullptr;
    mDb->queryProfileValue(int2string(profile->getProfileId()), kDefaultName, profile);
    return profile;
}

ProfileEndpoint* Provider::reset(ProfileEndpoint* endpoint) {
    if (endpoint == nullptr) return nullptr;
    mDb->queryEndpointValue(int2string(endpoint->getProfileId()),
                            endpoint_name(endpoint->getEndpoint()), kDefaultName, endpoint);
    return endpoint;
}

GeqPreset* Provider::reset(GeqPreset* preset) {
    if (preset == nullptr) return nullptr;
    mDb->queryGeqValue(int2string(preset->getProfileId()), kDefaultName, preset);
    return preset;
}

void Provider::create(IeqPreset* preset) {
    if (preset == nullptr) return;
    mDb->insertValue(preset, kDefaultName);
}

void Provider::create(GeqPreset* preset) {
    if (preset == nullptr) return;
    mDb->insertValue(preset, kDefaultName, -1);
    mDb->insertValue(preset, kCustomName, -1);
}

void Provider::create(Profile* profile) {
    if (profile == nullptr) return;
    mDb->insertValue(profile, kDefaultName, -1);
    mDb->insertValue(profile, kCustomName, -1);
}

void Provider::create(ProfileEndpoint* endpoint) {
    if (endpoint == nullptr) return;
    mDb->insertValue(endpoint, kDefaultName, -1);
    mDb->insertValue(endpoint, kCustomName, -1);
}

void Provider::create(Tuning* tuning, const std::string& customName) {
    if (tuning == nullptr) return;
    mDb->insertValue(tuning, customName);
}

void Provider::create(DeviceTuning* deviceTuning, const std::string& customName) {
    if (deviceTuning == nullptr) return;
    mDb->insertValue(deviceTuning, customName);
}

void Provider::clearOemTunings() { mDb->clearOemTunings(); }

void Provider::clearOemDeviceTunings() { mDb->clearOemDeviceTunings(); }

void Provider::reloadCachedDeviceTunings() {
    for (auto& port : mDeviceTunings) {
        for (DeviceTuning* deviceTuning : port.second) {
            ALOGD("Clear cached device tuning Port[%s]:Device[%s]", deviceTuning->getPort().c_str(),
                  deviceTuning->getDevice().c_str());
        }
    }
    clearDeviceTuningCache();
    for (Port port : kSupportedPorts) loadDeviceTuningsForPort(port);
}

void Provider::clear() { mDb->clear(); }

int Provider::beginTransaction() { return mDb->beginTransaction() == 0 ? 0 : mDb->getLastError(); }

int Provider::commitTransaction() {
    return mDb->commitTransaction() == 0 ? 0 : mDb->getLastError();
}

int Provider::beginSave(bool quietFailures) {
    mSave.reset();
    mDb->setQuietFailures(quietFailures);
    mSave = std::make_unique<Transaction>(*mDb);
    const int result = mSave->status();
    if (result != 0) {
        if (!quietFailures) {
            ALOGE("%s(): cannot start the save: %s", "beginSave", strerror(-result));
        }
        mSave.reset();
        mDb->setQuietFailures(false);
        return result;
    }
    mDb->setKeepReplacements(true);
    return 0;
}

int Provider::endSave() {
    if (mSave == nullptr) return -EINVAL;
    mDb->setKeepReplacements(false);
    const int result = mSave->commit();
    mSave.reset();
    mDb->setQuietFailures(false);
    return result;
}

void Provider::setDefaultXmlSignature(const std::string& signature) {
    mDb->insertConfigurationValue(kSignature, signature);
    mDb->insertConfigurationValue(kSelectedProfile, "0");
    mDb->insertConfigurationValue(kPexState, "true");
}

std::string Provider::getDefaultXmlSignature() { return mDb->queryConfigurationValue(kSignature); }

void Provider::setDefaultXmlFormatVersion(const std::string& version) {
    mDb->insertConfigurationValue(kFormatVersion, version);
}

std::string Provider::getDefaultXmlFormatVersion() {
    return mDb->queryConfigurationValue(kFormatVersion);
}

void Provider::setDefaultXmlDigest(const std::string& digest) {
    mDb->insertConfigurationValue(kDigest, digest);
}

std::string Provider::getDefaultXmlDigest() { return mDb->queryConfigurationValue(kDigest); }

void Provider::setDeviceTuning(const std::string& key, const std::string& value) {
    mDb->insertConfigurationValue(key, value);
}

std::string Provider::getDeviceTuning(const std::string& key) {
    return mDb->queryConfigurationValue(key);
}

IeqPreset* Provider::loadIeqPreset(PresetType type) {
    if (static_cast<int>(type) < 0 || static_cast<int>(type) >= kPresetTypeCount) {
        ALOGE("%s(): invalid preset type %d", "loadIeqPreset", static_cast<int>(type));
        return nullptr;
    }
    IeqPreset* preset = mIeqPresets[type].get();
    if (preset == nullptr) {
        ALOGE("%s(): no presets before init", "loadIeqPreset");
        return nullptr;
    }
    mDb->queryIeqValue(kPresetTypeNames[type], kDefaultName, preset);
    return preset;
}

GeqPreset* Provider::loadDefaultGeqPreset(int id) {
    ProfileRecords* profile = records(id, "loadDefaultGeqPreset");
    if (profile == nullptr) return nullptr;
    mDb->queryGeqValue(int2string(id), kDefaultName, profile->defaultGeqPreset.get());
    return profile->defaultGeqPreset.get();
}

GeqPreset* Provider::loadGeqPreset(int id) {
    ProfileRecords* profile = records(id, "loadGeqPreset");
    if (profile == nullptr) return nullptr;
    mDb->queryGeqValue(int2string(id), kCustomName, profile->customGeqPreset.get());
    return profile->customGeqPreset.get();
}

int Provider::populate(DeviceData& data) {
    if (!mDb->isOpen()) {
        ALOGE("%s(): the database is not open, nothing written", "populate");
        return -ENODEV;
    }
    // The old contents go only inside a transaction that can be undone: without one, a
    // failure half-way would leave the user with neither the old settings nor the new.
    Transaction transaction(*mDb);
    if (transaction.status() != 0) {
        ALOGE("%s(): cannot start a transaction (%s), database kept as it was", "populate",
              strerror(-transaction.status()));
        return transaction.status();
    }
    clear();
    if (mDb->init() != 0) {
        ALOGE("%s(): cannot create the tables, database kept as it was", "populate");
        return -EIO;
    }
    for (IeqPreset* preset : data.getIeqPresets()) create(preset);
    for (GeqPreset* preset : data.getGeqPresets()) create(preset);
    for (Profile* profile : data.getProfiles()) create(profile);
    for (ProfileEndpoint* endpoint : data.getProfileEndpoints()) create(endpoint);
    for (Tuning* tuning : data.getTunings()) create(tuning, kDefaultName);
    for (DeviceTuning* deviceTuning : data.getDeviceTunings()) create(deviceTuning, kDefaultName);
    for (Port port : kSupportedPorts) {
        std::string portName = kPortNames[port];
        setDeviceTuning(portName, "default_" + portName);
    }
    const int committed = transaction.commit();
    if (committed != 0) {
        ALOGE("%s(): cannot commit (%s), database kept as it was", "populate",
              strerror(-committed));
        return committed;
    }
    setDefaultXmlSignature(data.getSignature());
    setDefaultXmlFormatVersion(data.getFormatVersion());
    return 0;
}

}  // namespace velora
