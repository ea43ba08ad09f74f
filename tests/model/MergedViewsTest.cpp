/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "model/DeviceParameters.h"
#include "model/ParamChangeObserver.h"
#include "model/ProfileParameters.h"

namespace velora {
namespace {

using ::testing::_;
using ::testing::InSequence;
using ::testing::Invoke;
using ::testing::SaveArg;
using ::testing::StrictMock;

class MockObserver : public ParamChangeObserver {
  public:
    MOCK_METHOD(void, setSource, (ParameterValues * source, Endpoint endpoint, bool mono),
                (override));
    MOCK_METHOD(void, onParameterChanged, (Parameter parameter), (override));
};

TEST(MergedViewsTest, NewViewsAnnounceThemselvesAsOtherNotMono) {
    StrictMock<MockObserver> profileObserver;
    StrictMock<MockObserver> deviceObserver;
    ParameterValues* profileSource = nullptr;
    ParameterValues* deviceSource = nullptr;
    EXPECT_CALL(profileObserver, setSource(_, ENDPOINT_OTHER, false))
        .WillOnce(SaveArg<0>(&profileSource));
    EXPECT_CALL(deviceObserver, setSource(_, ENDPOINT_OTHER, false))
        .WillOnce(SaveArg<0>(&deviceSource));

    ProfileParameters profileView(&profileObserver);
    DeviceParameters deviceView(&deviceObserver);

    EXPECT_EQ(&profileView, profileSource);
    EXPECT_EQ(&deviceView, deviceSource);
    for (const ParameterValues* view : {profileSource, deviceSource}) {
        EXPECT_EQ(-1, view->getId());
        EXPECT_FALSE(view->isDirty());
        EXPECT_TRUE(view->getValues().empty());
    }
    EXPECT_EQ(nullptr, profileView.getProfile());
    EXPECT_EQ(nullptr, deviceView.getTuning());
}

class ProfileViewTest : public ::testing::Test {
  protected:
    ProfileViewTest()
        : view((EXPECT_CALL(observer, setSource(_, ENDPOINT_OTHER, false)), &observer)) {}

    StrictMock<MockObserver> observer;
    ProfileParameters view;
};

TEST_F(ProfileViewTest, ReportsEachChangedValueInParameterOrderAfterStoringIt) {
    Profile profile(1, "Music", PRESET_WARM);
    profile.set(volume_modeler_enable, {1});
    profile.set(ieq_enable, {1});
    profile.set(custom_drc_metadata, {4, 5});
    {
        InSequence order;
        for (Parameter p : {custom_drc_metadata, ieq_enable, volume_modeler_enable}) {
            // The translator reads the new value from the view while it is told.
            EXPECT_CALL(observer, onParameterChanged(p)).WillOnce(Invoke([&](Parameter q) {
                EXPECT_EQ(profile.getValues().at(q), view.getValues().at(q));
            }));
        }
    }
    view.setProfile(profile);
    EXPECT_EQ(&profile, view.getProfile());
    EXPECT_TRUE(view.isDirty());

    // The same record again, or an equal one, changes nothing.
    view.setProfile(profile);
    Profile equal(2LL, 1, "Other", PRESET_OFF);
    equal.set(ieq_enable, {1});
    view.setProfile(equal);
    EXPECT_EQ(&equal, view.getProfile());
}

TEST_F(ProfileViewTest, OneChangedGainReportsOnlyTheGains) {
    GeqPreset preset(1);
    preset.set(geq_frequency, {100, 1000, 10000});
    preset.set(geq_gain, {0, 0, 0});
    EXPECT_CALL(observer, onParameterChanged(geq_frequency));
    EXPECT_CALL(observer, onParameterChanged(geq_gain));
    view.setGeqPreset(preset);
    ::testing::Mock::VerifyAndClearExpectations(&observer);

    preset.lookup(geq_gain)[1] = 3;
    EXPECT_CALL(observer, onParameterChanged(geq_gain));
    view.setGeqPreset(preset);
    EXPECT_EQ((std::vector<int>{0, 3, 0}), view.getValues().at(geq_gain));
}

TEST_F(ProfileViewTest, IeqPresetBringsItsTypeAndForeignValuesAreSkipped) {
    IeqPreset preset(PRESET_BALANCED);
    preset.set(ieq_target, {1});
    preset.set(virtualizer_enable, {1});  // not a profile-wide parameter
    {
        InSequence order;
        EXPECT_CALL(observer, onParameterChanged(ieq_id));
        EXPECT_CALL(observer, onParameterChanged(ieq_target));
    }
    view.setIeqPreset(preset);
    EXPECT_EQ(std::vector<int>{PRESET_BALANCED}, view.getValues().at(ieq_id));
    EXPECT_FALSE(view.has(virtualizer_enable));
}

TEST_F(ProfileViewTest, ValuesMissingFromALaterSourceStay) {
    Profile first(1, "a", PRESET_OFF);
    first.set(ieq_amount, {2});
    EXPECT_CALL(observer, onParameterChanged(ieq_amount));
    view.setProfile(first);

    Profile second(2, "b", PRESET_OFF);
    second.set(ieq_enable, {0});
    EXPECT_CALL(observer, onParameterChanged(ieq_enable));
    view.setProfile(second);
    EXPECT_EQ(std::vector<int>{2}, view.getValues().at(ieq_amount));
}

class DeviceViewTest : public ::testing::Test {
  protected:
    DeviceViewTest()
        : view((EXPECT_CALL(observer, setSource(_, ENDPOINT_OTHER, false)), &observer)) {}

