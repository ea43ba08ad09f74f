/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "context/KsContext.h"

#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ContextTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using ::testing::ElementsAre;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Property;
using ::testing::Ref;
using ::testing::StrictMock;
using ::testing::UnorderedElementsAre;
using testing::LogCapture;
using testing::MockContextObserver;

MATCHER_P(IsProfile, profileId, "") {
    return arg.getProfileId() == profileId;
}
MATCHER_P2(IsEndpointOf, profileId, endpoint, "") {
    return arg.getProfileId() == profileId && arg.getEndpoint() == endpoint;
}
MATCHER_P(IsIeqPreset, type, "") {
    return arg.getType() == type;
}
MATCHER_P(IsGeqPresetOf, profileId, "") {
    return arg.getProfileId() == profileId;
}
MATCHER_P(IsTuning, name, "") {
    return arg.getName() == name;
}

// A started service over the test tuning file, with a strict observer registered: any event
// a test does not expect fails it.
class KsContextTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mRoot.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
        start();
    }

    void start() {
        mManager = std::make_unique<KsContextManager>();
        mContext = mManager->getKsContext();
        ASSERT_NE(mContext, nullptr);
        EXPECT_CALL(mObserver, onLoad(Ref(*mContext)));
        mContext->registerObserver(&mObserver);
        ::testing::Mock::VerifyAndClearExpectations(&mObserver);
    }

    // Everything goes: the manager, its database connection and the state; then a new start
    // over the same files.
    void restart() {
        mManager.reset();
        mContext = nullptr;
        start();
    }

    testing::TempRoot mRoot;
    StrictMock<MockContextObserver> mObserver;
    std::unique_ptr<KsContextManager> mManager;
    KsContext* mContext = nullptr;
};

TEST_F(KsContextTest, LateObserverGetsOneOnLoadAndEarlierOnesNothing) {
    StrictMock<MockContextObserver> late;
    EXPECT_CALL(late, onLoad(Ref(*mContext))).Times(1);
    mContext->registerObserver(&late);
    ::testing::Mock::VerifyAndClearExpectations(&late);

    // Both hear the next change; after unregistering, the late one no more.
    EXPECT_CALL(late, onPexOnChanged(Ref(*mContext), false));
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), false));
    mContext->setPexOn(false);
    mContext->unregisterObserver(&late);
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), true));
    mContext->setPexOn(true);
}

TEST_F(KsContextTest, LoadTakesTheStoredStateAndTheTuningsOfTheStoredDevices) {
    EXPECT_EQ(mContext->getNumOfProfiles(), 2);
    EXPECT_TRUE(mContext->getPexOn());
    EXPECT_TRUE(mContext->isSelected(0));
    EXPECT_FALSE(mContext->isSelected(1));
    ASSERT_NE(mContext->getSelectedProfile(), nullptr);
    EXPECT_EQ(mContext->getSelectedProfile()->getName(), "Dynamic");

    // A rebuild selects "default_<port>" everywhere, whether or not such a device exists.
    const std::vector<std::pair<Port, const char*>> devices = {
            {PORT_INTERNAL_SPEAKER, "default_internal_speaker"},
            {PORT_HDMI, "default_hdmi"},
            {PORT_MIRACAST, "default_miracast"},
            {PORT_HEADPHONE, "default_headphone"},
            {PORT_BLUETOOTH, "default_bluetooth"},
            {PORT_USB, "default_usb"}};
    for (const auto& [port, device] : devices) {
        EXPECT_EQ(mContext->getSelectedTuningDevice(port), device) << kPortNames[port];
    }
    ASSERT_NE(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER), nullptr);
    EXPECT_EQ(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->getName(), "speaker_stereo");
    ASSERT_NE(mContext->getSelectedTuning(PORT_HDMI), nullptr);
    EXPECT_EQ(mContext->getSelectedTuning(PORT_HDMI)->getName(), "other");
    ASSERT_NE(mContext->getSelectedTuning(PORT_HEADPHONE), nullptr);
    EXPECT_EQ(mContext->getSelectedTuning(PORT_HEADPHONE)->getName(), "headphone");
    EXPECT_EQ(mContext->getSelectedTuning(PORT_MIRACAST), nullptr);
    EXPECT_EQ(mContext->getSelectedTuning(PORT_BLUETOOTH), nullptr);
    EXPECT_EQ(mContext->getSelectedTuning(PORT_USB), nullptr);
    EXPECT_EQ(mContext->getSelectedTuningParameter(PORT_INTERNAL_SPEAKER,
                                                   virtualizer_front_speaker_angle)[0],
              10);
    EXPECT_THAT(mContext->getSelectedTuningParameter(PORT_USB, virtualizer_front_speaker_angle),
                IsEmpty());

    // The endpoint record of a port follows its tuning's endpoint; no tuning, no record.
    ProfileEndpoint* headphone = mContext->getSelectedProfileEndpoint(PORT_HEADPHONE);
    ASSERT_NE(headphone, nullptr);
    EXPECT_EQ(headphone->getEndpoint(), ENDPOINT_HEADPHONE);
    EXPECT_EQ(headphone, mContext->getProfileEndpoint(ENDPOINT_HEADPHONE));
    EXPECT_EQ(mContext->getSelectedProfileEndpoint(PORT_MIRACAST), nullptr);

    // Profile 0 runs its included preset; profile 1 has the equalizer off, so the tuning
    // file's "warm" was replaced by "off" when the database was built.
    ASSERT_NE(mContext->getSelectedProfileIeq(), nullptr);
    EXPECT_EQ(mContext->getSelectedProfileIeq()->getType(), PRESET_BALANCED);
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_OFF);
    EXPECT_EQ(mContext->getSelectedProfileGeq(), mContext->getProfileGeq(0));
    EXPECT_NE(mContext->getDefaultProfile(0), mContext->getProfile(0));
}

