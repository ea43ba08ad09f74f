/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/AndroidDevice.h"
#include "model/Profile.h"
#include "service/KsManager.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using testing::ExampleSettings;
using testing::LogCapture;
using testing::stored_param;
using Values = std::vector<int>;

// Values read back from the database carry a trailing 0; a switch or an amount is its first
// element.
int first(const Values& values) { return values.empty() ? INT32_MIN : values[0]; }

class KsManagerTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(mManager.init(), 0); }

    KsContext& context() { return mSettings.context(); }
    Values speaker(int profile, Parameter parameter) {
        return context().getProfileParameter(profile, ENDPOINT_SPEAKER, parameter);
    }
    Values endpoint(int profile, Endpoint endpoint, Parameter parameter) {
        return context().getProfileParameter(profile, endpoint, parameter);
    }

    ExampleSettings mSettings;
    KsManager mManager{mSettings.manager()};
};

TEST(KsManagerStartTest, InitAttachesTheEffectAndLogsItsVersion) {
    ExampleSettings settings;
    LogCapture log;
    KsManager manager(settings.manager());
    ASSERT_EQ(manager.init(), 0);
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_INFO, "Created PEX effect version [ 0 ]"))
        << log.dump();
    EXPECT_EQ(manager.getKsContext(), settings.manager().getKsContext());
    // A second init changes nothing.
    EXPECT_EQ(manager.init(), 0);
    EXPECT_EQ(log.countMessage("Created PEX effect version [ 0 ]"), 1u);
    EXPECT_EQ(manager.getKsVersion(), "KS_VERSION_EXTERNAL");

    // The controller is attached: the next change reaches the store, and carries what the
    // load left pending (the virtual bass of the speaker) along with it.
    ASSERT_TRUE(manager.setParameter(manager.getSelectedProfile(), 103, {0}));
    EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DVLE"), std::vector<int32_t>{0});
    EXPECT_FALSE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
}

TEST(KsManagerStartTest, InitWithoutStateCreatesNothing) {
    testing::TempRoot root;  // no tuning file at all
    KsContextManager contextManager;
    ASSERT_EQ(contextManager.getKsContext(), nullptr);
    KsManager manager(contextManager);
    EXPECT_EQ(manager.init(), -ENODEV);
    EXPECT_EQ(manager.getKsContext(), nullptr);
}

TEST(KsManagerStartTest, DestroyedManagerLeavesTheStateUsable) {
    ExampleSettings settings;
    {
        KsManager manager(settings.manager());
        ASSERT_EQ(manager.init(), 0);
    }
    // The context outlives the manager; its observers must not include the gone controller.
    KsContext& context = settings.context();
    context.setPexOn(!context.getPexOn());
    context.setSelectedProfile(context.getSelectedProfile()->getProfileId() == 0 ? 1 : 0);
}

TEST_F(KsManagerTest, RecreatedEffectGetsTheWholeStateAndKeepsServing) {
    // Nothing was sent since start-up: the loaded state is still pending.
    EXPECT_TRUE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
    EXPECT_TRUE(mManager.recreateKsEffect());
    EXPECT_FALSE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
    EXPECT_FALSE(stored_param(DEVICE_OUT_WIRED_HEADPHONE, "DVLE").empty());
    // Later changes go through the new handle (the old one is gone).
    ASSERT_TRUE(mManager.setParameter(0, 108, {2}));
    EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DEA"), std::vector<int32_t>{2});

    LogCapture log;
    mManager.createPexEffect(-3);
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR,
                             "PEX effect with specified session Id (-3) is less than zero"));
    ASSERT_TRUE(mManager.setParameter(0, 108, {5}));
    EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DEA"), std::vector<int32_t>{5});
}

