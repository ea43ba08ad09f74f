/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KsContext"

#include "context/KsContext.h"

#include <log/log.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "context/KsContextChangeObservable.h"
#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/Provider.h"
#include "store/Transaction.h"

namespace velora {

using android::Mutex;

const std::set<Port> KsContext::kSupportedPorts = {
    PORT_INTERNAL_SPEAKER, PORT_HDMI, PORT_MIRACAST, PORT_HEADPHONE, PORT_BLUETOOTH, PORT_USB,
};

namespace {

constexpr const char* kDefaultDevicePrefix = "default_";

// The change test shared by every parameter setter. Only the new vector's length is compared,
// against the beginning of the stored one: values read back from the database carry a
// trailing 0, and a client that writes the values it read without it must not count as a
// change. An empty vector never changes anything.
bool apply_parameter_change(ParameterValues& record, Parameter parameter,
                            const std::vector<int>& values) {
    if (values.empty()) return false;
    std::vector<int>& current = record.lookup(parameter);
    if (!current.empty()) {
        bool differs = values.size() > current.size() ||
                       !std::equal(values.begin(), values.end(), current.begin());
        if (!differs) return false;
    }
    record.set(parameter, values);
    return true;
}

// The stored vector of a parameter the record may hold, entered empty when it is absent.
// Parameters of other record kinds are not entered: they would be written into the record's
// row on the next save, where they have no column.
std::vector<int> read_parameter(ParameterValues* record, Parameter parameter) {
    if (record == nullptr || record->getValidParams().count(parameter) == 0) return {};
    return record->lookup(parameter);
}

const char* port_name(Port port) { return kPortNames[port]; }

}  // namespace

KsContext::KsContext(Provider* provider, KsContextChangeObservable* observable)
    : mProvider(provider), mObservable(observable), mNumOfProfiles(provider->getNumOfProfiles()) {
    for (int id = 0; id < mNumOfProfiles; ++id) {
        mProfileContexts.push_back(std::make_unique<ProfileContext>(provider, id));
    }
}

KsContext::~KsContext() = default;

bool KsContext::isSupported(Port port, const char* caller) {
    // Every port has a device list, "other" included; only loading, saving and reloading
    // walk the supported ports.
    if (static_cast<int>(port) >= 0 && static_cast<int>(port) < kPortCount) return true;
    ALOGE("%s(): port %d has no tuning devices", caller, static_cast<int>(port));
    return false;
}

ProfileContext* KsContext::getProfileContext_l(int profileId) const {
    if (profileId >= 0 && profileId < static_cast<int>(mProfileContexts.size())) {
        return mProfileContexts[profileId].get();
    }
    // Every profile the database holds got its context at construction; an id beyond them
    // comes from state that does not exist, and nothing sensible can be sent to the effect.
    ALOGE("Couldn't find the context for profileId: %d", profileId);
    exit(-1);
}

void KsContext::registerObserver(OnKsContextChange* observer) {
    if (observer == nullptr) return;
    mObservable->registerObserver(observer);
    // A late-comer gets the full state at once; the others have seen it already.
    observer->onLoad(*this);
}

void KsContext::unregisterObserver(OnKsContextChange* observer) {
    mObservable->unregisterObserver(observer);
}

void KsContext::loadProfiles_l() {
    int selectedId = mProvider->getSelectedProfile();
    mSelectedProfileContext = nullptr;
    for (auto& profileContext : mProfileContexts) {
        profileContext->load();
        if (profileContext->getId() == selectedId) mSelectedProfileContext = profileContext.get();
    }
    if (mSelectedProfileContext == nullptr && !mProfileContexts.empty()) {
        // A stored id beyond the profiles of the tuning file: run the first profile rather
        // than none at all.
        ALOGW("%s(): stored profile %d does not exist, selecting profile 0", "load", selectedId);
        mSelectedProfileContext = mProfileContexts.front().get();
    }
}

void KsContext::load() {
    {
        Mutex::Autolock lock(mLock);
        loadProfiles_l();
        for (Port port : kSupportedPorts) {
            const char* name = port_name(port);
            std::string device = mProvider->getDeviceTuning(name);
            // Fills the provider's device list of the port, which the tuning lookup searches.
            std::vector<std::string> available = getAvailableTuningDevice_l(port);
            if (!available.empty() && device != kDefaultDevicePrefix + std::string(name) &&
                std::find(available.begin(), available.end(), device) == available.end()) {
                // A device chosen from the ones the tuning files defined then, and gone now (an
                // OEM file replaced, a damaged row), would leave the port without a tuning; the
                // port's default takes over, and the next save stores it. "default_<port>" is
                // what every rebuild selects, and whether it exists is the tuning file's call.
                std::string fallback = getDefaultTuningDevice_l(port);
                ALOGW(
                    "Current selected tuning dev[%s] is not available for port[%s], revert to "
                    "use dev[%s].",
                    device.c_str(), name, fallback.c_str());
                device = fallback;
            }
            if (mSelectedTuningDevices.count(port) == 0) mSelectedTuningDevices[port] = device;
            if (mSelectedTunings.count(port) == 0) {
                Tuning* tuning = mProvider->loadTuningForDevice(device);
                if (tuning != nullptr) mSelectedTunings[port] = tuning;
            }
        }
        mPexOn = mProvider->isPexOn();
    }
    mObservable->onLoad(*this);
}

void KsContext::reloadAllProfile() {
    bool on;
    {
        Mutex::Autolock lock(mLock);
        loadProfiles_l();
        mPexOn = mProvider->isPexOn();
        on = mPexOn;
    }
    mObservable->onSelectedProfileChanged(*this);
    mObservable->onPexOnChanged(*this, on);
}

std::vector<KsContext::TuningUpdate> KsContext::reloadTuning_l() {
    std::vector<TuningUpdate> updates;
    for (Port port : kSupportedPorts) {
        TuningUpdate update{port, mSelectedTuningDevices[port], {}, false, nullptr};
        std::vector<std::string> available = getAvailableTuningDevice_l(port);
        if (std::find(available.begin(), available.end(), update.device) == available.end()) {
            update.replaced = std::move(update.device);
            update.reverted = true;
            update.device = getDefaultTuningDevice_l(port);
            mSelectedTuningDevices[port] = update.device;
            noteChange_l();
        }
        update.tuning = mProvider->loadTuningForDevice(update.device);
        if (update.tuning == nullptr) {
            // The record in force may have gone with the provider's rebuilt caches; keeping
            // its pointer would hand out a freed record.
            mSelectedTunings.erase(port);
        } else {
            mSelectedTunings[port] = update.tuning;
        }
        updates.push_back(std::move(update));
    }
    return updates;
}

void KsContext::notifyTuningUpdates(const std::vector<TuningUpdate>& updates) {
    for (const TuningUpdate& update : updates) {
        const char* name = port_name(update.port);
        if (update.reverted) {
            ALOGW(
                "Current selected tuning dev[%s] is not available for port[%s], revert to use "
                "dev[%s].",
                update.replaced.c_str(), name, update.device.c_str());
        }
        if (update.tuning == nullptr) {
            ALOGE("Cannot load tuning data for device[%s] on port[%s]", update.device.c_str(),
                  name);
            continue;
        }
        ALOGD("Reset tuning[%s] for port[%s] and notify observers.",
              update.tuning->getName().c_str(), name);
        // Announced also where the device did not change: the tuning's values may have.
        mObservable->onSelectedTuningChanged(*this, update.port, *update.tuning);
    }
}

void KsContext::reloadTuning() {
    std::vector<TuningUpdate> updates;
    {
        Mutex::Autolock lock(mLock);
        updates = reloadTuning_l();
    }
    notifyTuningUpdates(updates);
}

int KsContext::refreshTunings(const std::function<int()>& refresh) {
    int result;
    std::vector<TuningUpdate> updates;
    {
        Mutex::Autolock lock(mLock);
        result = refresh();
        if (result == 0) updates = reloadTuning_l();
    }
    notifyTuningUpdates(updates);
    return result;
}

void KsContext::noteChange_l() { mChangeCount.fetch_add(1, std::memory_order_relaxed); }

bool KsContext::hasUnsavedChanges() const {
    Mutex::Autolock lock(mLock);
    return mChangeCount.load(std::memory_order_relaxed) != mSavedChangeCount;
}

int KsContext::save(bool quietFailures) {
    Mutex::Autolock lock(mLock);
    int result = mProvider->beginSave(quietFailures);
    if (result == 0) {
        for (auto& profileContext : mProfileContexts) profileContext->save();
        if (mSelectedProfileContext != nullptr) {
            mProvider->setSelectedProfile(mSelectedProfileContext->getId());
        }
        mProvider->setPexOn(mPexOn);
        for (Port port : kSupportedPorts) {
            auto it = mSelectedTuningDevices.find(port);
            mProvider->updateDeviceTuning(port_name(port),
                                          it == mSelectedTuningDevices.end() ? "" : it->second);
        }
        result = mProvider->endSave();
    }
    if (result != 0) {
        // Rolled back as a whole: the rows hold the last save, and the state in memory stays
        // unsaved, so the next save writes it all again.
        if (!quietFailures)
            ALOGE("%s(): settings not saved (%s), kept for the next save", "save",
                  strerror(-result));
        return result;
    }
    mSavedChangeCount = mChangeCount.load(std::memory_order_relaxed);
    return 0;
}

void KsContext::saveKsState() {
    Mutex::Autolock lock(mLock);
    mProvider->setPexOn(mPexOn);
}

void KsContext::saveKsProfile() {
    Mutex::Autolock lock(mLock);
    if (mSelectedProfileContext != nullptr) {
        mProvider->setSelectedProfile(mSelectedProfileContext->getId());
    }
}

void KsContext::saveKsProfileSettings() {
    Mutex::Autolock lock(mLock);
    Transaction transaction(mProvider->getDatabaseHelper());
    for (auto& profileContext : mProfileContexts) profileContext->save();
    if (mSelectedProfileContext != nullptr) {
        mProvider->setSelectedProfile(mSelectedProfileContext->getId());
    }
    const int committed = transaction.commit();
    if (committed != 0) {
        ALOGE("%s(): profile settings not saved (%s)", "saveKsProfileSettings",
              strerror(-committed));
    }
}

bool KsContext::getPexOn() const {
    Mutex::Autolock lock(mLock);
    return mPexOn;
}

void KsContext::setPexOn(bool on) {
    {
        Mutex::Autolock lock(mLock);
        if (mPexOn == on) return;
        mPexOn = on;
        noteChange_l();
    }
    mObservable->onPexOnChanged(*this, on);
}

Profile* KsContext::getSelectedProfile() const {
    Mutex::Autolock lock(mLock);
    return mSelectedProfileContext == nullptr ? nullptr : mSelectedProfileContext->getProfile();
}

bool KsContext::isSelected(int profileId) const {
    Mutex::Autolock lock(mLock);
    return mSelectedProfileContext != nullptr && mSelectedProfileContext->getId() == profileId;
}

void KsContext::setSelectedProfile(int profileId) {
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        if (profileContext == mSelectedProfileContext) return;
        mSelectedProfileContext = profileContext;
        noteChange_l();
    }
    mObservable->onSelectedProfileChanged(*this);
}