TEST_F(KsContextTest, PexOnIsAnnouncedOnlyWhenItChanges) {
    mContext->setPexOn(true);
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), false)).Times(1);
    mContext->setPexOn(false);
    mContext->setPexOn(false);
    EXPECT_FALSE(mContext->getPexOn());
}

TEST_F(KsContextTest, SelectingAProfileIsAnnouncedOnlyWhenItChanges) {
    mContext->setSelectedProfile(0);
    EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext))).Times(1);
    mContext->setSelectedProfile(1);
    mContext->setSelectedProfile(1);
    EXPECT_TRUE(mContext->isSelected(1));
    EXPECT_EQ(mContext->getSelectedProfile(), mContext->getProfile(1));
    EXPECT_EQ(mContext->getSelectedProfileGeq(), mContext->getProfileGeq(1));
}

TEST_F(KsContextTest, ProfileParameterCountsAsChangedOnlyOverTheNewValuesLength) {
    // Read back from the database, every vector carries one trailing 0.
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (std::vector<int>{10, 0}));

    // The stored beginning, the whole stored vector, or nothing at all: no change.
    mContext->setProfileParameter(0, ieq_amount, {10});
    mContext->setProfileParameter(0, ieq_amount, {10, 0});
    mContext->setProfileParameter(0, ieq_amount, {});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (std::vector<int>{10, 0}));

    {
        InSequence order;
        EXPECT_CALL(mObserver,
                    onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)));
        // Longer than what is stored: the extra element is a difference.
        EXPECT_CALL(mObserver,
                    onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)));
    }
    mContext->setProfileParameter(0, ieq_amount, {11});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (std::vector<int>{11}));
    mContext->setProfileParameter(0, ieq_amount, {11, 5});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (std::vector<int>{11, 5}));

    // A profile that is not selected changes silently.
    mContext->setProfileParameter(1, ieq_amount, {99});
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount), (std::vector<int>{99}));
}

TEST_F(KsContextTest, ParametersOfOtherRecordKindsAreNeitherStoredNorEntered) {
    LogCapture log;
    mContext->setProfileParameter(0, volume_leveler_amount, {3});
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_ERROR,
                             "setProfileParameter(): parameter 79 is not a profile parameter"))
            << log.dump();
    EXPECT_THAT(mContext->getProfileParameter(0, volume_leveler_amount), IsEmpty());
    EXPECT_FALSE(mContext->getProfile(0)->has(volume_leveler_amount));

    // A parameter the profile may hold but the file left out reads as empty and is entered
    // empty, as callers of the lookup expect.
    EXPECT_FALSE(mContext->getProfile(0)->has(mi_ieq_steering_enable));
    EXPECT_THAT(mContext->getProfileParameter(0, mi_ieq_steering_enable), IsEmpty());
    EXPECT_TRUE(mContext->getProfile(0)->has(mi_ieq_steering_enable));
}

