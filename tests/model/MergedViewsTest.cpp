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
using ::testing::Mock;
using ::testing::SaveArg;
using ::testing::StrictMock;

class MockObserver : public ParamChangeObserver {
  public:
    MOCK_METHOD(void, setSource, (ParameterValues * source, Endpoint endpoint, bool mono),
                (override));
    MOCK_METHOD(void, onParameterChanged, (Parameter parameter), (override));
};

// A new view announces itself as the observer's source, for "other" and not mono, before any
// value arrives; every other call must be expected by the test.
template <typename View>
class ViewTest : public ::testing::Test {
  protected:
    ViewTest()
        : view((EXPECT_CALL(observer, setSource(_, ENDPOINT_OTHER, false))
                    .WillOnce(SaveArg<0>(&announced)),
                &observer)) {
        Mock::VerifyAndClearExpectations(&observer);
        EXPECT_EQ(static_cast<ParameterValues*>(&view), announced);
        EXPECT_TRUE(view.getValues().empty());
        EXPECT_FALSE(view.isDirty());
        EXPECT_EQ(nullptr, view.getProfile());
    }

    StrictMock<MockObserver> observer;
    ParameterValues* announced = nullptr;
    View view;
};
using ProfileViewTest = ViewTest<ProfileParameters>;
using DeviceViewTest = ViewTest<DeviceParameters>;

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
    Mock::VerifyAndClearExpectations(&observer);

    // The same record again, or an equal one, changes nothing; values a later source lacks
    // stay.
    view.setProfile(profile);
    Profile other(2LL, 2, "Other", PRESET_OFF);
    other.set(ieq_enable, {1});
    view.setProfile(other);
    EXPECT_EQ(&other, view.getProfile());
    EXPECT_EQ(std::vector<int>{1}, view.getValues().at(volume_modeler_enable));
}

TEST_F(ProfileViewTest, PresetsReportOnlyChangedValuesAndSkipForeignOnes) {
    GeqPreset geq(1);
    geq.set(geq_frequency, {100, 1000, 10000});
    geq.set(geq_gain, {0, 0, 0});
    EXPECT_CALL(observer, onParameterChanged(geq_frequency));
    EXPECT_CALL(observer, onParameterChanged(geq_gain)).Times(2);
    view.setGeqPreset(geq);
    geq.lookup(geq_gain)[1] = 3;  // only the gains change now
    view.setGeqPreset(geq);
    EXPECT_EQ((std::vector<int>{0, 3, 0}), view.getValues().at(geq_gain));
    Mock::VerifyAndClearExpectations(&observer);

    IeqPreset ieq(PRESET_BALANCED);
    ieq.set(ieq_target, {1});
    ieq.set(virtualizer_enable, {1});  // not a profile-wide parameter
    {
        InSequence order;
        EXPECT_CALL(observer, onParameterChanged(ieq_id));
        EXPECT_CALL(observer, onParameterChanged(ieq_target));
    }
    view.setIeqPreset(ieq);
    EXPECT_EQ(std::vector<int>{PRESET_BALANCED}, view.getValues().at(ieq_id));
    EXPECT_FALSE(view.has(virtualizer_enable));
}

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
    Mock::VerifyAndClearExpectations(&observer);

    // A tuning with the same values for another endpoint only moves the source.
    Tuning speaker(5L, "spk", ENDPOINT_SPEAKER, false, true);
    speaker.getValues() = tuning.getValues();
    EXPECT_CALL(observer, setSource(&view, ENDPOINT_SPEAKER, false));
    view.setTuning(speaker);
}

TEST_F(DeviceViewTest, ProfileIsOnlyRememberedAndEndpointChangesAreReported) {
    Profile profile(1, "Music", PRESET_OFF);
    profile.set(ieq_enable, {1});
    view.setProfile(profile);
    EXPECT_EQ(&profile, view.getProfile());
    EXPECT_TRUE(view.getValues().empty());
    EXPECT_FALSE(view.isDirty());

    ProfileEndpoint endpoint(1, ENDPOINT_SPEAKER);
    endpoint.set(volume_leveler_amount, {5});
    endpoint.set(virtualizer_start_band, {});
    // An empty value for a parameter the view has never seen is no change.
    EXPECT_CALL(observer, onParameterChanged(volume_leveler_amount));
    view.setProfileEndpoint(endpoint);
    EXPECT_TRUE(view.has(virtualizer_start_band));
    EXPECT_EQ(std::vector<int>{5}, view.getValues().at(volume_leveler_amount));
}

}  // namespace
}  // namespace velora