Profile* KsContext::getProfile(int profileId) const {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->getProfile();
}

std::string KsContext::getProfileName(int profileId) const {
    Mutex::Autolock lock(mLock);
    Profile* profile = getProfileContext_l(profileId)->getProfile();
    return profile != nullptr ? profile->getName() : std::string();
}

PresetType KsContext::getProfileIeqPreset(int profileId) const {
    Mutex::Autolock lock(mLock);
    Profile* profile = getProfileContext_l(profileId)->getProfile();
    return profile != nullptr ? profile->getSelectedIeqPreset() : PRESET_OFF;
}

Profile* KsContext::getDefaultProfile(int profileId) {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->getDefaults()->getProfile();
}

GeqPreset* KsContext::getProfileGeq(int profileId) const {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->getSelectedGeqPreset();
}

ProfileEndpoint* KsContext::getProfileEndpoint(Endpoint endpoint) const {
    Mutex::Autolock lock(mLock);
    if (mSelectedProfileContext == nullptr) return nullptr;
    return mSelectedProfileContext->getProfileEndpoint(endpoint);
}

ProfileEndpoint* KsContext::getProfileEndpoint(int profileId, Endpoint endpoint) const {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->getProfileEndpoint(endpoint);
}

IeqPreset* KsContext::getSelectedProfileIeq() const {
    Mutex::Autolock lock(mLock);
    if (mSelectedProfileContext == nullptr) return nullptr;
    return mSelectedProfileContext->getSelectedIeqPreset();
}

