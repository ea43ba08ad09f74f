/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <functional>
#include <memory>
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

constexpr long long kBigId = 1LL << 40;  // needs the full 64-bit id

// What a record looks like right after construction. The dirty flag is deliberately uneven:
// records read from the database are clean, except IeqPreset (its constructor stores the type
// through set()) and DeviceTuning.
struct ConstructedCase {
    std::string name;
    std::function<std::unique_ptr<ParameterValues>()> make;
    int64_t id;
    bool dirty;
};

class ConstructedRecordTest : public ::testing::TestWithParam<ConstructedCase> {};

TEST_P(ConstructedRecordTest, HasItsIdAndDirtyFlag) {
    std::unique_ptr<ParameterValues> record = GetParam().make();
    EXPECT_EQ(GetParam().id, record->getId());
    EXPECT_EQ(GetParam().dirty, record->isDirty());
}

INSTANTIATE_TEST_SUITE_P(
    Records, ConstructedRecordTest,
    ::testing::Values(
        ConstructedCase{"NewTuning",
                        [] { return std::make_unique<Tuning>("t", ENDPOINT_SPEAKER, false); }, -1,
                        true},
        ConstructedCase{
            "StoredTuning",
            [] { return std::make_unique<Tuning>(7L, "t", ENDPOINT_SPEAKER, false, false); }, 7,
            false},
        ConstructedCase{
            "StoredTuningNegativeId",
            [] { return std::make_unique<Tuning>(-2L, "t", ENDPOINT_OTHER, true, true); }, -2,
            false},
        ConstructedCase{"NewIeqPreset", [] { return std::make_unique<IeqPreset>(PRESET_WARM); }, -1,
                        true},
        ConstructedCase{"StoredIeqPreset",
                        [] { return std::make_unique<IeqPreset>(kBigId, PRESET_WARM); }, kBigId,
                        true},
        ConstructedCase{"NewGeqPreset", [] { return std::make_unique<GeqPreset>(3); }, -1, true},
        ConstructedCase{"StoredGeqPreset", [] { return std::make_unique<GeqPreset>(kBigId, 3); },
                        kBigId, false},
        ConstructedCase{"NewProfile", [] { return std::make_unique<Profile>(3, "p", PRESET_OFF); },
                        -1, true},
        ConstructedCase{"StoredProfile",
                        [] { return std::make_unique<Profile>(kBigId, 3, "p", PRESET_OFF); },
                        kBigId, false},
        ConstructedCase{"NewProfileEndpoint",
                        [] { return std::make_unique<ProfileEndpoint>(3, ENDPOINT_HEADPHONE); }, -1,
                        true},
        ConstructedCase{
            "StoredProfileEndpoint",
            [] { return std::make_unique<ProfileEndpoint>(11L, 3, ENDPOINT_HEADPHONE); }, 11,
            false}),
    [](const auto& info) { return info.param.name; });

TEST(DeviceTuningTest, IsDirtyWhetherNewOrStored) {
    DeviceTuning fresh("dev", "usb", "t1");
    DeviceTuning stored(kBigId, "dev", "usb", "t1");
    EXPECT_EQ(-1, fresh.getId());
    EXPECT_TRUE(fresh.isDirty());
    EXPECT_EQ(kBigId, stored.getId());
    EXPECT_TRUE(stored.isDirty());
    stored.setDirty(false);
    EXPECT_FALSE(stored.isDirty());
}

TEST(DeviceTuningTest, PrintsFourLinesWithoutTrailingNewline) {
    EXPECT_EQ("id=-1\ndevice=Some Speaker\nport=internal_speaker\ntuning=spk",
              DeviceTuning("Some Speaker", "internal_speaker", "spk").toString());
    EXPECT_EQ("id=5\ndevice=\nport=\ntuning=", DeviceTuning(5LL, "", "", "").toString());
}

TEST(RecordFieldsTest, NewTuningIsReadonlyAndSettersKeepTheDirtyFlag) {
    Tuning tuning("x", ENDPOINT_HEADPHONE, false);
    EXPECT_TRUE(tuning.isReadonly());
    tuning.setDirty(false);
    tuning.setMono(true);
    tuning.setEndpoint("other");
    EXPECT_TRUE(tuning.isMono());
    EXPECT_EQ(ENDPOINT_OTHER, tuning.getEndpoint());
    EXPECT_FALSE(tuning.isDirty());
}

