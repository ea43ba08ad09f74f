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

// What each record holds reaches the database and the effect, where the start-up golden test
// pins every value; here, what only the reader says and the devices each file puts where.
TEST(ExampleFilesTest, ShippedFilesReadWithoutAComplaintAndGiveEveryRecordAllItsParameters) {
    LogCapture log;
    TuningFileParser defaults(testing::source_file(kDefaults));
    TuningFileParser extra(testing::source_file("examples/kiv-extra.xml"));
    ASSERT_NE(nullptr, defaults.getDeviceData());
    ASSERT_NE(nullptr, extra.getDeviceData());
    EXPECT_THAT(complaints(log), IsEmpty()) << log.dump();
    DeviceData& base = *defaults.getDeviceData();
    DeviceData& oem = *extra.getDeviceData();
    EXPECT_EQ("1.0.0", base.getFormatVersion());
    EXPECT_EQ("1.0.0", oem.getFormatVersion());  // merged only when the versions agree as text
    EXPECT_EQ("2.4.17", base.getToolVersion());
    EXPECT_EQ(4, defaults.getNumOfProfiles());
    EXPECT_EQ((std::vector<size_t>{3, 4, 4, 12, 4, 9}), testing::counts_of(base));
    EXPECT_EQ((std::vector<size_t>{0, 0, 0, 0, 1, 2}), testing::counts_of(oem));
    EXPECT_TRUE(testing::params_valid(base, true));
    EXPECT_TRUE(testing::params_valid(oem, true));
    EXPECT_THAT(testing::devices_of(base, "headphone"),
                ElementsAre("default_bluetooth@bluetooth", "default_headphone@headphone",
                            "default_usb@usb", "usb_c_earphones@usb"));
    // The OEM file adds a tuning and devices the default file does not have, so the merge
    // takes all of them.
    EXPECT_EQ(nullptr, find_tuning(base, "oem_soundbar"));
    EXPECT_THAT(testing::devices_of(oem, "oem_soundbar"),
                ElementsAre("oem_soundbar_bt@bluetooth", "oem_soundbar_hdmi@hdmi"));
}

}  // namespace
}  // namespace velora