GeqPreset* KsContext::getSelectedProfileGeq() const {
    Mutex::Autolock lock(mLock);
    if (mSelectedProfileContext == nullptr) return nullptr;
    return mSelectedProfileContext->getSelectedGeqPreset();
}

ProfileEndpoint* KsContext::getSelectedProfileEndpoint(Port port) const {
    Mutex::Autolock lock(mLock);
    auto it = mSelectedTunings.find(port);
    if (it == mSelectedTunings.end() || mSelectedProfileContext == nullptr) return nullptr;
    return mSelectedProfileContext->getProfileEndpoint(it->second->getEndpoint());
}

bool KsContext::isProfileModified(int profileId) {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->isModified();
}

bool KsContext::isProfileGeqModified(int profileId) {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->isGeqModified();
}

bool KsContext::isProfileSpecificSettingsModified(int profileId) {
    Mutex::Autolock lock(mLock);
    return getProfileContext_l(profileId)->isProfileSpecificSettingsModified();
}

void KsContext::resetProfile(int profileId) {
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        profileContext->reset();
        noteChange_l();
        if (profileContext != mSelectedProfileContext) return;
    }
    mObservable->onSelectedProfileChanged(*this);
}

void KsContext::resetProfileGeq(int profileId) {
    GeqPreset* preset;
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        profileContext->resetGeq();
        noteChange_l();
        preset = profileContext->getSelectedGeqPreset();
        if (profileContext != mSelectedProfileContext || preset == nullptr) return;
    }
    mObservable->onSelectedProfileGeqChanged(*this, *preset);
}

