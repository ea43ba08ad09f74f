/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ContextTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextChangeObservable.h"
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

using ::testing::_;
using ::testing::InSequence;
using ::testing::IsEmpty;
using testing::IsTuning;
using testing::LogCapture;
using ::testing::Ref;
using ::testing::StrictMock;
using Values = std::vector<int>;

MATCHER_P(IsProfile, profileId, "") { return arg.getProfileId() == profileId; }
MATCHER_P(IsIeqPreset, type, "") { return arg.getType() == type; }
MATCHER_P(IsEndpoint, endpoint, "") { return arg.getEndpoint() == endpoint; }

constexpr const char* kTag = "KsContext";

// A started service over the test tuning file, with a strict observer registered: any event
// a test does not expect fails it.
class KsContextTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mRoot.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
        start();
    }
    // A new start over the same files; restart() first drops the manager, its database
    // connection and the state.
    void start() {
        mManager = std::make_unique<KsContextManager>();
        mContext = mManager->getKsContext();
        ASSERT_NE(mContext, nullptr);
        EXPECT_CALL(mObserver, onLoad(Ref(*mContext)));
        mContext->registerObserver(&mObserver);
        ::testing::Mock::VerifyAndClearExpectations(&mObserver);
    }
    void restart() {
        mManager.reset();
        start();
    }
    void expectTuningEvents(const std::vector<std::pair<Port, const char*>>& events) {
        InSequence order;
        for (const auto& [port, name] : events) {
            EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), port, IsTuning(name)));
        }
    }

    testing::TempRoot mRoot;
    StrictMock<testing::MockContextObserver> mObserver;
    std::unique_ptr<KsContextManager> mManager;
    KsContext* mContext = nullptr;
};

TEST_F(KsContextTest, LateObserverGetsOneOnLoadAndEarlierOnesNothing) {
    StrictMock<testing::MockContextObserver> late;
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

TEST_F(KsContextTest, ObservableCallsEachObserverOnceInAddressOrder) {
    StrictMock<testing::MockContextObserver> pair[2];  // pair[0] has the lower address
    KsContextChangeObservable observable;
    observable.registerObserver(&pair[1]);  // registration order must not matter
    observable.registerObserver(&pair[0]);
    observable.registerObserver(&pair[0]);  // a set: no second call
    observable.registerObserver(nullptr);   // not an observer
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    {
        InSequence order;
        EXPECT_CALL(pair[0], onSelectedTuningChanged(Ref(*mContext), PORT_HDMI, Ref(tuning)));
        EXPECT_CALL(pair[1], onSelectedTuningChanged(Ref(*mContext), PORT_HDMI, Ref(tuning)));
        EXPECT_CALL(pair[0], onPexOnChanged(Ref(*mContext), false));
        EXPECT_CALL(pair[1], onPexOnChanged(Ref(*mContext), false));
        EXPECT_CALL(pair[1], onSelectedProfileChanged(Ref(*mContext)));
    }
    observable.onSelectedTuningChanged(*mContext, PORT_HDMI, tuning);
    observable.onPexOnChanged(*mContext, false);
    observable.unregisterObserver(&pair[0]);  // once is enough
    observable.onSelectedProfileChanged(*mContext);
    EXPECT_EQ(observable.unregisterAll(), 0);
    observable.onSelectedProfileChanged(*mContext);
}

TEST_F(KsContextTest, LoadTakesTheStoredStateAndEachPortsDevices) {
    // A rebuild selects "default_<port>" everywhere, whether or not such a device exists.
    // The default device follows rules in order: a "default_" device, then one named like
    // the port, then the first device; a port without devices gets its own name.
    struct {
        Port port;
        std::vector<std::string> devices;
        const char* defaultDevice;
        const char* loadedTuning;
    } const ports[] = {{PORT_INTERNAL_SPEAKER,
                        {"default_internal_speaker", "speaker_alias", "internal_speaker_mono"},
                        "default_internal_speaker",
                        "speaker_stereo"},
                       {PORT_HDMI, {"tv_box", "default_hdmi", "hdmi"}, "default_hdmi", "other"},
                       {PORT_MIRACAST, {"cast_x", "miracast"}, "miracast", ""},
                       {PORT_HEADPHONE, {"default_headphone"}, "default_headphone", "headphone"},
                       {PORT_BLUETOOTH, {}, "bluetooth", ""},
                       {PORT_USB, {"usb_dock"}, "usb_dock", ""}};
    for (const auto& p : ports) {
        SCOPED_TRACE(kPortNames[p.port]);
        EXPECT_THAT(mContext->getAvailableTuningDevice(p.port),
                    ::testing::UnorderedElementsAreArray(p.devices));
        EXPECT_EQ(mContext->getDefaultTuningDevice(p.port), p.defaultDevice);
        EXPECT_EQ(mContext->getSelectedTuningDevice(p.port),
                  std::string("default_") + kPortNames[p.port]);
        Tuning* tuning = mContext->getSelectedTuning(p.port);
        EXPECT_EQ(tuning != nullptr ? tuning->getName() : "", p.loadedTuning);
        // The endpoint record of a port follows its tuning's endpoint; no tuning, no record.
        ProfileEndpoint* endpoint = mContext->getSelectedProfileEndpoint(p.port);
        EXPECT_EQ(endpoint, tuning ? mContext->getProfileEndpoint(tuning->getEndpoint()) : nullptr);
    }
    // "other" has a device list like every port, empty in this file; only loading and saving
    // pass it by.
    EXPECT_THAT(mContext->getAvailableTuningDevice(PORT_OTHER), IsEmpty());
    EXPECT_EQ(mContext->getDefaultTuningDevice(PORT_OTHER), "other");
    EXPECT_FALSE(mContext->setSelectedTuning(PORT_OTHER, "tv_box", /*forced=*/true));
    EXPECT_THAT(mContext->getSelectedTuningParameter(PORT_USB, virtualizer_front_speaker_angle),
                IsEmpty());
    // Profile 0 runs its included preset; profile 1 has the equalizer off, so the tuning
    // file's "warm" was replaced by "off" when the database was built.
    EXPECT_TRUE(mContext->isSelected(0));
    EXPECT_EQ(mContext->getSelectedProfileIeq()->getType(), PRESET_BALANCED);
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_OFF);
}

