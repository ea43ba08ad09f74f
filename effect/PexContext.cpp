/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/PexContext.h"

#include "effect/ParameterTranslator.h"

namespace velora {

// After the model's tables (priority 101), like the other tables of this library.
__attribute__((init_priority(102))) const std::map<Port, AndroidDevice> PexContext::kDeviceForPort =
    {
        {PORT_INTERNAL_SPEAKER, DEVICE_OUT_SPEAKER}, {PORT_HDMI, DEVICE_OUT_AUX_DIGITAL},
        {PORT_MIRACAST, DEVICE_OUT_REMOTE_SUBMIX},   {PORT_HEADPHONE, DEVICE_OUT_WIRED_HEADPHONE},
        {PORT_BLUETOOTH, DEVICE_OUT_BLUETOOTH_A2DP}, {PORT_USB, DEVICE_OUT_USB_DEVICE},
};

namespace {

ParameterTranslator* translator_for(std::map<AndroidDevice, ParameterTranslator*>& translators,
                                    AndroidDevice device) {
    auto it = translators.find(device);
    return it == translators.end() ? nullptr : it->second;
}

}  // namespace

PexContext::PexContext(std::map<AndroidDevice, ParameterTranslator*>& translators)
    : mTranslators(translators),
      mProfileParameters(
          std::make_unique<ProfileParameters>(translator_for(translators, DEVICE_OUT_DEFAULT))) {
    for (const auto& [port, device] : kDeviceForPort) {
        (void)port;
        mDeviceParameters[device] =
            std::make_unique<DeviceParameters>(translator_for(translators, device));
    }
}

PexContext::~PexContext() {}

ParameterValues* PexContext::getParameters(AndroidDevice device) {
    if (device == DEVICE_OUT_DEFAULT) {
        return mProfileParameters.get();
    }
    auto it = mDeviceParameters.find(device);
    return it == mDeviceParameters.end() ? nullptr : it->second.get();
}

DeviceParameters* PexContext::getDeviceParameters(Port port) {
    auto device = kDeviceForPort.find(port);
    if (device == kDeviceForPort.end()) {
        return nullptr;
    }
    auto it = mDeviceParameters.find(device->second);
    return it == mDeviceParameters.end() ? nullptr : it->second.get();
}

void PexContext::setProfile(Profile& profile) {
    mProfileParameters->setProfile(profile);
    for (auto& [device, view] : mDeviceParameters) {
        (void)device;
        view->setProfile(profile);
    }
}

void PexContext::setIeqPreset(IeqPreset& preset) { mProfileParameters->setIeqPreset(preset); }

void PexContext::setGeqPreset(GeqPreset& preset) { mProfileParameters->setGeqPreset(preset); }

void PexContext::setProfileEndpoint(Port port, ProfileEndpoint& profileEndpoint) {
    DeviceParameters* view = getDeviceParameters(port);
    if (view != nullptr) {
        view->setProfileEndpoint(profileEndpoint);
    }
}

void PexContext::resetDevice(Port port) {
    auto device = kDeviceForPort.find(port);
    if (device == kDeviceForPort.end()) return;
    mDeviceParameters[device->second] =
        std::make_unique<DeviceParameters>(translator_for(mTranslators, device->second));
}

void PexContext::setTuning(Port port, Tuning& tuning) {
    DeviceParameters* view = getDeviceParameters(port);
    if (view != nullptr) {
        view->setTuning(tuning);
    }
}

}  // namespace velora
