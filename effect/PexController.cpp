/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "PexController"

#include "effect/PexController.h"

#include <log/log.h>

#include "context/KsContext.h"
#include "effect/PexEffect.h"
#include "effect/SetParamCommand.h"

namespace velora {

// After the model's tables (priority 101), like the other tables of this library.
__attribute__((init_priority(102))) const std::set<AndroidDevice> PexController::kDevices = {
    DEVICE_OUT_SPEAKER,     DEVICE_OUT_WIRED_HEADPHONE, DEVICE_OUT_BLUETOOTH_A2DP,
    DEVICE_OUT_AUX_DIGITAL, DEVICE_OUT_USB_DEVICE,      DEVICE_OUT_REMOTE_SUBMIX,
    DEVICE_OUT_DEFAULT,
};

PexController::PexController(int deviceCount, PexEffect& effect)
    : mEffect(&effect), mDeviceCount(deviceCount) {
    for (AndroidDevice device : kDevices) {
        mTranslators[device] = new ParameterTranslator();
    }
    mContext = std::make_unique<PexContext>(mTranslators);
}

PexController::~PexController() {
    // The views report to the translators: they go first.
    mContext.reset();
    for (auto& [device, translator] : mTranslators) {
        (void)device;
        delete translator;
    }
}

ParameterTranslator* PexController::getTranslator(AndroidDevice device) {
    auto it = mTranslators.find(device);
    return it == mTranslators.end() ? nullptr : it->second;
}

void PexController::sendParameters(AndroidDevice device) {
    SetParamCommand command(device);
    for (auto& [key, translator] : mTranslators) {
        command.setDeviceId(key);
        translator->translatePending(command);
    }
    // The effect reports nothing useful back (see PexEffect::send).
    command.execute(*mEffect);
}

void PexController::setPexEffect(PexEffect& effect, KsContext& context) {
    mEffect = &effect;
    SetParamCommand command(DEVICE_OUT_DEFAULT);
    for (auto& [key, translator] : mTranslators) {
        command.setDeviceId(key);
        translator->translateAll(command);
    }
    command.execute(*mEffect);
    mEffect->setEnabled(context.getPexOn());
}

void PexController::setSelectedPresets(KsContext& context) {
    IeqPreset* ieq = context.getSelectedProfileIeq();
    if (ieq != nullptr) {
        mContext->setIeqPreset(*ieq);
    }
    GeqPreset* geq = context.getSelectedProfileGeq();
    if (geq != nullptr) {
        mContext->setGeqPreset(*geq);
    }
}

void PexController::onLoad(KsContext& context) {
    ALOGI("onLoad()");
    Profile* profile = context.getSelectedProfile();
    if (profile != nullptr) {
        mContext->setProfile(*profile);
    }
    setSelectedPresets(context);
    for (const auto& [port, device] : PexContext::kDeviceForPort) {
        (void)device;
        ProfileEndpoint* profileEndpoint = context.getSelectedProfileEndpoint(port);
        if (profileEndpoint != nullptr) {
            mContext->setProfileEndpoint(port, *profileEndpoint);
        } else {
            ALOGW("No profile endpoint found for port : %d", port);
        }
        Tuning* tuning = context.getSelectedTuning(port);
        if (tuning != nullptr) {
            mContext->setTuning(port, *tuning);
        } else {
            ALOGE("No tuning found for port : %s", kPortNames[port]);
        }
    }
    // Nothing is sent here: the loaded values stay pending and go with the next batch.
}

void PexController::onPexOnChanged(KsContext& /*context*/, bool /*on*/) {
    // Switching the effect belongs to the facade; the parameters do not change.
}

void PexController::onSelectedProfileChanged(KsContext& context) {
    Profile* profile = context.getSelectedProfile();
    if (profile != nullptr) {
        ALOGI("Profile Changed to %s", profile->getName().c_str());
        mContext->setProfile(*profile);
    }
    setSelectedPresets(context);
    for (const auto& [port, device] : PexContext::kDeviceForPort) {
        (void)device;
        ProfileEndpoint* profileEndpoint = context.getSelectedProfileEndpoint(port);
        if (profileEndpoint != nullptr) {
            mContext->setProfileEndpoint(port, *profileEndpoint);
        }
    }
    sendParameters(DEVICE_OUT_DEFAULT);
}

void PexController::onSelectedProfileParameterChanged(KsContext& /*context*/, Profile& profile) {
    mContext->setProfile(profile);
    sendParameters(DEVICE_OUT_DEFAULT);
}

void PexController::onSelectedProfileEndpointChanged(KsContext& /*context*/, Port port,
                                                     ProfileEndpoint& profileEndpoint) {
    mContext->setProfileEndpoint(port, profileEndpoint);
    sendParameters(DEVICE_OUT_DEFAULT);
}

void PexController::onSelectedProfileIeqChanged(KsContext& /*context*/, IeqPreset& preset) {
    mContext->setIeqPreset(preset);
    sendParameters(DEVICE_OUT_DEFAULT);
}

void PexController::onSelectedProfileGeqChanged(KsContext& /*context*/, GeqPreset& preset) {
    mContext->setGeqPreset(preset);
    sendParameters(DEVICE_OUT_DEFAULT);
}

void PexController::onSelectedTuningChanged(KsContext& context, Port port, Tuning& tuning) {
    auto device = PexContext::kDeviceForPort.find(port);
    if (device != PexContext::kDeviceForPort.end()) {
        // What the device is given depends on the tuning's endpoint (the profile endpoint in
        // force), its mono flag and its channels; the view starts over from the new sources,
        // so that nothing of the earlier tuning stays, as after a start on them.
        mContext->resetDevice(port);
        Profile* profile = context.getSelectedProfile();
        if (profile != nullptr) mContext->setProfile(*profile);
        mContext->setTuning(port, tuning);
        ProfileEndpoint* profileEndpoint = context.getSelectedProfileEndpoint(port);
        if (profileEndpoint != nullptr) mContext->setProfileEndpoint(port, *profileEndpoint);
        // Every translation of the device runs again, also of what the new sources lack.
        ParameterTranslator* translator = getTranslator(device->second);
        if (translator != nullptr) translator->markAll();
    }
    sendParameters(DEVICE_OUT_DEFAULT);
}

}  // namespace velora