TEST_F(KsContextTest, IeqPresetSelectionSwitchesIeqEnableFirst) {
    LogCapture log;
    // Out of range: refused, nothing changes.
    mContext->setProfileParameter(0, ieq_id, {4});
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_ERROR,
                             "setProfileParameter(): Invalid IEq preset 4"))
            << log.dump();
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_BALANCED);
    // The preset already selected: nothing either.
    mContext->setProfileParameter(0, ieq_id, {PRESET_BALANCED});

    {
        InSequence order;
        EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)));
        EXPECT_CALL(mObserver,
                    onSelectedProfileIeqChanged(Ref(*mContext), IsIeqPreset(PRESET_OFF)));
        EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)));
        EXPECT_CALL(mObserver,
                    onSelectedProfileIeqChanged(Ref(*mContext), IsIeqPreset(PRESET_WARM)));
    }
    mContext->setProfileParameter(0, ieq_id, {PRESET_OFF});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_enable), (std::vector<int>{0}));
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_OFF);
    mContext->setProfileParameter(0, ieq_id, {PRESET_WARM});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_enable), (std::vector<int>{1}));
    EXPECT_EQ(mContext->getSelectedProfileIeq()->getType(), PRESET_WARM);

    // Another profile: the same switching, without a word to the observers.
    mContext->setProfileParameter(1, ieq_id, {PRESET_DETAILED});
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_enable), (std::vector<int>{1}));
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_DETAILED);
}

TEST_F(KsContextTest, EndpointChangeIsAnnouncedForEveryPortOfThatEndpoint) {
    LogCapture log;
    std::vector<int> before = mContext->getProfileParameter(0, ENDPOINT_HEADPHONE,
                                                            virtual_bass_enable);
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, virtual_bass_enable, {1});
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_WARN,
                             "Setting virtual-bass-enable is not supported for non-speaker "
                             "endpoints"))
            << log.dump();
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_HEADPHONE, virtual_bass_enable), before);

    // A second port with a headphone tuning.
    EXPECT_CALL(mObserver,
                onSelectedTuningChanged(Ref(*mContext), PORT_USB, IsTuning("headphone")));
    ASSERT_TRUE(mContext->setSelectedTuning(PORT_USB, "usb_dock", /*forced=*/false));
    ::testing::Mock::VerifyAndClearExpectations(&mObserver);

    ProfileEndpoint* headphone = mContext->getProfileEndpoint(0, ENDPOINT_HEADPHONE);
    {
        InSequence order;
        EXPECT_CALL(mObserver, onSelectedProfileEndpointChanged(Ref(*mContext), PORT_HEADPHONE,
                                                                Ref(*headphone)));
        EXPECT_CALL(mObserver,
                    onSelectedProfileEndpointChanged(Ref(*mContext), PORT_USB, Ref(*headphone)));
        EXPECT_CALL(mObserver, onSelectedProfileEndpointChanged(
                                       Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                       IsEndpointOf(0, ENDPOINT_SPEAKER)));
    }
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, volume_leveler_amount, {9});
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, volume_leveler_amount, {9});
    // Virtual bass is a speaker matter and allowed there.
    mContext->setProfileParameter(0, ENDPOINT_SPEAKER, virtual_bass_enable, {0});
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_SPEAKER, virtual_bass_enable),
              (std::vector<int>{0}));

    // Profile 1 is not selected; no port of the "other" endpoint is announced either.
    mContext->setProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount, {2});
    EXPECT_EQ(mContext->getProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount),
              (std::vector<int>{2}));
}