TEST_F(KsContextTest, NothingIsAnnouncedWhenNothingChanges) {
    // Read back from the database, every vector carries one trailing 0. The stored
    // beginning, the whole stored vector, or nothing at all: no change.
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (Values{10, 0}));
    for (const Values& same : {Values{10}, Values{10, 0}, Values{}}) {
        mContext->setProfileParameter(0, ieq_amount, same);
    }
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (Values{10, 0}));
    mContext->setPexOn(true);
    mContext->setSelectedProfile(0);
    mContext->setProfileParameter(0, ieq_id, {PRESET_BALANCED});
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, volume_leveler_amount, {5});
    mContext->setProfileGeqParameter(0, geq_gain, {10, 14, 18});
    EXPECT_FALSE(mContext->isProfileModified(0));
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_internal_speaker",
                                            /*forced=*/false));
    // Another device with the same tuning: selected, but nothing for the effect to do.
    LogCapture log;
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "speaker_alias", false));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "Complete setting port[internal_speaker] use tuning "
                             "device[speaker_alias]"));
    // A profile that is not selected changes silently.
    mContext->setProfileParameter(1, ieq_amount, {99});
    mContext->setProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount, {2});
    mContext->setProfileGeqParameter(1, geq_gain, {7});
    EXPECT_TRUE(mContext->isProfileGeqModified(1));
    mContext->resetProfile(1);
    EXPECT_FALSE(mContext->isProfileModified(1));

    // A real change is announced once, however often it is repeated.
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), false));
    EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext)));
    for (int i = 0; i < 2; ++i) {
        mContext->setPexOn(false);
        mContext->setSelectedProfile(1);
    }
    EXPECT_EQ(mContext->getSelectedProfileGeq(), mContext->getProfileGeq(1));
}

