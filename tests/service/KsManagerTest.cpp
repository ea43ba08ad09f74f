/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// KsManager and, through it, the ParameterAdapter that maps the external ids 100-112 onto the
// profile's settings.

#include <android/log.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
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
using testing::first;
using testing::LogCapture;
using testing::stored_param;
using Values = std::vector<int>;

class KsManagerTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(mManager.init(), 0); }

    KsContext& context() { return mSettings.context(); }
    Values value(int profile, Endpoint endpoint, Parameter parameter) {
        return context().getProfileParameter(profile, endpoint, parameter);
    }

    ExampleSettings mSettings;
    KsManager mManager{mSettings.manager()};
};

TEST(KsManagerStartTest, InitAttachesTheEffectOnceAndWithoutStateCreatesNothing) {
    {
        ExampleSettings settings;
        LogCapture log;
        KsManager manager(settings.manager());
        ASSERT_EQ(manager.init(), 0);
        EXPECT_EQ(manager.init(), 0);
        EXPECT_TRUE(
            log.contains("KsManager", ANDROID_LOG_INFO, "Created PEX effect version [ 0 ]"));
        EXPECT_EQ(log.countMessage("Created PEX effect version [ 0 ]"), 1u) << log.dump();
        EXPECT_EQ(manager.getKsContext(), settings.manager().getKsContext());
        // The controller is attached: the next change reaches the store, carrying along what
        // the load left pending (the virtual bass of the speaker).
        ASSERT_TRUE(manager.setParameter(manager.getSelectedProfile(), 103, {0}));
        EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DVLE"), std::vector<int32_t>{0});
        EXPECT_FALSE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
    }
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
    // The loaded state was published as the service came up, and again to a new handle.
    EXPECT_FALSE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
    EXPECT_TRUE(mManager.recreateKsEffect());
    EXPECT_FALSE(stored_param(DEVICE_OUT_SPEAKER, "VBON").empty());
    EXPECT_FALSE(stored_param(DEVICE_OUT_WIRED_HEADPHONE, "DVLE").empty());
    ASSERT_TRUE(mManager.setParameter(0, 108, {2}));
    EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DEA"), std::vector<int32_t>{2});

    LogCapture log;
    mManager.createPexEffect(-3);
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR,
                             "PEX effect with specified session Id (-3) is less than zero"));
    ASSERT_TRUE(mManager.setParameter(0, 108, {5}));
    EXPECT_EQ(stored_param(DEVICE_OUT_SPEAKER, "DEA"), std::vector<int32_t>{5});
}

TEST_F(KsManagerTest, EndpointIdsClampAndWriteEveryEndpoint) {
    struct Case {
        int id;
        Parameter parameter;
        int above;
        int clampedHigh;
    };
    const Case cases[] = {
        {103, volume_leveler_enable, 7, 1},     {105, dialog_enhancer_enable, 2, 1},
        {106, graphic_equalizer_enable, 9, 1},  {108, dialog_enhancer_amount, 17, 16},
        {109, dialog_enhancer_ducking, 99, 16}, {111, bass_enhancer_enable, 3, 1},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(mManager.setParameter(0, c.id, {c.above}));
        for (Endpoint endpoint : {ENDPOINT_SPEAKER, ENDPOINT_HEADPHONE, ENDPOINT_OTHER}) {
            EXPECT_EQ(first(value(0, endpoint, c.parameter)), c.clampedHigh)
                << "id " << c.id << " endpoint " << endpoint;
        }
        ASSERT_TRUE(mManager.setParameter(0, c.id, {-40}));
        EXPECT_EQ(value(0, ENDPOINT_OTHER, c.parameter), Values{0}) << "id " << c.id;
        EXPECT_EQ(mManager.getParameter(0, c.id), Values{0}) << "id " << c.id;
    }
}

TEST_F(KsManagerTest, BassSwitchAlsoDrivesTheVirtualBassWhichReachesTheSpeakerOnly) {
    ASSERT_TRUE(mManager.setParameter(0, 111, {0}));
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, bass_enhancer_enable), Values{0});
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, virtual_bass_enable), Values{0});
    // Clamped once, and the clamped value goes to both.
    ASSERT_TRUE(mManager.setParameter(0, 111, {5}));
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, bass_enhancer_enable), Values{1});
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, virtual_bass_enable), Values{1});
    EXPECT_EQ(value(0, ENDPOINT_HEADPHONE, bass_enhancer_enable), Values{1});

    // The virtual bass alone: clamped, the speaker only, and the bass switch stays.
    LogCapture log;
    ASSERT_TRUE(mManager.setParameter(0, 112, {-3}));
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, virtual_bass_enable), Values{0});
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, bass_enhancer_enable), Values{1});
    EXPECT_TRUE(log.containsMessage(
        "Setting virtual-bass-enable is not supported for non-speaker endpoints"));
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_HEADPHONE, 112, {1}));
    EXPECT_EQ(first(value(0, ENDPOINT_HEADPHONE, virtual_bass_enable)), 0);
}

