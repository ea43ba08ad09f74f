/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <memory>

#include "model/AndroidDevice.h"
#include "model/DeviceParameters.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/ParameterValues.h"
#include "model/Port.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {

class ParameterTranslator;

// The merged views the effect is driven from: one profile-wide view (device
// DEVICE_OUT_DEFAULT) and one view per output device that a port feeds. Each view reports its
// changed parameters to the translator of its device. Owns the views; the translators belong
// to the controller and must outlive the context.
//
// Not thread-safe: used on the thread that delivers state changes to the controller.
class PexContext {
  public:
    // The output device each port feeds; the port "other" feeds none.
    static const std::map<Port, AndroidDevice> kDeviceForPort;

    explicit PexContext(std::map<AndroidDevice, ParameterTranslator*>& translators);
    ~PexContext();
    PexContext(const PexContext&) = delete;
    PexContext& operator=(const PexContext&) = delete;

    // The profile view for DEVICE_OUT_DEFAULT, the device view otherwise; null for a device
    // without a view.
    ParameterValues* getParameters(AndroidDevice device);
    ProfileParameters* getProfileParameters() { return mProfileParameters.get(); }
    // The view of the port's device; null for a port that feeds no device.
    DeviceParameters* getDeviceParameters(Port port);

    // The profile goes to every view: the device views keep only the pointer.
    void setProfile(Profile& profile);
    void setIeqPreset(IeqPreset& preset);
    void setGeqPreset(GeqPreset& preset);
    // Ignored for a port that feeds no device.
    void setProfileEndpoint(Port port, ProfileEndpoint& profileEndpoint);
    void setTuning(Port port, Tuning& tuning);
    // Gives the port's device an empty view, as at construction: what the earlier sources
    // put there goes, and the next sources are taken whole. Ignored for a port without one.
    void resetDevice(Port port);

  private:
    std::map<AndroidDevice, ParameterTranslator*> mTranslators;
    std::unique_ptr<ProfileParameters> mProfileParameters;
    std::map<AndroidDevice, std::unique_ptr<DeviceParameters>> mDeviceParameters;
};

}  // namespace velora