TEST_F(KsContextTest, ProfileParameterCountsAsChangedOverTheNewValuesLengthOnly) {
    // The second write is longer than what is stored: the extra element is a difference.
    EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)))
        .Times(2);
    mContext->setProfileParameter(0, ieq_amount, {11});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (Values{11}));
    mContext->setProfileParameter(0, ieq_amount, {11, 5});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount), (Values{11, 5}));

    // Parameters of other record kinds are neither stored nor entered.
    LogCapture log;
    mContext->setProfileParameter(0, volume_leveler_amount, {3});
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR,
                             "setProfileParameter(): parameter 79 is not a profile parameter"));
    EXPECT_THAT(mContext->getProfileParameter(0, volume_leveler_amount), IsEmpty());
    EXPECT_FALSE(mContext->getProfile(0)->has(volume_leveler_amount));
    // One the profile may hold but the file left out reads as empty and is entered empty.
    EXPECT_THAT(mContext->getProfileParameter(0, mi_ieq_steering_enable), IsEmpty());
    EXPECT_TRUE(mContext->getProfile(0)->has(mi_ieq_steering_enable));
}

TEST_F(KsContextTest, IeqPresetSelectionSwitchesIeqEnableFirst) {
    LogCapture log;
    mContext->setProfileParameter(0, ieq_id, {4});  // out of range: refused
    EXPECT_TRUE(
        log.contains(kTag, ANDROID_LOG_ERROR, "setProfileParameter(): Invalid IEq preset 4"));
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_BALANCED);
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
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_enable), (Values{0}));
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_OFF);
    mContext->setProfileParameter(0, ieq_id, {PRESET_WARM});
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_enable), (Values{1}));
    EXPECT_EQ(mContext->getSelectedProfileIeq()->getType(), PRESET_WARM);
    // Another profile: the same switching, without a word to the observers.
    mContext->setProfileParameter(1, ieq_id, {PRESET_DETAILED});
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_enable), (Values{1}));
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_DETAILED);
}

TEST_F(KsContextTest, EndpointChangeIsAnnouncedForEveryPortOfThatEndpoint) {
    LogCapture log;
    Values before = mContext->getProfileParameter(0, ENDPOINT_HEADPHONE, virtual_bass_enable);
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, virtual_bass_enable, {1});
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_WARN,
                             "Setting virtual-bass-enable is not supported for non-speaker "
                             "endpoints"));
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_HEADPHONE, virtual_bass_enable), before);

    expectTuningEvents({{PORT_USB, "headphone"}});  // a second port with a headphone tuning
    ASSERT_TRUE(mContext->setSelectedTuning(PORT_USB, "usb_dock", /*forced=*/false));
    ::testing::Mock::VerifyAndClearExpectations(&mObserver);
    ProfileEndpoint* headphone = mContext->getProfileEndpoint(0, ENDPOINT_HEADPHONE);
    {
        InSequence order;
        for (Port port : {PORT_HEADPHONE, PORT_USB}) {
            EXPECT_CALL(mObserver,
                        onSelectedProfileEndpointChanged(Ref(*mContext), port, Ref(*headphone)));
        }
        EXPECT_CALL(mObserver, onSelectedProfileEndpointChanged(
                                   Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                   Ref(*mContext->getProfileEndpoint(0, ENDPOINT_SPEAKER))));
    }
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, volume_leveler_amount, {9});
    mContext->setProfileParameter(0, ENDPOINT_HEADPHONE, volume_leveler_amount, {9});
    // Virtual bass is a speaker matter and allowed there.
    mContext->setProfileParameter(0, ENDPOINT_SPEAKER, virtual_bass_enable, {0});
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_SPEAKER, virtual_bass_enable), (Values{0}));
}