TEST_F(KsManagerTest, VirtualizerIdsAreBoundToOneEndpointAndNotClamped) {
    ASSERT_TRUE(mManager.setParameter(0, 101, {5}));
    EXPECT_EQ(value(0, ENDPOINT_HEADPHONE, virtualizer_enable), Values{5});
    EXPECT_EQ(first(value(0, ENDPOINT_SPEAKER, virtualizer_enable)), 1);
    EXPECT_EQ(mManager.getParameter(0, 101), Values{5});
    ASSERT_TRUE(mManager.setParameter(0, 102, {-2}));
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, virtualizer_enable), Values{-2});
    EXPECT_EQ(first(value(0, ENDPOINT_OTHER, virtualizer_enable)), 1);
    // The port forms do nothing for them.
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_HDMI, 101, {0}));
    EXPECT_EQ(first(value(0, ENDPOINT_OTHER, virtualizer_enable)), 1);
    EXPECT_TRUE(mManager.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 102).empty());
}

// The clamping of the amount (107) and of the gains (110) is checked end to end by the daemon's
// tests; here what only the profile-level ids do.
TEST_F(KsManagerTest, ProfileIdsIgnorePortsAndThePresetSwitchesTheEqualizer) {
    ASSERT_TRUE(mManager.setParameter(0, 107, {-1}));
    EXPECT_EQ(mManager.getProfileParameter(0, ieq_amount), Values{0});
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 107, {3}));
    EXPECT_EQ(mManager.getParameter(0, 107), Values{0});
    EXPECT_TRUE(mManager.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 107).empty());

    ASSERT_TRUE(mManager.setParameter(0, 104, {9}));
    EXPECT_EQ(context().getProfile(0)->getSelectedIeqPreset(), PRESET_WARM);
    EXPECT_EQ(first(context().getProfileParameter(0, ieq_enable)), 1);
    ASSERT_TRUE(mManager.setParameter(0, 104, {-7}));
    EXPECT_EQ(context().getProfile(0)->getSelectedIeqPreset(), PRESET_OFF);
    EXPECT_EQ(context().getProfileParameter(0, ieq_enable), Values{0});
}

TEST_F(KsManagerTest, LengthsAndUnknownIdsSettersIgnoreSilentlyGettersLog) {
    LogCapture log;
    const int expected[] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 20, 1, 1};
    for (int id = 100; id <= 112; ++id) {
        EXPECT_EQ(mManager.getParamLength(id), expected[id - 100]) << "id " << id;
    }
    EXPECT_EQ(mManager.getParamLength(113), 1);
    EXPECT_EQ(mManager.getParamLength(99), 0);
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR, "Invalid paramId!"));
    // Only the unknown id and the empty slot 100 are reported by the adapter.
    EXPECT_TRUE(log.contains("ParameterAdapter", ANDROID_LOG_ERROR, "param id 100 not supported"));
    EXPECT_TRUE(log.contains("ParameterAdapter", ANDROID_LOG_ERROR, "param id 113 not supported"));
    EXPECT_EQ(log.linesWithTag("ParameterAdapter").size(), 2u) << log.dump();

    log.clear();
    const Values before = value(0, ENDPOINT_SPEAKER, volume_leveler_enable);
    for (int id : {113, 1000}) {
        EXPECT_TRUE(mManager.setParameter(0, id, {0}));
        EXPECT_TRUE(mManager.setProfilePortParameter(0, PORT_INTERNAL_SPEAKER, id, {0}));
    }
    EXPECT_TRUE(log.linesWithTag("ParameterAdapter").empty()) << log.dump();
    EXPECT_TRUE(mManager.getParameter(0, 113).empty());
    EXPECT_TRUE(mManager.getProfilePortParameter(0, PORT_HEADPHONE, 1000).empty());
    EXPECT_EQ(log.countMessage("param id 113 not supported"), 1u);
    EXPECT_EQ(log.countMessage("param id 1000 not supported"), 1u);
    // The empty slot is reported by the setters too.
    mManager.setParameter(0, 100, {0});
    mManager.setProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 100, {0});
    EXPECT_EQ(log.countMessage("param id 100 not supported"), 2u);
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, volume_leveler_enable), before);
}

