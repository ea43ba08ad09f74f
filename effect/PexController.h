/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <memory>
#include <set>

#include "context/OnKsContextChange.h"
#include "effect/ParameterTranslator.h"
#include "effect/PexContext.h"
#include "model/AndroidDevice.h"

namespace velora {

class KsContext;
class PexEffect;

// Keeps the effect's parameters in step with the current state. As an observer of the state
// it hands every changed record to its merged views, whose changed parameters mark
// translators pending, and then sends one batch with all pending work of all devices: one
// state change, one batch, one commit in the parameter store. Records carry their own device
// tag; the batch header names DEVICE_OUT_DEFAULT.
//
// onLoad only fills the views: what it loads stays pending and rides along with the next
// batch. setPexEffect sends everything, for a newly attached effect handle.
//
// Owns its translators and the PexContext; the effect handle is not owned. No lock of its
// own: called on the thread that delivers state notifications, which serialises the calls.
class PexController : public OnKsContextChange {
  public:
    // The devices the controller keeps settings for: the profile-wide DEVICE_OUT_DEFAULT and
    // every device a port feeds.
    static const std::set<AndroidDevice> kDevices;

    PexController(int deviceCount, PexEffect& effect);
    ~PexController() override;
    PexController(const PexController&) = delete;
    PexController& operator=(const PexController&) = delete;

    // Runs every device's pending translators into one batch headed by device and executes it;
    // an empty batch is dropped before the effect sees it.
    void sendParameters(AndroidDevice device);
    // Attaches a new effect handle and sends it everything the views hold.
    void setPexEffect(PexEffect& effect, KsContext& context);

    void onLoad(KsContext& context) override;
    void onPexOnChanged(KsContext& context, bool on) override;
    void onSelectedProfileChanged(KsContext& context) override;
    void onSelectedProfileParameterChanged(KsContext& context, Profile& profile) override;
    void onSelectedProfileEndpointChanged(KsContext& context, Port port,
                                          ProfileEndpoint& profileEndpoint) override;
    void onSelectedProfileIeqChanged(KsContext& context, IeqPreset& preset) override;
    void onSelectedProfileGeqChanged(KsContext& context, GeqPreset& preset) override;
    void onSelectedTuningChanged(KsContext& context, Port port, Tuning& tuning) override;

    int getDeviceCount() const { return mDeviceCount; }
    PexContext& getContext() { return *mContext; }
    ParameterTranslator* getTranslator(AndroidDevice device);

  private:
    // Hands the selected profile's IEQ and GEQ presets to the profile view.
    void setSelectedPresets(KsContext& context);

    std::map<AndroidDevice, ParameterTranslator*> mTranslators;
    PexEffect* mEffect;
    // Given by the facade and kept; the device set above is fixed.
    int mDeviceCount;
    std::unique_ptr<PexContext> mContext;
};

}  // namespace velora
