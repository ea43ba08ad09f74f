/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TuningTestSupport.h"
#include "testutil/TempRoot.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

namespace velora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TempRoot;

std::string profile_xml(int id, const std::string& enable, const std::string& preset) {
    std::string ieqEnable = enable.empty() ? "" : "      <ieq-enable value=\"" + enable + "\"/>\n";
    return "  <profile id=\"" + std::to_string(id) + "\" name=\"P" + std::to_string(id) +
           "\">\n    <data>\n" + ieqEnable + "      <ieq-amount value=\"10\"/>\n" +
           "    </data>\n    <include preset=\"" + preset + "\"/>\n  </profile>\n";
}

TEST(DeviceDataTest, ValidateTurnsThePresetOffWhereTheEqualizerIsOff) {
    TempRoot root;
    std::string body = profile_xml(0, "true", "ieq_warm") + profile_xml(1, "false", "ieq_warm") +
                       profile_xml(2, "", "ieq_detailed") + profile_xml(3, "7", "ieq_balanced");
    TuningFileParser parser(testing::write_tuning(
        root, "<?xml version=\"1.0\"?>\n<velora_tuning>\n" + body + "</velora_tuning>\n"));
    DeviceData* data = parser.getDeviceData();
    ASSERT_NE(nullptr, data);
    ASSERT_EQ(PRESET_WARM, testing::find_profile(*data, 1)->getSelectedIeqPreset());

    data->validateData();

    EXPECT_EQ(PRESET_WARM, testing::find_profile(*data, 0)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_OFF, testing::find_profile(*data, 1)->getSelectedIeqPreset());
    // Without ieq-enable the equalizer counts as off, and the profile gains an empty value.
    Profile* withoutEnable = testing::find_profile(*data, 2);
    EXPECT_EQ(PRESET_OFF, withoutEnable->getSelectedIeqPreset());
    ASSERT_TRUE(withoutEnable->has(ieq_enable));
    EXPECT_THAT(withoutEnable->getValues().at(ieq_enable), IsEmpty());
    // Any non-zero value is on.
    EXPECT_EQ(PRESET_BALANCED, testing::find_profile(*data, 3)->getSelectedIeqPreset());
    // Nothing else changes.
    EXPECT_THAT(testing::find_profile(*data, 1)->getValues().at(ieq_amount), ElementsAre(10));
    EXPECT_EQ(1, testing::find_profile(*data, 1)->getSelectedGeqPreset());
}

TEST(DeviceDataTest, TwoParsersOfOneFileShareNoRecords) {
    std::string example = testing::source_file("examples/multimedia_velora_kiv_default.xml");
    TuningFileParser first(example);
    TuningFileParser second(example);
    ASSERT_NE(nullptr, first.getDeviceData());
    ASSERT_NE(nullptr, second.getDeviceData());
    std::set<const void*> seen;
    size_t count = 0;
    for (TuningFileParser* parser : {&first, &second}) {
        DeviceData& data = *parser->getDeviceData();
        for (auto* r : data.getIeqPresets()) seen.insert(r);
        for (auto* r : data.getGeqPresets()) seen.insert(r);
        for (auto* r : data.getProfiles()) seen.insert(r);
        for (auto* r : data.getProfileEndpoints()) seen.insert(r);
        for (auto* r : data.getTunings()) seen.insert(r);
        for (auto* r : data.getDeviceTunings()) seen.insert(r);
        count += data.getIeqPresets().size() + data.getGeqPresets().size() +
                 data.getProfiles().size() + data.getProfileEndpoints().size() +
                 data.getTunings().size() + data.getDeviceTunings().size();
    }
    EXPECT_GT(count, 0u);
    EXPECT_EQ(count, seen.size());

    // Validating one file's data leaves the other's records alone.
    first.getDeviceData()->validateData();
    EXPECT_EQ(PRESET_OFF, testing::find_profile(*first.getDeviceData(), 3)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_BALANCED,
              testing::find_profile(*second.getDeviceData(), 3)->getSelectedIeqPreset());
}

}  // namespace
}  // namespace velora