TEST(RecordFieldsTest, TuningTakesOnlyPrintableEndpointNames) {
    Tuning tuning(1L, "x", ENDPOINT_OTHER, false, false);
    tuning.setEndpoint("headphone");
    EXPECT_EQ(ENDPOINT_HEADPHONE, tuning.getEndpoint());
    // Port names and other spellings are not endpoint names: the endpoint stays.
    for (const char* name : {"internal_speaker", "bluetooth", "Speaker", ""}) {
        tuning.setEndpoint(name);
        EXPECT_EQ(ENDPOINT_HEADPHONE, tuning.getEndpoint()) << name;
    }
    tuning.setEndpoint("speaker");
    EXPECT_EQ(ENDPOINT_SPEAKER, tuning.getEndpoint());
}

TEST(RecordFieldsTest, ProfileSelectsItsOwnGeqPresetUntilTold) {
    Profile profile(4, "Music", PRESET_BALANCED);
    EXPECT_EQ(4, profile.getSelectedGeqPreset());
    EXPECT_EQ(4, Profile(9LL, 4, "Music", PRESET_BALANCED).getSelectedGeqPreset());
    profile.setDirty(false);
    profile.setSelectedGeqPreset(2);
    profile.setSelectedIeqPreset(PRESET_WARM);
    profile.setName("Movie");
    EXPECT_EQ(2, profile.getSelectedGeqPreset());
    EXPECT_EQ(PRESET_WARM, profile.getSelectedIeqPreset());
    EXPECT_EQ("Movie", profile.getName());
    EXPECT_EQ(4, profile.getProfileId());
    EXPECT_FALSE(profile.isDirty());
}

TEST(RecordFieldsTest, IeqPresetStoresItsTypeAsValueButNeverPrintsIt) {
    IeqPreset preset(12LL, PRESET_DETAILED);
    EXPECT_EQ(std::vector<int>{PRESET_DETAILED}, preset.getValues().at(ieq_id));
    EXPECT_EQ("", preset.valuesToString());
    preset.set(ieq_target, {1});
    EXPECT_EQ("ieq_target=1,\n", preset.valuesToString());
}

TEST(SetTest, MarksDirtyEvenWhenUnchangedOrInvalid) {
    GeqPreset preset(1LL, 2);
    preset.set(geq_gain, {1, 2});
    EXPECT_TRUE(preset.isDirty());
    preset.setDirty(false);
    preset.set(geq_gain, {1, 2});
    EXPECT_TRUE(preset.isDirty());
    // set() does not check the record's valid parameters.
    preset.set(peak_value, {7});
    EXPECT_TRUE(preset.has(peak_value));
}

TEST(CheckAndUpdateTest, IgnoresParametersOfOtherRecordKinds) {
    ProfileEndpoint endpoint(1L, 0, ENDPOINT_SPEAKER);
    EXPECT_FALSE(endpoint.checkAndUpdate(geq_gain, {1}));
    EXPECT_FALSE(endpoint.has(geq_gain));
    EXPECT_TRUE(endpoint.getValues().empty());
    EXPECT_FALSE(endpoint.isDirty());
}

TEST(CheckAndUpdateTest, OfferingAnEmptyVectorEntersTheParameterWithoutChange) {
    ProfileEndpoint endpoint(1L, 0, ENDPOINT_SPEAKER);
    EXPECT_FALSE(endpoint.checkAndUpdate(volmax_boost, {}));
    ASSERT_TRUE(endpoint.has(volmax_boost));
    EXPECT_TRUE(endpoint.getValues().at(volmax_boost).empty());
    EXPECT_FALSE(endpoint.isDirty());
}

TEST(CheckAndUpdateTest, ComparesLengthThenEveryElement) {
    Tuning tuning(1L, "t", ENDPOINT_SPEAKER, false, false);
    EXPECT_TRUE(tuning.checkAndUpdate(bass_mbdrc_tuning, {1, 2, 3}));
    EXPECT_TRUE(tuning.isDirty());

    tuning.setDirty(false);
    EXPECT_FALSE(tuning.checkAndUpdate(bass_mbdrc_tuning, {1, 2, 3}));
    EXPECT_FALSE(tuning.isDirty());

    // A longer or shorter vector with the same prefix is a change, as is one other element.
    for (const std::vector<int>& next :
         {std::vector<int>{1, 2, 3, 0}, std::vector<int>{1, 2}, std::vector<int>{1, -2}}) {
        tuning.setDirty(false);
        EXPECT_TRUE(tuning.checkAndUpdate(bass_mbdrc_tuning, next));
        EXPECT_EQ(next, tuning.getValues().at(bass_mbdrc_tuning));
        EXPECT_TRUE(tuning.isDirty());
    }
}