TEST_F(KsContextTest, GeqChangesAndModifiedChecks) {
    EXPECT_FALSE(mContext->isProfileModified(0));
    EXPECT_FALSE(mContext->isProfileGeqModified(0));
    EXPECT_FALSE(mContext->isProfileSpecificSettingsModified(0));

    mContext->setProfileGeqParameter(0, geq_gain, {10, 14, 18});
    EXPECT_FALSE(mContext->isProfileGeqModified(0));

    EXPECT_CALL(mObserver, onSelectedProfileGeqChanged(Ref(*mContext), IsGeqPresetOf(0)))
            .Times(2);  // the change, then the reset
    mContext->setProfileGeqParameter(0, geq_gain, {1, 2, 3});
    EXPECT_EQ(mContext->getProfileGeqParameter(0, geq_gain), (std::vector<int>{1, 2, 3}));
    EXPECT_TRUE(mContext->isProfileGeqModified(0));
    EXPECT_TRUE(mContext->isProfileModified(0));
    // The graphic equalizer is not a profile-specific setting.
    EXPECT_FALSE(mContext->isProfileSpecificSettingsModified(0));

    mContext->resetProfileGeq(0);
    EXPECT_FALSE(mContext->isProfileGeqModified(0));
    EXPECT_FALSE(mContext->isProfileModified(0));

    // Profile 1: no event, its own modified state.
    mContext->setProfileGeqParameter(1, geq_gain, {7});
    EXPECT_TRUE(mContext->isProfileGeqModified(1));
    EXPECT_FALSE(mContext->isProfileGeqModified(0));
    mContext->resetProfileGeq(1);
    EXPECT_FALSE(mContext->isProfileModified(1));
}

TEST_F(KsContextTest, ResetProfileBringsBackTheDefaults) {
    EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)))
            .Times(2);  // ieq_enable, then ieq_amount
    EXPECT_CALL(mObserver, onSelectedProfileIeqChanged(Ref(*mContext), IsIeqPreset(PRESET_OFF)));
    EXPECT_CALL(mObserver, onSelectedProfileEndpointChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                            IsEndpointOf(0, ENDPOINT_SPEAKER)));
    mContext->setProfileParameter(0, ieq_id, {PRESET_OFF});
    mContext->setProfileParameter(0, ieq_amount, {3});
    mContext->setProfileParameter(0, ENDPOINT_SPEAKER, volume_leveler_amount, {1});
    EXPECT_TRUE(mContext->isProfileSpecificSettingsModified(0));
    EXPECT_TRUE(mContext->isProfileModified(0));
    ::testing::Mock::VerifyAndClearExpectations(&mObserver);

    EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext)));
    mContext->resetProfile(0);
    EXPECT_FALSE(mContext->isProfileModified(0));
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_BALANCED);
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount)[0], 10);
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_SPEAKER, volume_leveler_amount)[0], 7);

    // Resetting a profile that is not selected tells nobody.
    mContext->setProfileParameter(1, ieq_amount, {1});
    mContext->resetProfile(1);
    EXPECT_FALSE(mContext->isProfileModified(1));
}

struct DefaultDeviceCase {
    Port port;
    const char* expected;
    const char* rule;
};

class KsContextDefaultDeviceTest : public KsContextTest,
                                   public ::testing::WithParamInterface<DefaultDeviceCase> {};

TEST_P(KsContextDefaultDeviceTest, FollowsTheRulesInOrder) {
    EXPECT_EQ(mContext->getDefaultTuningDevice(GetParam().port), GetParam().expected)
            << GetParam().rule;
}

INSTANTIATE_TEST_SUITE_P(
        EveryPort, KsContextDefaultDeviceTest,
        ::testing::Values(
                DefaultDeviceCase{PORT_INTERNAL_SPEAKER, "default_internal_speaker",
                                  "a default_ device wins over the others"},
                DefaultDeviceCase{PORT_HDMI, "default_hdmi",
                                  "a default_ device wins over one named like the port"},
                DefaultDeviceCase{PORT_MIRACAST, "miracast", "then the device named like the port"},
                DefaultDeviceCase{PORT_HEADPHONE, "default_headphone", "the usual case"},
                DefaultDeviceCase{PORT_BLUETOOTH, "bluetooth",
                                  "no device at all: the port's name"},
                DefaultDeviceCase{PORT_USB, "usb_dock", "else the first device"}));

