/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "effect/ParameterTranslator.h"
#include "effect/PexContext.h"

namespace velora {
namespace {

class PexContextTest : public ::testing::Test {
  protected:
    PexContextTest() {
        for (AndroidDevice device :
             {DEVICE_OUT_SPEAKER, DEVICE_OUT_WIRED_HEADPHONE, DEVICE_OUT_BLUETOOTH_A2DP,
              DEVICE_OUT_AUX_DIGITAL, DEVICE_OUT_USB_DEVICE, DEVICE_OUT_REMOTE_SUBMIX,
              DEVICE_OUT_DEFAULT}) {
            mOwned[device] = std::make_unique<ParameterTranslator>();
            mTranslators[device] = mOwned[device].get();
        }
        mContext = std::make_unique<PexContext>(mTranslators);
    }

    std::map<AndroidDevice, std::unique_ptr<ParameterTranslator>> mOwned;
    std::map<AndroidDevice, ParameterTranslator*> mTranslators;
    std::unique_ptr<PexContext> mContext;
};

TEST_F(PexContextTest, EveryPortButOtherFeedsItsOwnDevice) {
    const std::map<Port, AndroidDevice> expected{
        {PORT_INTERNAL_SPEAKER, static_cast<AndroidDevice>(2)},
        {PORT_HDMI, static_cast<AndroidDevice>(0x400)},
        {PORT_MIRACAST, static_cast<AndroidDevice>(0x8000)},
        {PORT_HEADPHONE, static_cast<AndroidDevice>(8)},
        {PORT_BLUETOOTH, static_cast<AndroidDevice>(0x80)},
        {PORT_USB, static_cast<AndroidDevice>(0x4000)},
    };
    EXPECT_EQ(expected, PexContext::kDeviceForPort);

    for (const auto& [port, device] : expected) {
        DeviceParameters* view = mContext->getDeviceParameters(port);
        ASSERT_NE(nullptr, view) << kPortNames[port];
        EXPECT_EQ(view, mContext->getParameters(device));
        // Each view reports to its own device's translator.
        EXPECT_EQ(view, mTranslators[device]->getSource());
    }
    EXPECT_EQ(nullptr, mContext->getDeviceParameters(PORT_OTHER));
    EXPECT_EQ(mContext->getProfileParameters(), mContext->getParameters(DEVICE_OUT_DEFAULT));
    EXPECT_EQ(mContext->getProfileParameters(), mTranslators[DEVICE_OUT_DEFAULT]->getSource());
    EXPECT_EQ(nullptr, mContext->getParameters(static_cast<AndroidDevice>(0x4)));
}

TEST_F(PexContextTest, RecordsReachOnlyTheViewsTheyBelongTo) {
    Tuning headphone("hp", ENDPOINT_HEADPHONE, false);
    headphone.set(virtualizer_front_speaker_angle, {10});
    mContext->setTuning(PORT_HEADPHONE, headphone);
    ProfileEndpoint endpoint(0, ENDPOINT_HEADPHONE);
    endpoint.set(volume_leveler_amount, {4});
    mContext->setProfileEndpoint(PORT_BLUETOOTH, endpoint);

    for (const auto& [device, translator] : mTranslators) {
        const bool expectWork =
            device == DEVICE_OUT_WIRED_HEADPHONE || device == DEVICE_OUT_BLUETOOTH_A2DP;
        EXPECT_EQ(expectWork, !translator->getPending().empty()) << std::hex << device;
    }
    EXPECT_EQ(ENDPOINT_HEADPHONE, mTranslators[DEVICE_OUT_WIRED_HEADPHONE]->getEndpoint());
    EXPECT_EQ(&headphone, mContext->getDeviceParameters(PORT_HEADPHONE)->getTuning());
}

TEST_F(PexContextTest, PortWithoutDeviceIsIgnored) {
    Tuning tuning("other", ENDPOINT_OTHER, false);
    tuning.set(virtualizer_front_speaker_angle, {10});
    ProfileEndpoint endpoint(0, ENDPOINT_OTHER);
    endpoint.set(volume_leveler_amount, {4});
    mContext->setTuning(PORT_OTHER, tuning);
    mContext->setProfileEndpoint(PORT_OTHER, endpoint);
    for (const auto& [device, translator] : mTranslators) {
        EXPECT_TRUE(translator->getPending().empty()) << std::hex << device;
    }
}

TEST_F(PexContextTest, ProfileGoesToEveryViewButChangesOnlyTheProfileView) {
    Profile profile(1, "Music", PRESET_WARM);
    profile.set(ieq_amount, {7});
    mContext->setProfile(profile);
    for (const auto& [port, device] : PexContext::kDeviceForPort) {
        EXPECT_EQ(&profile, mContext->getDeviceParameters(port)->getProfile());
        EXPECT_TRUE(mTranslators[device]->getPending().empty());
    }
    EXPECT_EQ(&profile, mContext->getProfileParameters()->getProfile());
    EXPECT_EQ(1u, mTranslators[DEVICE_OUT_DEFAULT]->getPending().size());

    IeqPreset ieq(PRESET_WARM);
    GeqPreset geq(1);
    mContext->setIeqPreset(ieq);
    mContext->setGeqPreset(geq);
    EXPECT_EQ(&ieq, mContext->getProfileParameters()->getIeqPreset());
    EXPECT_EQ(&geq, mContext->getProfileParameters()->getGeqPreset());
}

}  // namespace
}  // namespace velora