TEST_F(KsContextTest, ResetsBringBackTheDefaultsAndAreAnnounced) {
    EXPECT_CALL(mObserver, onSelectedProfileGeqChanged(Ref(*mContext), _)).Times(2);
    mContext->setProfileGeqParameter(0, geq_gain, {1, 2, 3});
    EXPECT_EQ(mContext->getProfileGeqParameter(0, geq_gain), (Values{1, 2, 3}));
    EXPECT_TRUE(mContext->isProfileModified(0));
    // The graphic equalizer is not a profile-specific setting.
    EXPECT_FALSE(mContext->isProfileSpecificSettingsModified(0));
    mContext->resetProfileGeq(0);
    EXPECT_FALSE(mContext->isProfileGeqModified(0));

    EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(0)))
        .Times(2);  // ieq_enable, then ieq_amount
    EXPECT_CALL(mObserver, onSelectedProfileIeqChanged(Ref(*mContext), IsIeqPreset(PRESET_OFF)));
    EXPECT_CALL(mObserver, onSelectedProfileEndpointChanged(Ref(*mContext), PORT_INTERNAL_SPEAKER,
                                                            IsEndpoint(ENDPOINT_SPEAKER)));
    mContext->setProfileParameter(0, ieq_id, {PRESET_OFF});
    mContext->setProfileParameter(0, ieq_amount, {3});
    mContext->setProfileParameter(0, ENDPOINT_SPEAKER, volume_leveler_amount, {1});
    EXPECT_TRUE(mContext->isProfileSpecificSettingsModified(0));
    ::testing::Mock::VerifyAndClearExpectations(&mObserver);
    EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext)));
    mContext->resetProfile(0);
    EXPECT_FALSE(mContext->isProfileModified(0));
    EXPECT_EQ(mContext->getProfile(0)->getSelectedIeqPreset(), PRESET_BALANCED);
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount)[0], 10);
    EXPECT_EQ(mContext->getProfileParameter(0, ENDPOINT_SPEAKER, volume_leveler_amount)[0], 7);
}

TEST_F(KsContextTest, SelectedTuningIsAnnouncedWhenTheTuningChangesOrWhenForced) {
    LogCapture log;
    EXPECT_FALSE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "default_headphone", false));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR,
                             "default_headphone is not a valid tuning device for port "
                             "internal_speaker, please call getAvailableTuningDevice(port) to "
                             "check first!"));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");

    expectTuningEvents({{PORT_INTERNAL_SPEAKER, "speaker_stereo"},
                        {PORT_INTERNAL_SPEAKER, "speaker_mono"},
                        {PORT_INTERNAL_SPEAKER, "speaker_stereo"},
                        {PORT_MIRACAST, "other"}});
    EXPECT_TRUE(
        mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "speaker_alias", /*forced=*/true));
    EXPECT_TRUE(mContext->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono", false));
    EXPECT_TRUE(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->isMono());
    EXPECT_EQ(mContext->getSelectedTuningParameter(PORT_INTERNAL_SPEAKER,
                                                   virtualizer_front_speaker_angle)[0],
              11);
    EXPECT_TRUE(mContext->selectDefaultTuning(PORT_INTERNAL_SPEAKER));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");
    EXPECT_TRUE(mContext->selectDefaultTuning(PORT_MIRACAST));  // had no tuning in force
    EXPECT_EQ(mContext->getSelectedProfileEndpoint(PORT_MIRACAST),
              mContext->getProfileEndpoint(ENDPOINT_OTHER));
    EXPECT_FALSE(mContext->selectDefaultTuning(PORT_BLUETOOTH));  // no device to fall back on
}

TEST_F(KsContextTest, ReloadTuningFallsBackAndAnnouncesEveryPortWithATuning) {
    LogCapture log;
    // Each port's line comes with its own event, not all lines before the first event.
    const std::vector<std::pair<Port, const char*>> events = {
        {PORT_INTERNAL_SPEAKER, "speaker_stereo"},
        {PORT_HDMI, "other"},
        {PORT_MIRACAST, "other"},
        {PORT_HEADPHONE, "headphone"},
        {PORT_USB, "headphone"}};
    std::vector<std::string> lastLines;
    InSequence order;
    for (const auto& [port, name] : events) {
        EXPECT_CALL(mObserver, onSelectedTuningChanged(Ref(*mContext), port, IsTuning(name)))
            .WillOnce([&log, &lastLines] { lastLines.push_back(log.lines().back().message); });
    }
    mContext->reloadTuning();
    ASSERT_EQ(lastLines.size(), events.size());
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(lastLines[i], "Reset tuning[" + std::string(events[i].second) + "] for port[" +
                                    kPortNames[events[i].first] + "] and notify observers.");
    }
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_WARN,
                             "Current selected tuning dev[default_miracast] is not available for "
                             "port[miracast], revert to use dev[miracast]."));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR,
                             "Cannot load tuning data for device[bluetooth] on port[bluetooth]"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "Reset tuning[other] for port[hdmi] and notify observers."));
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_USB), "usb_dock");
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_BLUETOOTH), "bluetooth");
}