TEST_F(KsContextTest, AvailableDevicesAreThePortsOwn) {
    EXPECT_THAT(mContext->getAvailableTuningDevice(PORT_INTERNAL_SPEAKER),
                UnorderedElementsAre("default_internal_speaker", "speaker_alias",
                                     "internal_speaker_mono"));
    EXPECT_THAT(mContext->getAvailableTuningDevice(PORT_HDMI),
                UnorderedElementsAre("tv_box", "default_hdmi", "hdmi"));
    EXPECT_THAT(mContext->getAvailableTuningDevice(PORT_BLUETOOTH), IsEmpty());
    // "other" is no supported port.
    EXPECT_THAT(mContext->getAvailableTuningDevice(PORT_OTHER), IsEmpty());
    EXPECT_EQ(mContext->getDefaultTuningDevice(PORT_OTHER), "");
    EXPECT_FALSE(mContext->setSelectedTuning(PORT_OTHER, "tv_box", /*forced=*/true));
}

TEST_F(KsContextTest, SelectedTuningIsAnnouncedOnlyWhenTheTuningChanges) {
    LogCapture log;
    // The device already selected.
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_internal_speaker",
                                            /*forced=*/false));

    // Unknown here, or a device of another port: refused, nothing changes.
    EXPECT_FALSE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_headphone",
                                             /*forced=*/false));
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_ERROR,
                             "default_headphone is not a valid tuning device for port "
                             "internal_speaker, please call getAvailableTuningDevice(port) to "
                             "check first!"))
            << log.dump();
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");

    // Another device with the same tuning: selected, but nothing for the effect to do.
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "speaker_alias",
                                            /*forced=*/false));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "speaker_alias");
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_DEBUG,
                             "Complete setting port[internal_speaker] use tuning "
                             "device[speaker_alias]"));

    {
        InSequence order;
        // Forced: announced although the tuning is the same.
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                       IsTuning("speaker_stereo")));
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                       IsTuning("speaker_mono")));
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                       IsTuning("speaker_stereo")));
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_MIRACAST,
                                                       IsTuning("other")));
    }
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "speaker_alias",
                                            /*forced=*/true));
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono",
                                            /*forced=*/false));
    EXPECT_TRUE(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->isMono());
    EXPECT_EQ(mContext->getSelectedTuningParameter(PORT_INTERNAL_SPEAKER,
                                                   virtualizer_front_speaker_angle)[0],
              11);
    EXPECT_TRUE(mContext->selectDefaultTuning(PORT_INTERNAL_SPEAKER));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");
    // A port that had no tuning in force gets its first one.
    EXPECT_TRUE(mContext->selectDefaultTuning(PORT_MIRACAST));
    EXPECT_EQ(mContext->getSelectedProfileEndpoint(PORT_MIRACAST),
              mContext->getProfileEndpoint(ENDPOINT_OTHER));

    // A port without devices has no default to fall back on.
    EXPECT_FALSE(mContext->selectDefaultTuning(PORT_BLUETOOTH));
}

TEST_F(KsContextTest, ReloadTuningFallsBackAndAnnouncesEveryPortWithATuning) {
    LogCapture log;
    {
        InSequence order;
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                       IsTuning("speaker_stereo")));
        EXPECT_CALL(mObserver,
                    onSelectedTuningChanged(Ref(*mContext), PORT_HDMI, IsTuning("other")));
        EXPECT_CALL(mObserver,
                    onSelectedTuningChanged(Ref(*mContext), PORT_MIRACAST, IsTuning("other")));
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), PORT_HEADPHONE,
                                                       IsTuning("headphone")));
        EXPECT_CALL(mObserver,
                    onSelectedTuningChanged(Ref(*mContext), PORT_USB, IsTuning("headphone")));
    }
    mContext->reloadTuning();

    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_WARN,
                             "Current selected tuning dev[default_miracast] is not available for "
                             "port[miracast], revert to use dev[miracast]."))
            << log.dump();
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_ERROR,
                             "Cannot load tuning data for device[bluetooth] on port[bluetooth]"));
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_DEBUG,
                             "Reset tuning[other] for port[hdmi] and notify observers."));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_MIRACAST), "miracast");
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_USB), "usb_dock");
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_BLUETOOTH), "bluetooth");
    EXPECT_EQ(mContext->getSelectedTuning(PORT_BLUETOOTH), nullptr);
}