void KsContext::setProfileParameter(int profileId, Parameter parameter,
                                    const std::vector<int>& values) {
    if (parameter == ieq_id) {
        if (values.empty()) return;
        int preset = values[0];
        {
            Mutex::Autolock lock(mLock);
            if (preset < 0 || preset >= kPresetTypeCount) {
                ALOGE("%s(): Invalid IEq preset %d", "setProfileParameter", preset);
                return;
            }
            Profile* profile = getProfileContext_l(profileId)->getProfile();
            if (profile == nullptr || profile->getSelectedIeqPreset() == preset) return;
        }
        // Selecting a preset switches the intelligent equalizer with it ("off" is preset 0).
        // This goes through the ordinary setter, unlocked, so that the enable change is
        // announced on its own.
        setProfileParameter(profileId, ieq_enable, {preset != PRESET_OFF ? 1 : 0});
        IeqPreset* inForce;
        {
            Mutex::Autolock lock(mLock);
            ProfileContext* profileContext = getProfileContext_l(profileId);
            profileContext->getProfile()->setSelectedIeqPreset(static_cast<PresetType>(preset));
            noteChange_l();
            if (profileContext != mSelectedProfileContext) return;
            inForce = profileContext->getSelectedIeqPreset();
            if (inForce == nullptr) return;
        }
        mObservable->onSelectedProfileIeqChanged(*this, *inForce);
        return;
    }

    Profile* profile;
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        profile = profileContext->getProfile();
        if (profile == nullptr) return;
        if (profile->getValidParams().count(parameter) == 0) {
            ALOGE("%s(): parameter %d is not a profile parameter", "setProfileParameter",
                  static_cast<int>(parameter));
            return;
        }
        if (!apply_parameter_change(*profile, parameter, values)) return;
        noteChange_l();
        if (profileContext != mSelectedProfileContext) return;
    }
    mObservable->onSelectedProfileParameterChanged(*this, *profile);
}