TEST_F(KsManagerTest, BassSwitchAlsoDrivesTheVirtualBass) {
    ASSERT_TRUE(mManager.setParameter(0, 111, {0}));
    EXPECT_EQ(speaker(0, bass_enhancer_enable), Values{0});
    EXPECT_EQ(speaker(0, virtual_bass_enable), Values{0});
    // Clamped once, and the clamped value goes to both.
    ASSERT_TRUE(mManager.setParameter(0, 111, {5}));
    EXPECT_EQ(speaker(0, bass_enhancer_enable), Values{1});
    EXPECT_EQ(speaker(0, virtual_bass_enable), Values{1});
    EXPECT_EQ(endpoint(0, ENDPOINT_HEADPHONE, bass_enhancer_enable), Values{1});
    // Other ids do not touch the virtual bass.
    ASSERT_TRUE(mManager.setParameter(0, 112, {0}));
    EXPECT_EQ(speaker(0, bass_enhancer_enable), Values{1});
    EXPECT_EQ(speaker(0, virtual_bass_enable), Values{0});
}

TEST_F(KsManagerTest, ParameterRequestsOutsideTheirRangesAreRefused) {
    const Values before = speaker(0, volume_leveler_enable);
    EXPECT_FALSE(mManager.setParameter(0, 103, {}));
    EXPECT_FALSE(mManager.setParameter(-1, 103, {0}));
    EXPECT_FALSE(mManager.setParameter(4, 103, {0}));
    EXPECT_FALSE(mManager.setParameter(0, 99, {0}));
    EXPECT_EQ(speaker(0, volume_leveler_enable), before);

    EXPECT_TRUE(mManager.getParameter(4, 103).empty());
    EXPECT_TRUE(mManager.getParameter(0, 99).empty());
    EXPECT_EQ(first(mManager.getParameter(1, 103)), 1);
    EXPECT_TRUE(mManager.getProfileParameter(7, ieq_amount).empty());
    EXPECT_EQ(first(mManager.getProfileParameter(0, ieq_amount)), 10);

    LogCapture log;
    EXPECT_EQ(mManager.getParamLength(99), 0);
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR, "Invalid paramId!"));
    EXPECT_EQ(mManager.getParamLength(100), 1);
    EXPECT_TRUE(log.containsMessage("param id 100 not supported"));
    EXPECT_EQ(mManager.getParamLength(110), 20);
}

TEST_F(KsManagerTest, SuspensionHidesTheStateWithoutChangingIt) {
    mManager.setKsOn(true);
    ASSERT_TRUE(mManager.getKsOn());
    mManager.setKsSuspended(true);
    EXPECT_TRUE(mManager.getKsSuspended());
    LogCapture log;
    EXPECT_FALSE(mManager.getKsOn());
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_INFO, "KS effect is now suspended"));
    EXPECT_TRUE(context().getPexOn());
    mManager.setKsSuspended(false);
    EXPECT_TRUE(mManager.getKsOn());
    mManager.setKsOn(false);
    EXPECT_FALSE(context().getPexOn());
}

TEST_F(KsManagerTest, ProfilesByIdWithRangeChecks) {
    EXPECT_EQ(mManager.getNumOfProfiles(), 4);
    EXPECT_EQ(mManager.getProfileName(1), "Movie");
    EXPECT_EQ(mManager.getProfileNameLen(1), 6);
    LogCapture log;
    EXPECT_EQ(mManager.getProfileName(4), "");
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR, "Invalid Profile Id!"));

    const int selected = mManager.getSelectedProfile();
    EXPECT_FALSE(mManager.setSelectedProfile(-1));
    EXPECT_FALSE(mManager.setSelectedProfile(4));
    EXPECT_EQ(mManager.getSelectedProfile(), selected);
    EXPECT_TRUE(mManager.setSelectedProfile(2));
    EXPECT_EQ(mManager.getSelectedProfile(), 2);

    EXPECT_FALSE(mManager.isProfileModified(2));
    ASSERT_TRUE(mManager.setParameter(2, 107, {1}));
    EXPECT_TRUE(mManager.isProfileModified(2));
    EXPECT_FALSE(mManager.isProfileModified(9));
    EXPECT_FALSE(mManager.resetProfile(9));
    EXPECT_TRUE(mManager.resetProfile(2));
    EXPECT_FALSE(mManager.isProfileModified(2));
}