// Changes every kind of state, as a client would, unheard by the strict observer.
void change_everything(KsContext* context, OnKsContextChange* observer) {
    context->unregisterObserver(observer);
    context->setPexOn(false);
    context->setSelectedProfile(1);
    context->setProfileParameter(1, ieq_amount, {42});
    context->setProfileParameter(1, ieq_id, {PRESET_DETAILED});
    context->setProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount, {8});
    context->setProfileGeqParameter(1, geq_gain, {5, 6, 7});
    context->setSelectedTuning(PORT_INTERNAL_SPEAKER, "internal_speaker_mono", /*forced=*/false);
}

TEST_F(KsContextTest, SavedStateIsFoundAgainAfterAFullRestart) {
    change_everything(mContext, &mObserver);
    mContext->save();
    restart();
    EXPECT_FALSE(mContext->getPexOn());
    EXPECT_TRUE(mContext->isSelected(1));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 42);
    EXPECT_EQ(mContext->getProfile(1)->getSelectedIeqPreset(), PRESET_DETAILED);
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_enable)[0], 1);
    EXPECT_EQ(mContext->getProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount)[0], 8);
    EXPECT_EQ(mContext->getProfileGeqParameter(1, geq_gain), (Values{5, 6, 7, 0}));
    EXPECT_EQ(mContext->getSelectedTuning(PORT_INTERNAL_SPEAKER)->getName(), "speaker_mono");
    EXPECT_EQ(mContext->getProfileParameter(0, ieq_amount)[0], 10);

    // What is not saved, a reload of all profiles takes back.
    EXPECT_CALL(mObserver, onSelectedProfileParameterChanged(Ref(*mContext), IsProfile(1)));
    EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), true));
    mContext->setProfileParameter(1, ieq_amount, {3});
    mContext->setPexOn(true);
    {
        InSequence order;
        EXPECT_CALL(mObserver, onSelectedProfileChanged(Ref(*mContext)));
        EXPECT_CALL(mObserver, onPexOnChanged(Ref(*mContext), false));
    }
    mContext->reloadAllProfile();
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 42);
    EXPECT_FALSE(mContext->getPexOn());
}

TEST_F(KsContextTest, PartialSavesWriteOnlyTheirPart) {
    change_everything(mContext, &mObserver);
    mContext->saveKsState();
    restart();
    EXPECT_FALSE(mContext->getPexOn());
    EXPECT_TRUE(mContext->isSelected(0));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 4);

    change_everything(mContext, &mObserver);
    mContext->saveKsProfile();
    restart();
    EXPECT_TRUE(mContext->isSelected(1));
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 4);

    change_everything(mContext, &mObserver);
    mContext->setPexOn(true);
    mContext->saveKsProfileSettings();
    restart();
    EXPECT_FALSE(mContext->getPexOn());  // as saved by saveKsState above
    EXPECT_EQ(mContext->getProfileParameter(1, ieq_amount)[0], 42);
    EXPECT_EQ(mContext->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "default_internal_speaker");
}

// Calls back into the context from every event, as the effect controller does: the context
// must have released its lock before it calls, or this deadlocks. It reads the state only
// through the context's own getters (which copy under the lock), never the live records it
// is handed, since other threads are changing them.
class CallingBackObserver : public OnKsContextChange {
  public:
    std::atomic<int> pexEvents{0};
    std::atomic<int> events{0};
    std::atomic<int> callbacks{0};

    void onLoad(KsContext& c) override { readBack(c); }
    void onPexOnChanged(KsContext& c, bool) override {
        ++pexEvents;
        readBack(c);
    }
    void onSelectedProfileChanged(KsContext& c) override { readBack(c); }
    void onSelectedProfileParameterChanged(KsContext& c, Profile&) override { readBack(c); }
    void onSelectedProfileEndpointChanged(KsContext& c, Port, ProfileEndpoint&) override {
        readBack(c);
    }
    void onSelectedProfileIeqChanged(KsContext& c, IeqPreset&) override { readBack(c); }
    void onSelectedProfileGeqChanged(KsContext& c, GeqPreset&) override { readBack(c); }
    void onSelectedTuningChanged(KsContext& c, Port, Tuning&) override { readBack(c); }

