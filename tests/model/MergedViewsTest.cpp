/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "model/DeviceParameters.h"
#include "model/ParamChangeObserver.h"
#include "model/ProfileParameters.h"

namespace velora {
namespace {

using Calls = std::vector<std::string>;

// The test is the view's observer and writes every call down: "source <endpoint>[ mono]", or
// "<parameter>=<the value the view holds while it tells>". A new view announces itself as the
// source, for "other" and not mono, before any value arrives.
template <typename View>
class ViewTest : public ::testing::Test, public ParamChangeObserver {
  protected:
    ViewTest() {
        EXPECT_EQ(Calls{"source other"}, take());
        EXPECT_TRUE(view.getValues().empty());
        EXPECT_FALSE(view.isDirty());
        EXPECT_EQ(nullptr, view.getProfile());
    }
    void setSource(ParameterValues* source, Endpoint endpoint, bool mono) override {
        EXPECT_EQ(static_cast<ParameterValues*>(&view), source);
        calls.push_back("source " + endpoint_name(endpoint) + (mono ? " mono" : ""));
    }
    void onParameterChanged(Parameter parameter) override {
        std::string text = std::string(kParameterNames[parameter]) + "=";
        if (!view.has(parameter)) text += "?";
        for (int v : view.has(parameter) ? view.getValues().at(parameter) : std::vector<int>())
            text += (text.back() == '=' ? "" : ",") + std::to_string(v);
        calls.push_back(text);
    }
    Calls take() { return std::exchange(calls, {}); }

    Calls calls;
    View view{this};
};
using ProfileViewTest = ViewTest<ProfileParameters>;
using DeviceViewTest = ViewTest<DeviceParameters>;

TEST_F(ProfileViewTest, ReportsEachChangedValueInParameterOrderAfterStoringIt) {
    Profile profile(1, "Music", PRESET_WARM);
    profile.set(volume_modeler_enable, {1});
    profile.set(ieq_enable, {1});
    profile.set(custom_drc_metadata, {4, 5});
    view.setProfile(profile);
    EXPECT_EQ((Calls{"custom_drc_metadata=4,5", "ieq_enable=1", "volume_modeler_enable=1"}),
              take());
    EXPECT_EQ(&profile, view.getProfile());
    EXPECT_TRUE(view.isDirty());

    // The same record again changes nothing; a record in its place empties what it lacks.
    view.setProfile(profile);
    EXPECT_EQ(Calls{}, take());
    Profile other(2LL, 2, "Other", PRESET_OFF);
    other.set(ieq_enable, {1});
    view.setProfile(other);
    EXPECT_EQ((Calls{"custom_drc_metadata=", "volume_modeler_enable="}), take());
    EXPECT_EQ(&other, view.getProfile());
    EXPECT_TRUE(view.getValues().at(volume_modeler_enable).empty());
}

TEST_F(ProfileViewTest, PresetsReportOnlyChangedValuesAndSkipForeignOnes) {
    GeqPreset geq(1);
    geq.set(geq_frequency, {100, 1000, 10000});
    geq.set(geq_gain, {0, 0, 0});
    view.setGeqPreset(geq);
    geq.lookup(geq_gain)[1] = 3;  // only the gains change now
    view.setGeqPreset(geq);
    EXPECT_EQ((Calls{"geq_frequency=100,1000,10000", "geq_gain=0,0,0", "geq_gain=0,3,0"}), take());

    IeqPreset ieq(PRESET_BALANCED);
    ieq.set(ieq_target, {1});
    ieq.set(virtualizer_enable, {1});  // not a profile-wide parameter
    view.setIeqPreset(ieq);
    EXPECT_EQ((Calls{"ieq_id=" + std::to_string(PRESET_BALANCED), "ieq_target=1"}), take());
    EXPECT_FALSE(view.has(virtualizer_enable));
}

TEST_F(DeviceViewTest, TuningTellsEndpointAndMonoBeforeAnyChange) {
    Tuning tuning(4L, "hp", ENDPOINT_HEADPHONE, true, true);
    tuning.set(virtual_bass_subgains, {1, 2});
    tuning.set(audio_optimizer_enable, {1});
    view.setTuning(tuning);
    EXPECT_EQ(
        (Calls{"source headphone mono", "audio_optimizer_enable=1", "virtual_bass_subgains=1,2"}),
        take());
    EXPECT_EQ(&tuning, view.getTuning());

    // A tuning with the same values for another endpoint only moves the source.
    Tuning speaker(5L, "spk", ENDPOINT_SPEAKER, false, true);
    speaker.getValues() = tuning.getValues();
    view.setTuning(speaker);
    EXPECT_EQ(Calls{"source speaker"}, take());
}

TEST_F(DeviceViewTest, ProfileIsOnlyRememberedAndEndpointChangesAreReported) {
    Profile profile(1, "Music", PRESET_OFF);
    profile.set(ieq_enable, {1});
    view.setProfile(profile);
    EXPECT_EQ(&profile, view.getProfile());
    EXPECT_TRUE(view.getValues().empty());
    EXPECT_FALSE(view.isDirty());

    // An empty value for a parameter the view has never seen is entered, but is no change.
    ProfileEndpoint endpoint(1, ENDPOINT_SPEAKER);
    endpoint.set(volume_leveler_amount, {5});
    endpoint.set(virtualizer_start_band, {});
    view.setProfileEndpoint(endpoint);
    EXPECT_EQ(Calls{"volume_leveler_amount=5"}, take());
    EXPECT_TRUE(view.has(virtualizer_start_band));
}

}  // namespace
}  // namespace velora