TEST_F(KsManagerTest, PortParametersGoToThePortsEndpoint) {
    LogCapture log;
    EXPECT_FALSE(mManager.setProfilePortParameter(0, 7, 103, {0}));
    EXPECT_TRUE(mManager.getProfilePortParameter(0, -1, 103).empty());
    EXPECT_EQ(log.countMessage("Invalid Port!"), 2u);

    // Bluetooth uses the headphone settings, HDMI those of "other".
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_BLUETOOTH, 108, {3}));
    EXPECT_EQ(endpoint(0, ENDPOINT_HEADPHONE, dialog_enhancer_amount), Values{3});
    EXPECT_EQ(first(endpoint(0, ENDPOINT_SPEAKER, dialog_enhancer_amount)), 6);
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_HDMI, 108, {40}));
    EXPECT_EQ(endpoint(0, ENDPOINT_OTHER, dialog_enhancer_amount), Values{16});
    EXPECT_EQ(mManager.getProfilePortParameter(0, PORT_MIRACAST, 108), Values{16});
    EXPECT_EQ(first(mManager.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 108)), 6);
    // USB has no endpoint of its own and uses the headphone settings.
    EXPECT_EQ(mManager.getProfilePortParameter(0, PORT_USB, 108), Values{3});

    EXPECT_FALSE(mManager.setProfilePortParameter(5, PORT_HDMI, 108, {1}));
    EXPECT_TRUE(mManager.getProfilePortParameter(5, PORT_HDMI, 108).empty());
}

TEST_F(KsManagerTest, TuningDevicesAndTheInternalSpeakersTuning) {
    // In the provider's order, which the file does not fix.
    EXPECT_THAT(mManager.getAvailableTuningDevices(PORT_USB),
                ::testing::UnorderedElementsAre("default_usb", "usb_c_earphones"));
    EXPECT_EQ(mManager.getAvailableTuningDevicesLen(PORT_USB), 12 + 16);
    EXPECT_EQ(mManager.getSelectedTuningName(PORT_INTERNAL_SPEAKER), "default_internal_speaker");

    EXPECT_FALSE(mManager.isMonoInternalSpeaker());
    EXPECT_TRUE(mManager.isSpeakerPortraitMode());
    EXPECT_EQ(mManager.getTuningParamDFSA(), 10);
    EXPECT_EQ(mManager.getTuningParamDSA(), 30);
    EXPECT_EQ(mManager.getTuningParamDHSA(), 10);

    EXPECT_FALSE(mManager.setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_usb"));
    ASSERT_TRUE(mManager.setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono"));
    EXPECT_EQ(mManager.getSelectedTuningName(PORT_INTERNAL_SPEAKER), "internal_speaker_mono");
    EXPECT_TRUE(mManager.isMonoInternalSpeaker());
    EXPECT_FALSE(mManager.isSpeakerPortraitMode());
}

TEST_F(KsManagerTest, ReloadAndFormatVersionGoToItsContextManager) {
    EXPECT_EQ(mManager.getDefaultXmlFormatVersion(), "1.0.0");
    LogCapture log;
    EXPECT_EQ(mManager.reloadTuningXml(), -ENOENT);
    EXPECT_TRUE(
        log.contains("KsManager", ANDROID_LOG_INFO, "Tell KsContextManager to reload tuning XML."));
    mSettings.root().install("examples/kiv-extra.xml", SystemPaths::kOemTuningFile);
    EXPECT_EQ(mManager.reloadTuningXml(), 0);
    const std::vector<std::string> hdmi = mManager.getAvailableTuningDevices(PORT_HDMI);
    EXPECT_NE(std::find(hdmi.begin(), hdmi.end(), "oem_soundbar_hdmi"), hdmi.end());
}

}  // namespace
}  // namespace velora
