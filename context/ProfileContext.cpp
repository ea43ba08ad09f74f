/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KsContext"

#include "context/ProfileContext.h"

#include <android/log.h>
#include <log/log.h>

#include <cstdlib>

#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Parameter.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "store/Provider.h"

namespace velora {

ProfileContext::Defaults::Defaults(Provider* provider, int profileId)
    : mProfile(provider->loadDefaultProfile(profileId)),
      mProfileEndpoints(provider->loadDefaultProfileEndpoints(profileId)),
      mGeqPreset(provider->loadDefaultGeqPreset(profileId)) {}

ProfileContext::ProfileContext(Provider* provider, int profileId)
    : mProvider(provider), mProfileId(profileId) {}

ProfileContext::~ProfileContext() = default;

void ProfileContext::load() {
    mProfile = mProvider->loadProfile(mProfileId);
    mProfileEndpoints = mProvider->loadProfileEndpoints(mProfileId);
    mGeqPreset = mProvider->loadGeqPreset(mProfileId);
    getDefaults();
}

void ProfileContext::save() {
    if (mProfile != nullptr) mProvider->save(mProfile);
    for (ProfileEndpoint* endpoint : mProfileEndpoints) mProvider->save(endpoint);
    if (mGeqPreset != nullptr) mProvider->save(mGeqPreset);
}

void ProfileContext::reset() {
    if (mProfile != nullptr) mProfile = mProvider->reset(mProfile);
    for (ProfileEndpoint* endpoint : mProfileEndpoints) mProvider->reset(endpoint);
    resetGeq();
}

void ProfileContext::resetGeq() {
    if (mGeqPreset != nullptr) mGeqPreset = mProvider->reset(mGeqPreset);
}

ProfileContext::Defaults* ProfileContext::getDefaults() {
    if (mDefaults == nullptr) mDefaults = std::make_unique<Defaults>(mProvider, mProfileId);
    return mDefaults.get();
}

ProfileEndpoint* ProfileContext::getProfileEndpoint(Endpoint endpoint) const {
    for (ProfileEndpoint* candidate : mProfileEndpoints) {
        if (candidate->getEndpoint() == endpoint) return candidate;
    }
    // Every profile has one record per endpoint from the moment the store starts; a missing
    // one means the loaded state no longer matches the database, and carrying on would hand
    // the effect settings of the wrong output. This line has always gone out without a tag.
    __android_log_print(ANDROID_LOG_ERROR, "", "Couldn't find the profile endpoint fo %d",
                        static_cast<int>(endpoint));
    exit(-1);
}

IeqPreset* ProfileContext::getSelectedIeqPreset() const {
    // While the intelligent equalizer is off the effect must run the "off" preset, whatever
    // preset the profile keeps selected for when it is switched on again.
    PresetType type = PRESET_OFF;
    if (mProfile != nullptr && mProfile->has(ieq_enable)) {
        const std::vector<int>& enable = mProfile->getValues().at(ieq_enable);
        if (!enable.empty() && enable[0] != 0) type = mProfile->getSelectedIeqPreset();
    }
    return mProvider->loadIeqPreset(type);
}

bool ProfileContext::isModified() {
    Defaults* defaults = getDefaults();
    if (isProfileModified(*defaults)) return true;
    if (mProfile != nullptr && defaults->getProfile() != nullptr &&
        mProfile->getSelectedIeqPreset() != defaults->getProfile()->getSelectedIeqPreset()) {
        return true;
    }
    if (areEndpointsModified(*defaults)) return true;
    if (mGeqPreset == nullptr || defaults->getGeqPreset() == nullptr) return false;
    return !mGeqPreset->equals(*defaults->getGeqPreset());
}

bool ProfileContext::isGeqModified() {
    GeqPreset* fresh = mProvider->loadDefaultGeqPreset(mProfileId);
    if (mGeqPreset == nullptr || fresh == nullptr) return false;
    return !mGeqPreset->equals(*fresh);
}

bool ProfileContext::isProfileSpecificSettingsModified() {
    Defaults* defaults = getDefaults();
    return isProfileModified(*defaults) || areEndpointsModified(*defaults);
}

bool ProfileContext::isProfileModified(const Defaults& defaults) const {
    if (mProfile == nullptr || defaults.getProfile() == nullptr) return false;
    return !mProfile->equals(*defaults.getProfile());
}

bool ProfileContext::areEndpointsModified(const Defaults& defaults) const {
    for (ProfileEndpoint* defaultEndpoint : defaults.getProfileEndpoints()) {
        if (!getProfileEndpoint(defaultEndpoint->getEndpoint())->equals(*defaultEndpoint)) {
            return true;
        }
    }
    return false;
}

}  // namespace velora