void KsContext::setProfileParameter(int profileId, Endpoint endpoint, Parameter parameter,
                                    const std::vector<int>& values) {
    if (parameter == virtual_bass_enable && endpoint != ENDPOINT_SPEAKER) {
        ALOGW("Setting virtual-bass-enable is not supported for non-speaker endpoints");
        return;
    }
    ProfileEndpoint* record;
    std::vector<Port> ports;
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        record = profileContext->getProfileEndpoint(endpoint);
        if (record->getValidParams().count(parameter) == 0) {
            ALOGE("%s(): parameter %d is not an endpoint parameter", "setProfileParameter",
                  static_cast<int>(parameter));
            return;
        }
        if (!apply_parameter_change(*record, parameter, values)) return;
        noteChange_l();
        if (profileContext != mSelectedProfileContext) return;
        // One endpoint serves every port whose tuning is made for it.
        for (const auto& [port, tuning] : mSelectedTunings) {
            if (tuning->getEndpoint() == endpoint) ports.push_back(port);
        }
    }
    for (Port port : ports) mObservable->onSelectedProfileEndpointChanged(*this, port, *record);
}

void KsContext::setProfileGeqParameter(int profileId, Parameter parameter,
                                       const std::vector<int>& values) {
    GeqPreset* preset;
    {
        Mutex::Autolock lock(mLock);
        ProfileContext* profileContext = getProfileContext_l(profileId);
        preset = profileContext->getSelectedGeqPreset();
        if (preset == nullptr) return;
        if (preset->getValidParams().count(parameter) == 0) {
            ALOGE("%s(): parameter %d is not a graphic-equalizer parameter",
                  "setProfileGeqParameter", static_cast<int>(parameter));
            return;
        }
        if (!apply_parameter_change(*preset, parameter, values)) return;
        noteChange_l();
        if (profileContext != mSelectedProfileContext) return;
    }
    mObservable->onSelectedProfileGeqChanged(*this, *preset);
}

std::vector<int> KsContext::getProfileParameter(int profileId, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    return read_parameter(getProfileContext_l(profileId)->getProfile(), parameter);
}

std::vector<int> KsContext::getProfileParameter(int profileId, Endpoint endpoint,
                                                Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    return read_parameter(getProfileContext_l(profileId)->getProfileEndpoint(endpoint), parameter);
}

std::vector<int> KsContext::getProfileGeqParameter(int profileId, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    return read_parameter(getProfileContext_l(profileId)->getSelectedGeqPreset(), parameter);
}

std::vector<int> KsContext::getSelectedTuningParameter(Port port, Parameter parameter) const {
    Mutex::Autolock lock(mLock);
    auto it = mSelectedTunings.find(port);
    if (it == mSelectedTunings.end()) return {};
    return read_parameter(it->second, parameter);
}

std::vector<std::string> KsContext::getAvailableTuningDevice_l(Port port) const {
    std::vector<std::string> devices;
    if (static_cast<int>(port) < 0 || static_cast<int>(port) >= kPortCount) return devices;
    for (DeviceTuning* deviceTuning : mProvider->loadDeviceTuningsForPort(port)) {
        devices.push_back(deviceTuning->getDevice());
    }
    return devices;
}

