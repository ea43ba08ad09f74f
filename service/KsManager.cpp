/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KsManager"

#include "service/KsManager.h"

#include <log/log.h>

#include <cerrno>

#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "effect/PexController.h"
#include "effect/PexEffect.h"
#include "model/AndroidDevice.h"
#include "model/Endpoint.h"
#include "model/Profile.h"
#include "service/ParameterAdapter.h"

namespace velora {

namespace {

// The effect answers its version to this command, in the first word of a 20-word buffer.
constexpr int kEffectVersionCommand = 3;
constexpr size_t kEffectVersionWords = 20;

// One external switch drives both bass processors: the bass enhancer and the virtual bass.
constexpr int kBassEnhancerId = 111;
constexpr int kVirtualBassId = 112;

// The first id that clients may address.
constexpr int kFirstExternalId = 100;

}  // namespace

KsManager::KsManager() = default;

KsManager::KsManager(KsContextManager& contextManager) : mContextManager(&contextManager) {}

KsManager::KsManager(PexController* controller, KsContext* context)
    : mController(controller), mContext(context), mOwnsContext(true) {}

KsManager::~KsManager() {
    // The controller is detached first: a context that outlives the manager must not call an
    // observer that is gone.
    if (mContext != nullptr && mController != nullptr) {
        mContext->unregisterObserver(mController);
    }
    delete mEffect;
    delete mController;
    delete mAdapter;
    if (mOwnsContext) {
        delete mContext;
    }
}

KsContextManager& KsManager::contextManager() {
    return mContextManager != nullptr ? *mContextManager : KsContextManager::getInstance();
}

int KsManager::init() {
    if (mAdapter != nullptr) {
        return 0;  // already started
    }
    if (mContext == nullptr) {
        mContext = contextManager().getKsContext();
        // A start-up that met a lock held by another process is tried again here, with the
        // next client, instead of leaving the service without settings for good.
        if (mContext == nullptr && contextManager().retryStart()) {
            mContext = contextManager().getKsContext();
        }
        mOwnsContext = false;
        if (mContext == nullptr) {
            return -ENODEV;
        }
    }

    createPexEffect(/*session=*/0);
    mEffect->setEnabled(true);

    std::vector<int> version(kEffectVersionWords, 0);
    mEffect->receive(kEffectVersionCommand, version);
    ALOGI("Created PEX effect version [ %d ]", version[0]);

    if (mController == nullptr) {
        mController = new PexController(DEVICE_OUT_SPEAKER, *mEffect);
    } else {
        // A controller handed over by the constructor switches to this manager's effect.
        mController->setPexEffect(*mEffect, *mContext);
    }
    // Registration hands the controller the loaded state, which is published at once: the
    // effect must not run on an older file, or none at all, until a client changes something.
    mContext->registerObserver(mController);
    mController->sendParameters(DEVICE_OUT_DEFAULT);

    mAdapter = new ParameterAdapter(mContext);
    return 0;
}

void KsManager::createPexEffect(int session) {
    if (session < 0) {
        ALOGE("PEX effect with specified session Id (%d) is less than zero", session);
    }
    PexEffect* old = mEffect;
    mEffect = new PexEffect(session, kEffectName);
    mSessionId = session;
    // A controller that sends through the old handle moves to the new one (which gets the
    // whole state) before the old one goes, so it never holds a handle that no longer exists.
    if (old != nullptr && mController != nullptr && mContext != nullptr) {
        mController->setPexEffect(*mEffect, *mContext);
    }
    delete old;
}

bool KsManager::validateKsEffect() {
    if (mEffect == nullptr || !mEffect->hasControl()) {
        ALOGI("Cannot control the KsEffect, trying to recreate...");
        recreateKsEffect();
    }
    return true;
}

bool KsManager::recreateKsEffect() {
    createPexEffect(mSessionId);
    mEffect->setEnabled(true);
    return true;
}

void KsManager::setKsOn(bool on) {
    validateKsEffect();
    mContext->setPexOn(on);
}

bool KsManager::getKsOn() {
    if (mSuspended) {
        ALOGI("KS effect is now suspended");
        return false;
    }
    return mContext->getPexOn();
}

void KsManager::setKsSuspended(bool suspended) {
    validateKsEffect();
    if (mSuspended != suspended) {
        mSuspended = suspended;
    }
}

bool KsManager::getKsSuspended() {
    validateKsEffect();
    return mSuspended;
}

void KsManager::restoreCurrentProfiles() { mContext->reloadAllProfile(); }

int KsManager::saveKsStateAndSettings(bool quietFailures) { return mContext->save(quietFailures); }

void KsManager::saveKsState() { mContext->saveKsState(); }

void KsManager::saveKsProfile() { mContext->saveKsProfile(); }

void KsManager::saveKsProfileSettings() { mContext->saveKsProfileSettings(); }

std::string KsManager::getKsVersion() const { return kVersion; }

int KsManager::getNumOfProfiles() { return mContext->getNumOfProfiles(); }

bool KsManager::isValidProfile(int id) { return id >= 0 && id < mContext->getNumOfProfiles(); }

std::string KsManager::getProfileName(int id) {
    if (!isValidProfile(id)) {
        ALOGE("Invalid Profile Id!");
        return "";
    }
    return mContext->getProfileName(id);
}

int KsManager::getProfileIeqPreset(int id) {
    if (!isValidProfile(id)) {
        ALOGE("Invalid Profile Id!");
        return -EINVAL;
    }
    return mContext->getProfileIeqPreset(id);
}

int KsManager::getProfileNameLen(int id) {
    // Room for the terminating zero of the name as it goes over the wire.
    return static_cast<int>(getProfileName(id).size()) + 1;
}

bool KsManager::setSelectedProfile(int id) {
    validateKsEffect();
    if (!isValidProfile(id)) {
        return false;
    }
    mContext->setSelectedProfile(id);
    return true;
}

int KsManager::getSelectedProfile() {
    Profile* profile = mContext->getSelectedProfile();
    return profile != nullptr ? profile->getProfileId() : -1;
}

bool KsManager::resetProfile(int id) {
    validateKsEffect();
    if (!isValidProfile(id)) {
        return false;
    }
    mContext->resetProfile(id);
    return true;
}

bool KsManager::isProfileModified(int id) {
    if (!isValidProfile(id)) {
        return false;
    }
    return mContext->isProfileModified(id);
}

bool KsManager::setParameter(int profile, int id, std::vector<int> values) {
    validateKsEffect();
    if (!isValidProfile(profile) || id < kFirstExternalId || values.empty()) {
        return false;
    }
    mAdapter->setParameter(profile, id, values);
    if (id == kBassEnhancerId) {
        // The adapter clamped the values in place; the virtual bass gets the same ones.
        mAdapter->setParameter(profile, kVirtualBassId, values);
    }
    return true;
}

std::vector<int> KsManager::getParameter(int profile, int id) {
    if (!isValidProfile(profile) || id < kFirstExternalId) {
        return {};
    }
    return mAdapter->getParameter(profile, id);
}

int KsManager::getParamLength(int id) {
    if (id < kFirstExternalId) {
        ALOGE("Invalid paramId!");
        return 0;
    }
    return mAdapter->getParameterLength(id);
}

std::vector<int> KsManager::getProfileParameter(int profile, Parameter parameter) {
    if (!isValidProfile(profile)) {
        return {};
    }
    std::vector<int> values = mContext->getProfileParameter(profile, parameter);
    return values;
}

bool KsManager::endpointForPort(int port, int* endpoint) {
    if (port < 0 || port >= kPortCount) {
        ALOGE("Invalid Port!");
        return false;
    }
    auto found = kPortNameToEndpoint.find(kPortNames[port]);
    // "usb" has no endpoint of its own; USB outputs are headsets and earphones far more often
    // than speakers, so they use the headphone settings, as the shipped tunings of the port do.
    *endpoint = found != kPortNameToEndpoint.end() ? found->second : ENDPOINT_HEADPHONE;
    return true;
}

std::vector<int> KsManager::getProfilePortParameter(int profile, int port, int id) {
    int endpoint = ENDPOINT_SPEAKER;
    if (!endpointForPort(port, &endpoint)) {
        return {};
    }
    // An unknown profile would end the process in the context; it is refused here instead.
    if (!isValidProfile(profile) || id < kFirstExternalId) {
        return {};
    }
    return mAdapter->getProfileEndpointParameter(profile, static_cast<Endpoint>(endpoint), id);
}

bool KsManager::setProfilePortParameter(int profile, int port, int id, std::vector<int> values) {
    validateKsEffect();
    int endpoint = ENDPOINT_SPEAKER;
    if (!endpointForPort(port, &endpoint)) {
        return false;
    }
    if (!isValidProfile(profile) || id < kFirstExternalId || values.empty()) {
        return false;
    }
    mAdapter->setProfileEndpointParameter(profile, static_cast<Endpoint>(endpoint), id, values);
    return true;
}

std::vector<std::string> KsManager::getAvailableTuningDevices(Port port) {
    return mContext->getAvailableTuningDevice(port);
}

int KsManager::getAvailableTuningDevicesLen(Port port) {
    int length = 0;
    for (const std::string& name : getAvailableTuningDevices(port)) {
        // Each name travels with its terminating zero.
        length += static_cast<int>(name.size()) + 1;
    }
    return length;
}

std::string KsManager::getSelectedTuningName(Port port) {
    return mContext->getSelectedTuningDevice(port);
}

bool KsManager::setSelectedTuning(Port port, const std::string& device) {
    return mContext->setSelectedTuning(port, device, /*forced=*/false);
}

bool KsManager::isMonoInternalSpeaker() {
    return mContext->isSelectedTuningMono(PORT_INTERNAL_SPEAKER);
}

int KsManager::internalSpeakerTuningValue(Parameter parameter, int fallback) {
    std::vector<int> values =
        mContext->getSelectedTuningParameter(PORT_INTERNAL_SPEAKER, parameter);
    return values.empty() ? fallback : values[0];
}

bool KsManager::isSpeakerPortraitMode() {
    // Without an orientation the speaker counts as landscape.
    return internalSpeakerTuningValue(orientation, /*fallback=*/1) == 0;
}

int KsManager::getTuningParamDSA() {
    return internalSpeakerTuningValue(virtualizer_surround_speaker_angle, /*fallback=*/-1);
}

int KsManager::getTuningParamDHSA() {
    return internalSpeakerTuningValue(virtualizer_height_speaker_angle, /*fallback=*/-1);
}

int KsManager::getTuningParamDFSA() {
    return internalSpeakerTuningValue(virtualizer_front_speaker_angle, /*fallback=*/-1);
}

int KsManager::reloadTuningXml() {
    ALOGI("Tell KsContextManager to reload tuning XML.");
    return contextManager().loadOemTuning();
}

std::string KsManager::getDefaultXmlFormatVersion() {
    return contextManager().getDefaultXmlFormatVersion();
}

std::string KsManager::getStartFailure() {
    if (mContext != nullptr) return std::string();
    // Asking the process-wide manager would create it, and so start the settings system.
    if (mContextManager == nullptr && !KsContextManager::hasInstance()) return std::string();
    return contextManager().getStartFailure();
}

}  // namespace velora