TEST_F(KsManagerTest, RequestsOutsideTheirRangesAreRefused) {
    const Values before = value(0, ENDPOINT_SPEAKER, volume_leveler_enable);
    EXPECT_FALSE(mManager.setParameter(0, 103, {}));
    EXPECT_FALSE(mManager.setParameter(-1, 103, {0}));
    EXPECT_FALSE(mManager.setParameter(4, 103, {0}));
    EXPECT_FALSE(mManager.setParameter(0, 99, {0}));
    EXPECT_EQ(value(0, ENDPOINT_SPEAKER, volume_leveler_enable), before);
    EXPECT_TRUE(mManager.getParameter(4, 103).empty());
    EXPECT_TRUE(mManager.getProfileParameter(7, ieq_amount).empty());
    EXPECT_EQ(first(mManager.getProfileParameter(0, ieq_amount)), 10);

    LogCapture log;
    EXPECT_EQ(mManager.getProfileName(4), "");
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_ERROR, "Invalid Profile Id!"));
    EXPECT_EQ(mManager.getProfileNameLen(1), 6);
    const int selected = mManager.getSelectedProfile();
    EXPECT_FALSE(mManager.setSelectedProfile(-1));
    EXPECT_FALSE(mManager.setSelectedProfile(4));
    EXPECT_EQ(mManager.getSelectedProfile(), selected);
    EXPECT_FALSE(mManager.isProfileModified(9));
    EXPECT_FALSE(mManager.resetProfile(9));
    ASSERT_TRUE(mManager.setParameter(2, 107, {1}));
    EXPECT_TRUE(mManager.isProfileModified(2));
    EXPECT_TRUE(mManager.resetProfile(2));
    EXPECT_FALSE(mManager.isProfileModified(2));
}

TEST_F(KsManagerTest, SuspensionHidesTheStateWithoutChangingIt) {
    mManager.setKsOn(true);
    mManager.setKsSuspended(true);
    LogCapture log;
    EXPECT_FALSE(mManager.getKsOn());
    EXPECT_TRUE(log.contains("KsManager", ANDROID_LOG_INFO, "KS effect is now suspended"));
    EXPECT_TRUE(context().getPexOn());
    mManager.setKsSuspended(false);
    EXPECT_TRUE(mManager.getKsOn());
}

TEST_F(KsManagerTest, PortParametersGoToThePortsEndpointOnly) {
    LogCapture log;
    EXPECT_FALSE(mManager.setProfilePortParameter(0, 7, 103, {0}));
    EXPECT_TRUE(mManager.getProfilePortParameter(0, -1, 103).empty());
    EXPECT_EQ(log.countMessage("Invalid Port!"), 2u);

    // Bluetooth uses the headphone settings, HDMI those of "other"; one endpoint changes, and
    // the plain read stays the speaker's.
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_BLUETOOTH, 108, {3}));
    EXPECT_EQ(value(0, ENDPOINT_HEADPHONE, dialog_enhancer_amount), Values{3});
    EXPECT_EQ(first(value(0, ENDPOINT_SPEAKER, dialog_enhancer_amount)), 6);
    EXPECT_EQ(first(mManager.getParameter(0, 108)), 6);
    ASSERT_TRUE(mManager.setProfilePortParameter(0, PORT_HDMI, 108, {40}));
    EXPECT_EQ(value(0, ENDPOINT_OTHER, dialog_enhancer_amount), Values{16});
    EXPECT_EQ(mManager.getProfilePortParameter(0, PORT_MIRACAST, 108), Values{16});
    EXPECT_EQ(first(mManager.getProfilePortParameter(0, PORT_INTERNAL_SPEAKER, 108)), 6);
    // USB has no endpoint of its own and uses the headphone settings.
    EXPECT_EQ(mManager.getProfilePortParameter(0, PORT_USB, 108), Values{3});
    EXPECT_FALSE(mManager.setProfilePortParameter(5, PORT_HDMI, 108, {1}));
    EXPECT_TRUE(mManager.getProfilePortParameter(5, PORT_HDMI, 108).empty());
}

TEST_F(KsManagerTest, SelectingTheInternalSpeakersTuningChangesItsShape) {
    EXPECT_EQ(mManager.getAvailableTuningDevicesLen(PORT_USB), 12 + 16);
    EXPECT_FALSE(mManager.setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_usb"));
    EXPECT_EQ(mManager.getSelectedTuningName(PORT_INTERNAL_SPEAKER), "default_internal_speaker");
    ASSERT_TRUE(mManager.setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono"));
    EXPECT_TRUE(mManager.isMonoInternalSpeaker());
    EXPECT_FALSE(mManager.isSpeakerPortraitMode());
}

}  // namespace
}  // namespace velora