TEST_F(KsContextTest, ReloadAllProfileReadsTheSavedRecordsAgain) {
    EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)));
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), false));
    mContext->setProfileParameter(0, ieq_amount, {3});
    mContext->setPexOn(false);
    ::testing::Mock::VerifyAndClearExpectations(&mObserver);

    {
        InSequence order;
        EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext)));
        EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), true));
    }
    mContext->reloadAllProfile();
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount)[0], 10);
    EXPECT_TRUE(mContext->getPexOn());
}

// Changes every kind of state, as a client would.
void change_everything(KsContext* context) {
    context->setPexOn(false);
    context->setSelectedProfile(1);
    context->setProfileParameter(1, ieq_amount, {42});
    context->setProfileParameter(1, ieq_id, {PRESET_DETAILED});
    context->setProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount, {8});
    context->setProfileGeqParameter(1, geq_gain, {5, 6, 7});
    context->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono", /*forced=*/false);
}

TEST_F(KsContextTest, SavedStateIsFoundAgainAfterAFullRestart) {
    mContext->unregisterObserver(&mObserver);
    change_everything(mContext);
    mContext->save();
    restart();

    EXPECT_FALSE(mContext->getPexOn());
    EXPECT_TRUE(mContext->isSelected(1));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 42);
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_DETAILED);
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_enable)[0], 1);
    EXPECT_EQ(mContext->getProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount)[0], 8);
    EXPECT_THAT(mContext->getProfileGeqParameter(1, geq_gain), ElementsAre(5, 6, 7, 0));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "internal_speaker_mono");
    EXPECT_EQ(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->getName(), "speaker_mono");
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount)[0], 10);
}

TEST_F(KsContextTest, PartialSavesWriteOnlyTheirPart) {
    mContext->unregisterObserver(&mObserver);
    change_everything(mContext);
    mContext->saveKsState();
    restart();
    EXPECT_FALSE(mContext->getPexOn());
    EXPECT_TRUE(mContext->isSelected(0));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 4);

    mContext->unregisterObserver(&mObserver);
    change_everything(mContext);
    mContext->saveKsProfile();
    restart();
    EXPECT_TRUE(mContext->isSelected(1));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 4);

    mContext->unregisterObserver(&mObserver);
    change_everything(mContext);
    mContext->setPexOn(true);
    mContext->saveKsProfileSettings();
    restart();
    EXPECT_FALSE(mContext->getPexOn());  // as saved by saveKsState above
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 42);
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");
}

// Prints every log line with its tag, so that a death test can see the tag of the last words.
void tagged_stderr_logger(const struct __android_logger_data* data, const char* message) {
    fprintf(stderr, "[%s] %s\n", data->tag != nullptr ? data->tag : "(null)", message);
}

// In the dying child: log with tags to stderr, and let the fixture's mock go unchecked, since
// the process ends before the fixture does.
class KsContextDeathTest : public KsContextTest {
  protected:
    void prepareToDie() {
        __android_log_set_logger(tagged_stderr_logger);
        ::testing::Mock::AllowLeak(&mObserver);
    }
};

TEST_F(KsContextDeathTest, ProfileIdWithoutContextEndsTheProcess) {
    EXPECT_EXIT(
            {
                prepareToDie();
                mContext->setSelectedProfile(2);
            },
            ::testing::ExitedWithCode(255),
            "\\[KsContext\\] Couldn't find the context for profileId: 2");
    EXPECT_EXIT(
            {
                prepareToDie();
                mContext->getProfileParameter(-1, ieq_amount);
            },
            ::testing::ExitedWithCode(255),
            "\\[KsContext\\] Couldn't find the context for profileId: -1");
}

TEST_F(KsContextDeathTest, ProfileWithoutTheEndpointRecordEndsTheProcessUntagged) {
    EXPECT_EXIT(
            {
                prepareToDie();
                mContext->setProfileParameter(0, static_cast<Endpoint>(3), volume_leveler_amount,
                                              {1});
            },
            ::testing::ExitedWithCode(255), "\\[\\] Couldn't find the profile endpoint fo 3");
}

}  // namespace
}  // namespace velora
