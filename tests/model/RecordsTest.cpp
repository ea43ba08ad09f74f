/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

namespace velora {
namespace {

using V = std::vector<int>;
constexpr long long kBigId = 1LL << 40;  // needs the full 64-bit id

void expectIdAndDirty(const ParameterValues& record, int64_t id, bool dirty, const char* what) {
    EXPECT_EQ(id, record.getId()) << what;
    EXPECT_EQ(dirty, record.isDirty()) << what;
}

// The dirty flag is deliberately uneven: records read from the database are clean, except
// IeqPreset (its constructor stores the type through set()) and DeviceTuning.
TEST(RecordsTest, ConstructedRecordsHaveTheirIdAndUnevenDirtyFlags) {
    expectIdAndDirty(Tuning("t", ENDPOINT_SPEAKER, false), -1, true, "new Tuning");
    expectIdAndDirty(Tuning(7L, "t", ENDPOINT_SPEAKER, false, false), 7, false, "Tuning");
    expectIdAndDirty(Tuning(-2L, "t", ENDPOINT_OTHER, true, true), -2, false, "Tuning id -2");
    expectIdAndDirty(IeqPreset(PRESET_WARM), -1, true, "new IeqPreset");
    expectIdAndDirty(IeqPreset(kBigId, PRESET_WARM), kBigId, true, "IeqPreset");
    expectIdAndDirty(GeqPreset(3), -1, true, "new GeqPreset");
    expectIdAndDirty(GeqPreset(kBigId, 3), kBigId, false, "GeqPreset");
    expectIdAndDirty(Profile(3, "p", PRESET_OFF), -1, true, "new Profile");
    expectIdAndDirty(Profile(kBigId, 3, "p", PRESET_OFF), kBigId, false, "Profile");
    expectIdAndDirty(ProfileEndpoint(3, ENDPOINT_HEADPHONE), -1, true, "new ProfileEndpoint");
    expectIdAndDirty(ProfileEndpoint(11L, 3, ENDPOINT_HEADPHONE), 11, false, "ProfileEndpoint");

    EXPECT_TRUE(DeviceTuning("dev", "usb", "t1").isDirty());
    EXPECT_TRUE(DeviceTuning(kBigId, "dev", "usb", "t1").isDirty());
}

// Field setters leave the dirty flag alone; set() marks it even for an unchanged or foreign
// value; checkAndUpdate() marks it only when it stores; lookup() never does.
TEST(RecordsTest, DirtyFlagFollowsSetAndCheckAndUpdateOnly) {
    Tuning tuning(1L, "x", ENDPOINT_HEADPHONE, false, false);
    tuning.setMono(true);
    tuning.setEndpoint("speaker");
    // Port names and other spellings are not endpoint names: the endpoint stays.
    for (const char* name : {"internal_speaker", "bluetooth", "Speaker", ""}) {
        tuning.setEndpoint(name);
        EXPECT_EQ(ENDPOINT_SPEAKER, tuning.getEndpoint()) << name;
    }
    EXPECT_TRUE(tuning.isMono());
    EXPECT_FALSE(tuning.isDirty());
    EXPECT_TRUE(tuning.checkAndUpdate(bass_mbdrc_tuning, {1, 2, 3}));
    EXPECT_TRUE(tuning.isDirty());
    tuning.setDirty(false);
    EXPECT_FALSE(tuning.checkAndUpdate(bass_mbdrc_tuning, {1, 2, 3}));
    EXPECT_FALSE(tuning.isDirty());
    // A longer or shorter vector with the same prefix is a change, as is one other element.
    for (const V& next : {V{1, 2, 3, 0}, V{1, 2}, V{1, -2}}) {
        tuning.setDirty(false);
        EXPECT_TRUE(tuning.checkAndUpdate(bass_mbdrc_tuning, next));
        EXPECT_EQ(next, tuning.getValues().at(bass_mbdrc_tuning));
        EXPECT_TRUE(tuning.isDirty());
    }

    // A profile selects its own GEQ preset until told otherwise.
    EXPECT_EQ(4, Profile(9LL, 4, "Music", PRESET_BALANCED).getSelectedGeqPreset());
    Profile profile(9LL, 4, "Music", PRESET_BALANCED);
    profile.setSelectedGeqPreset(2);
    profile.setSelectedIeqPreset(PRESET_WARM);
    profile.setName("Movie");
    EXPECT_FALSE(profile.isDirty());
    profile.set(geq_gain, {});  // not a profile parameter, and still stored
    EXPECT_TRUE(profile.has(geq_gain));
    EXPECT_TRUE(profile.isDirty());
    profile.setDirty(false);
    profile.set(geq_gain, {});
    EXPECT_TRUE(profile.isDirty());

    ProfileEndpoint endpoint(1L, 0, ENDPOINT_SPEAKER);
    EXPECT_FALSE(endpoint.checkAndUpdate(geq_gain, {1}));  // not an endpoint parameter
    EXPECT_FALSE(endpoint.has(geq_gain));
    EXPECT_FALSE(endpoint.checkAndUpdate(volmax_boost, {}));  // entered empty all the same
    ASSERT_TRUE(endpoint.has(volmax_boost));
    EXPECT_TRUE(endpoint.lookup(peak_value).empty());
    endpoint.lookup(peak_value).push_back(1);
    EXPECT_EQ((ParameterValues::Values{{peak_value, {1}}, {volmax_boost, {}}}),
              endpoint.getValues());
    EXPECT_FALSE(endpoint.isDirty());
}

TEST(RecordsTest, ValuesIterateInParameterOrderAndStayWhereTheyAre) {
    ParameterValues::Values values{{virtual_bass_mode, {3}}, {audio_optimizer_enable, {1}}};
    std::vector<int>& kept = values[virtual_bass_mode];
    values[geq_gain] = {7, 8};  // entering another value moves none
    kept.push_back(4);
    std::vector<Parameter> order;
    for (const auto& [parameter, value] : values) order.push_back(parameter);
    EXPECT_EQ((std::vector<Parameter>{audio_optimizer_enable, geq_gain, virtual_bass_mode}), order);
    EXPECT_EQ((std::vector<int>{3, 4}), values.at(virtual_bass_mode));
    EXPECT_EQ(1u, values.erase(virtual_bass_mode));
    EXPECT_TRUE(values.at(virtual_bass_mode).empty());      // absent reads empty; nothing thrown
    values[static_cast<Parameter>(kParameterCount)] = {1};  // outside the catalogue: nowhere
    EXPECT_EQ(2u, values.size());
}

TEST(RecordsTest, EqualsComparesValuesAndTheRecordsKeys) {
    Tuning a("a", ENDPOINT_SPEAKER, false);
    Tuning b(9L, "b", ENDPOINT_HEADPHONE, true, false);
    EXPECT_TRUE(a.equals(b));  // names, endpoints, ids and dirty flags differ
    a.set(orientation, {1});
    EXPECT_FALSE(a.equals(b));  // sizes differ
    b.set(output_channels, {1});
    EXPECT_FALSE(a.equals(b));  // same size, other key
    b.getValues().erase(output_channels);
    b.set(orientation, {1, 0});
    EXPECT_FALSE(a.equals(b));  // same key, other length
    b.set(orientation, {1});
    EXPECT_TRUE(a.equals(b));

    // A profile ignores its name and selected GEQ preset, but not its id or IEQ preset.
    Profile music(1, "Music", PRESET_WARM);
    Profile movie(5LL, 1, "Movie", PRESET_WARM);
    movie.setSelectedGeqPreset(3);
    EXPECT_TRUE(music.equals(movie));
    EXPECT_FALSE(music.equals(Profile(1, "Music", PRESET_OFF)));
    Profile otherId(2, "Music", PRESET_WARM);
    EXPECT_FALSE(music.equals(otherId));
    EXPECT_TRUE(static_cast<const ParameterValues&>(music).equals(otherId));  // values only
    movie.set(ieq_amount, {3});
    EXPECT_FALSE(music.equals(movie));

    EXPECT_TRUE(GeqPreset(1).equals(GeqPreset(7LL, 1)));
    EXPECT_FALSE(GeqPreset(1).equals(GeqPreset(2)));
    ProfileEndpoint speaker(1, ENDPOINT_SPEAKER);
    EXPECT_TRUE(speaker.equals(ProfileEndpoint(3L, 1, ENDPOINT_SPEAKER)));
    EXPECT_FALSE(speaker.equals(ProfileEndpoint(1, ENDPOINT_HEADPHONE)));
    EXPECT_FALSE(speaker.equals(ProfileEndpoint(2, ENDPOINT_SPEAKER)));
    ProfileEndpoint changed(1, ENDPOINT_SPEAKER);
    changed.set(virtualizer_enable, {1});
    EXPECT_FALSE(speaker.equals(changed));
}

TEST(RecordsTest, ToStringPrintsFieldsThenValuesInParameterOrderWithTrailingCommas) {
    EXPECT_EQ("id=-1\nname=Spk A\nendpoint=speaker\nmono=false\nreadonly=true\n",
              Tuning("Spk A", ENDPOINT_SPEAKER, false).toString());
    EXPECT_EQ("id=3\nname=\nendpoint=other\nmono=true\nreadonly=false\n",
              Tuning(3L, "", ENDPOINT_OTHER, true, false).toString());
    EXPECT_EQ("id=1099511627776\ntype=off\n", IeqPreset(kBigId, PRESET_OFF).toString());
    EXPECT_EQ("id=-1\nprofileId=-4\n", GeqPreset(-4).toString());
    EXPECT_EQ("id=-1\nprofileId=2\nname=Game\nselectedIeqPreset=balanced\nselectedGeqPreset=2\n",
              Profile(2, "Game", PRESET_BALANCED).toString());
    EXPECT_EQ("id=8\nprofileId=0\nendpoint=headphone\n",
              ProfileEndpoint(8L, 0, ENDPOINT_HEADPHONE).toString());
    // DeviceTuning: four lines without a newline at the end.
    EXPECT_EQ("id=-1\ndevice=Some Speaker\nport=internal_speaker\ntuning=spk",
              DeviceTuning("Some Speaker", "internal_speaker", "spk").toString());
    EXPECT_EQ("id=5\ndevice=\nport=\ntuning=", DeviceTuning(5LL, "", "", "").toString());

    Profile profile(1, "Music", PRESET_DETAILED);
    profile.setSelectedGeqPreset(0);
    profile.set(volume_modeler_enable, {1});
    profile.set(custom_drc_metadata, {});
    profile.set(ieq_amount, {-10, 0, 2147483647});
    EXPECT_EQ(
        "id=-1\nprofileId=1\nname=Music\nselectedIeqPreset=detailed\nselectedGeqPreset=0\n"
        "custom_drc_metadata=\nieq_amount=-10,0,2147483647,\nvolume_modeler_enable=1,\n",
        profile.toString());

    // An IEQ preset stores its type as the ieq_id value but never prints it a second time.
    IeqPreset preset(PRESET_WARM);
    EXPECT_EQ(V{PRESET_WARM}, preset.getValues().at(ieq_id));
    preset.set(ieq_target, {5, 6});
    preset.set(ieq_frequency, {100, 200});
    EXPECT_EQ("id=-1\ntype=warm\nieq_frequency=100,200,\nieq_target=5,6,\n", preset.toString());
    EXPECT_EQ("ieq_frequency=100,200,\nieq_target=5,6,\n", preset.valuesToString());
}

}  // namespace
}  // namespace velora