TEST(LookupTest, EntersAbsentParametersWithoutMarkingDirty) {
    Profile profile(1LL, 1, "p", PRESET_OFF);
    EXPECT_TRUE(profile.lookup(ieq_enable).empty());
    EXPECT_TRUE(profile.has(ieq_enable));
    EXPECT_FALSE(profile.isDirty());
    profile.lookup(ieq_enable).push_back(1);
    EXPECT_EQ(std::vector<int>{1}, profile.getValues().at(ieq_enable));
}

TEST(EqualsTest, ComparesValuesOnly) {
    Tuning a("a", ENDPOINT_SPEAKER, false);
    Tuning b(9L, "b", ENDPOINT_HEADPHONE, true, false);
    EXPECT_TRUE(a.equals(a));
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
}

TEST(EqualsTest, ProfileIgnoresNameAndSelectedGeqPreset) {
    Profile a(1, "Music", PRESET_WARM);
    Profile b(5LL, 1, "Movie", PRESET_WARM);
    b.setSelectedGeqPreset(3);
    EXPECT_TRUE(a.equals(b));

    Profile otherIeq(1, "Music", PRESET_OFF);
    Profile otherId(2, "Music", PRESET_WARM);
    EXPECT_FALSE(a.equals(otherIeq));
    EXPECT_FALSE(a.equals(otherId));
    // Through the base, only the values count.
    EXPECT_TRUE(static_cast<const ParameterValues&>(a).equals(otherId));

    b.set(ieq_amount, {3});
    EXPECT_FALSE(a.equals(b));
}

TEST(EqualsTest, PresetsAndEndpointsCompareTheirKeys) {
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

TEST(ToStringTest, NewRecordsShowIdMinusOneAndTheirFields) {
    EXPECT_EQ("id=-1\nname=Spk A\nendpoint=speaker\nmono=false\nreadonly=true\n",
              Tuning("Spk A", ENDPOINT_SPEAKER, false).toString());
    EXPECT_EQ("id=3\nname=\nendpoint=other\nmono=true\nreadonly=false\n",
              Tuning(3L, "", ENDPOINT_OTHER, true, false).toString());
    EXPECT_EQ("id=-1\ntype=warm\n", IeqPreset(PRESET_WARM).toString());
    EXPECT_EQ("id=1099511627776\ntype=off\n", IeqPreset(kBigId, PRESET_OFF).toString());
    EXPECT_EQ("id=-1\nprofileId=-4\n", GeqPreset(-4).toString());
    EXPECT_EQ("id=-1\nprofileId=2\nname=Game\nselectedIeqPreset=balanced\nselectedGeqPreset=2\n",
              Profile(2, "Game", PRESET_BALANCED).toString());
    EXPECT_EQ("id=8\nprofileId=0\nendpoint=headphone\n",
              ProfileEndpoint(8L, 0, ENDPOINT_HEADPHONE).toString());
}

TEST(ToStringTest, ValuesFollowInParameterOrderWithTrailingCommas) {
    Profile profile(1, "Music", PRESET_DETAILED);
    profile.setSelectedGeqPreset(0);
    profile.set(volume_modeler_enable, {1});
    profile.set(custom_drc_metadata, {});
    profile.set(ieq_amount, {-10, 0, 2147483647});
    EXPECT_EQ(
        "id=-1\nprofileId=1\nname=Music\nselectedIeqPreset=detailed\nselectedGeqPreset=0\n"
        "custom_drc_metadata=\n"
        "ieq_amount=-10,0,2147483647,\n"
        "volume_modeler_enable=1,\n",
        profile.toString());

    IeqPreset preset(PRESET_BALANCED);
    preset.set(ieq_target, {5, 6});
    preset.set(ieq_frequency, {100, 200});
    EXPECT_EQ("id=-1\ntype=balanced\nieq_frequency=100,200,\nieq_target=5,6,\n", preset.toString());
}

}  // namespace
}  // namespace velora
