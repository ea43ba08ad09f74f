/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TuningTestSupport.h"
#include "testutil/LogCapture.h"
#include "tuning/TuningFileParser.h"

// The shipped example files are the fixtures of most later tests and the README's example.
// They must read without a complaint and give every record all of its parameters.

namespace velora {
namespace {

using ::testing::ElementsAre;
using testing::find_tuning;
using ::testing::IsEmpty;
using testing::LogCapture;

const std::string kDefaults = "examples/multimedia_velora_kiv_default.xml";

// What the reader logged at warning level or above.
std::vector<std::string> complaints(const LogCapture& log) {
    std::vector<std::string> lines;
    for (const auto& line : log.linesWithTag("TuningFileParser")) {
        if (line.priority >= ANDROID_LOG_WARN) lines.push_back(line.message);
    }
    return lines;
}

TEST(ExampleFilesTest, DefaultFileGivesEveryRecordWithAllItsParameters) {
    LogCapture log;
    TuningFileParser parser(testing::source_file(kDefaults));
    ASSERT_NE(nullptr, parser.getDeviceData());
    DeviceData& data = *parser.getDeviceData();
    EXPECT_THAT(complaints(log), IsEmpty()) << log.dump();
    EXPECT_EQ("1.0.0", data.getFormatVersion());
    EXPECT_EQ("2.4.17", data.getToolVersion());
    EXPECT_EQ(4, parser.getNumOfProfiles());
    EXPECT_EQ((std::vector<size_t>{3, 4, 4, 12, 4, 9}), testing::counts_of(data));
    EXPECT_TRUE(testing::params_valid(data, true));
    // What each record holds reaches the database and the effect, where the start-up golden
    // test pins every value; here, that the file gives the devices their shipped tunings.
    EXPECT_THAT(testing::devices_of(data, "headphone"),
                ElementsAre("default_bluetooth@bluetooth", "default_headphone@headphone",
                            "default_usb@usb", "usb_c_earphones@usb"));
}

TEST(ExampleFilesTest, OemFileAddsTuningsAndDevicesWithDeliberateClashes) {
    LogCapture log;
    TuningFileParser extra(testing::source_file("examples/kiv-extra.xml"));
    TuningFileParser defaults(testing::source_file(kDefaults));
    ASSERT_NE(nullptr, extra.getDeviceData());
    ASSERT_NE(nullptr, defaults.getDeviceData());
    EXPECT_THAT(complaints(log), IsEmpty()) << log.dump();
    DeviceData& oem = *extra.getDeviceData();
    DeviceData& base = *defaults.getDeviceData();
    // Merged only when the format versions agree as text.
    EXPECT_EQ(base.getFormatVersion(), oem.getFormatVersion());
    EXPECT_EQ(2u, oem.getTunings().size());
    EXPECT_TRUE(testing::params_valid(oem, true));
    // A new tuning with new devices and one named like a default device ("default_usb"), and a
    // tuning named like a default tuning, with a new device.
    EXPECT_EQ(nullptr, find_tuning(base, "oem_soundbar"));
    EXPECT_THAT(
        testing::devices_of(oem, "oem_soundbar"),
        ElementsAre("default_usb@usb", "oem_soundbar_bt@bluetooth", "oem_soundbar_hdmi@hdmi"));
    EXPECT_THAT(testing::devices_of(oem, "headphone"), ElementsAre("oem_sport_buds@bluetooth"));
}

}  // namespace
}  // namespace velora