std::vector<std::string> KsContext::getAvailableTuningDevice(Port port) const {
    if (!isSupported(port, "getAvailableTuningDevice")) return {};
    Mutex::Autolock lock(mLock);
    return getAvailableTuningDevice_l(port);
}

std::string KsContext::getDefaultTuningDevice_l(Port port) const {
    std::vector<std::string> devices = getAvailableTuningDevice_l(port);
    std::string name = port_name(port);
    for (const std::string& device : devices) {
        if (device.compare(0, strlen(kDefaultDevicePrefix), kDefaultDevicePrefix) == 0) {
            return device;
        }
    }
    if (std::find(devices.begin(), devices.end(), name) != devices.end()) return name;
    if (!devices.empty() && !devices.front().empty()) return devices.front();
    // No device at all: the port's own name, which the provider will not find either, so the
    // caller's selection fails with its message rather than picking something arbitrary.
    return name;
}

std::string KsContext::getDefaultTuningDevice(Port port) const {
    if (!isSupported(port, "getDefaultTuningDevice")) return {};
    Mutex::Autolock lock(mLock);
    return getDefaultTuningDevice_l(port);
}

std::string KsContext::getSelectedTuningDevice(Port port) const {
    Mutex::Autolock lock(mLock);
    auto it = mSelectedTuningDevices.find(port);
    return it == mSelectedTuningDevices.end() ? std::string() : it->second;
}

Tuning* KsContext::getSelectedTuning(Port port) const {
    Mutex::Autolock lock(mLock);
    auto it = mSelectedTunings.find(port);
    return it == mSelectedTunings.end() ? nullptr : it->second;
}

bool KsContext::isSelectedTuningMono(Port port) const {
    Mutex::Autolock lock(mLock);
    auto it = mSelectedTunings.find(port);
    return it != mSelectedTunings.end() && it->second != nullptr && it->second->isMono();
}

bool KsContext::setSelectedTuning(Port port, const std::string& device, bool forced) {
    if (!isSupported(port, "setSelectedTuning")) return false;
    const char* name = port_name(port);
    Tuning* announced = nullptr;
    {
        Mutex::Autolock lock(mLock);
        auto selected = mSelectedTuningDevices.find(port);
        if (!forced && selected != mSelectedTuningDevices.end() && selected->second == device) {
            return true;
        }
        std::vector<std::string> available = getAvailableTuningDevice_l(port);
        if (std::find(available.begin(), available.end(), device) == available.end()) {
            ALOGE(
                "%s is not a valid tuning device for port %s, please call "
                "getAvailableTuningDevice(port) to check first!",
                device.c_str(), name);
            return false;
        }
        Tuning* tuning = mProvider->loadTuningForDevice(device);
        if (tuning == nullptr) {
            ALOGW("Failed to set tuning for port[%s] as device[%s]", name, device.c_str());
            return false;
        }
        if (mSelectedTuningDevices[port] != device) noteChange_l();
        mSelectedTuningDevices[port] = device;
        auto inForce = mSelectedTunings.find(port);
        // Devices often share a tuning; switching between them changes nothing the effect
        // would see, unless the caller insists.
        bool sameTuning =
            inForce != mSelectedTunings.end() && inForce->second->getName() == tuning->getName();
        if (forced || !sameTuning) {
            mSelectedTunings[port] = tuning;
            announced = tuning;
        }
    }
    if (announced != nullptr) mObservable->onSelectedTuningChanged(*this, port, *announced);
    ALOGD("Complete setting port[%s] use tuning device[%s]", name, device.c_str());
    return true;
}

bool KsContext::selectDefaultTuning(Port port) {
    return setSelectedTuning(port, getDefaultTuningDevice(port), /*forced=*/false);
}

}  // namespace velora