    StrictMock<MockObserver> observer;
    DeviceParameters view;
};

TEST_F(DeviceViewTest, TuningTellsEndpointAndMonoBeforeAnyChange) {
    Tuning tuning(4L, "hp", ENDPOINT_HEADPHONE, true, true);
    tuning.set(virtual_bass_subgains, {1, 2});
    tuning.set(audio_optimizer_enable, {1});
    {
        InSequence order;
        EXPECT_CALL(observer, setSource(&view, ENDPOINT_HEADPHONE, true));
        EXPECT_CALL(observer, onParameterChanged(audio_optimizer_enable));
        EXPECT_CALL(observer, onParameterChanged(virtual_bass_subgains));
    }
    view.setTuning(tuning);
    EXPECT_EQ(&tuning, view.getTuning());
    ::testing::Mock::VerifyAndClearExpectations(&observer);

    // A tuning with the same values for another endpoint only moves the source.
    Tuning speaker(5L, "spk", ENDPOINT_SPEAKER, false, true);
    speaker.getValues() = tuning.getValues();
    EXPECT_CALL(observer, setSource(&view, ENDPOINT_SPEAKER, false));
    view.setTuning(speaker);
}

TEST_F(DeviceViewTest, ProfileChangesNothingButIsRemembered) {
    Profile profile(1, "Music", PRESET_OFF);
    profile.set(ieq_enable, {1});
    view.setProfile(profile);
    EXPECT_EQ(&profile, view.getProfile());
    EXPECT_TRUE(view.getValues().empty());
    EXPECT_FALSE(view.isDirty());
}

TEST_F(DeviceViewTest, DifferentLengthIsAChangeEvenWithAnEqualPrefix) {
    ProfileEndpoint endpoint(1, ENDPOINT_SPEAKER);
    endpoint.set(volume_leveler_amount, {5});
    endpoint.set(virtualizer_start_band, {});
    // An empty value for a parameter the view has never seen is no change.
    EXPECT_CALL(observer, onParameterChanged(volume_leveler_amount));
    view.setProfileEndpoint(endpoint);
    EXPECT_TRUE(view.has(virtualizer_start_band));
    ::testing::Mock::VerifyAndClearExpectations(&observer);

    endpoint.set(volume_leveler_amount, {5, 0});
    EXPECT_CALL(observer, onParameterChanged(volume_leveler_amount));
    view.setProfileEndpoint(endpoint);
    ::testing::Mock::VerifyAndClearExpectations(&observer);

    endpoint.set(volume_leveler_amount, {5});
    EXPECT_CALL(observer, onParameterChanged(volume_leveler_amount));
    view.setProfileEndpoint(endpoint);
    EXPECT_EQ(std::vector<int>{5}, view.getValues().at(volume_leveler_amount));
}

TEST(MergedViewsTest, WorkWithoutAnObserver) {
    DeviceParameters view(nullptr);
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(orientation, {1});
    view.setTuning(tuning);
    EXPECT_EQ(std::vector<int>{1}, view.getValues().at(orientation));
}

}  // namespace
}  // namespace velora