  private:
    void readBack(KsContext& context) {
        ++events;
        context.getPexOn();
        context.isSelected(0);
        context.getProfileParameter(0, ieq_amount);
        context.getProfileParameter(1, ENDPOINT_SPEAKER, volume_leveler_amount);
        context.getProfileGeqParameter(0, geq_gain);
        context.getSelectedTuningDevice(PORT_INTERNAL_SPEAKER);
        context.getSelectedTuningParameter(PORT_HEADPHONE, virtualizer_front_speaker_angle);
        context.isProfileModified(1);
        ++callbacks;
    }
};

using KsContextConcurrencyTest = KsContextTest;

TEST_F(KsContextConcurrencyTest, WritersOnSeveralThreadsWithAnObserverThatCallsBack) {
    KsContext* context = mContext;
    context->unregisterObserver(&mObserver);
    CallingBackObserver observer;
    context->registerObserver(&observer);
    observer.events = 0;
    observer.callbacks = 0;

    constexpr int kRounds = 200;  // even: the on/off writer ends where it began
    std::vector<std::thread> writers;
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) context->setPexOn(i % 2 != 0);
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) {
            context->setProfileParameter(i % 2, ieq_amount, {i});
            context->setProfileParameter(i % 2, ieq_id, {i % kPresetTypeCount});
        }
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) context->setSelectedProfile(i % 2);
    });
    writers.emplace_back([context] {
        for (int i = 0; i < kRounds; ++i) {
            context->setProfileParameter(i % 2, ENDPOINT_SPEAKER, volume_leveler_amount, {i});
            context->setProfileGeqParameter(i % 2, geq_gain, {i, i, i});
            context->setSelectedTuning(PORT_INTERNAL_SPEAKER,
                                       i % 2 ? "internal_speaker_mono" : "speaker_alias",
                                       /*forced=*/false);
        }
    });
    for (std::thread& writer : writers) writer.join();

    // The on/off writer is alone with its flag. The effect starts on and the writer begins
    // with "off", so every one of its writes is a change, and each is announced exactly once.
    EXPECT_EQ(observer.pexEvents.load(), kRounds);
    EXPECT_TRUE(context->getPexOn());
    EXPECT_EQ(observer.callbacks.load(), observer.events.load());
    EXPECT_GT(observer.events.load(), kRounds);
    // The last writes of each writer are what the state holds.
    EXPECT_EQ(context->getProfileParameter(1, ieq_amount), (Values{kRounds - 1}));
    EXPECT_EQ(context->getProfileParameter(1, ENDPOINT_SPEAKER, volume_leveler_amount),
              (Values{kRounds - 1}));
    EXPECT_EQ(context->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER), "internal_speaker_mono");
    EXPECT_TRUE(context->isSelected(1));
    context->unregisterObserver(&observer);
}

// Prints every log line with its tag, so that a death test can see the tag of the last words.
void tagged_stderr_logger(const struct __android_logger_data* data, const char* message) {
    fprintf(stderr, "[%s] %s\n", data->tag != nullptr ? data->tag : "(null)", message);
}

using KsContextDeathTest = KsContextTest;

TEST_F(KsContextDeathTest, MissingProfileOrEndpointRecordEndsTheProcess) {
    // In the dying child: log with tags to stderr, and let the fixture's mock go unchecked,
    // since the process ends before the fixture does.
    auto prepareToDie = [this] {
        __android_log_set_logger(tagged_stderr_logger);
        ::testing::Mock::AllowLeak(&mObserver);
    };
    EXPECT_EXIT((prepareToDie(), mContext->setSelectedProfile(2)), ::testing::ExitedWithCode(255),
                "\\[KsContext\\] Couldn't find the context for profileId: 2");
    EXPECT_EXIT((prepareToDie(), mContext->getProfileParameter(-1, ieq_amount)),
                ::testing::ExitedWithCode(255),
                "\\[KsContext\\] Couldn't find the context for profileId: -1");
    // The endpoint record's absence is logged without a tag.
    EXPECT_EXIT((prepareToDie(), mContext->setProfileParameter(0, static_cast<Endpoint>(3),
                                                               volume_leveler_amount, {1})),
                ::testing::ExitedWithCode(255), "\\[\\] Couldn't find the profile endpoint fo 3");
}

}  // namespace
}  // namespace velora
