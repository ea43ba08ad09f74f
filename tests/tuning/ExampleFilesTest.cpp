/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TuningTestSupport.h"
#include "model/Port.h"
#include "testutil/LogCapture.h"
#include "tuning/TuningFileParser.h"

// The shipped example files are the fixtures of most later tests and the README's example.
// They must read without a complaint and give every record all of its parameters.

namespace velora {
namespace {

using ::testing::ElementsAre;
using testing::find_by;
using testing::find_profile;
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
    // 20 bands everywhere; a preset's stored lists end in a trailing 0.
    for (IeqPreset* preset : data.getIeqPresets())
        EXPECT_EQ(21u, preset->getValues().at(ieq_target).size());
    for (GeqPreset* preset : data.getGeqPresets())
        EXPECT_EQ(21u, preset->getValues().at(geq_gain).size());
    for (Tuning* tuning : data.getTunings()) {
        for (Parameter band : {audio_optimizer_gain_rs, regulator_isolated_band,
                               complex_equalizer_tuning_right_surround})
            EXPECT_EQ(20u, tuning->getValues().at(band).size()) << tuning->getName();
    }

    const std::tuple<int, const char*, PresetType> profiles[] = {
        {0, "Dynamic", PRESET_BALANCED}, {1, "Movie", PRESET_DETAILED},
        {2, "Music", PRESET_WARM}, {3, "Custom", PRESET_BALANCED}};
    for (const auto& [id, name, preset] : profiles) {
        ASSERT_NE(nullptr, find_profile(data, id)) << name;
        EXPECT_EQ(name, find_profile(data, id)->getName());
        EXPECT_EQ(preset, find_profile(data, id)->getSelectedIeqPreset()) << name;
    }
    const ParameterValues::Values& stereo = find_tuning(data, "speaker_stereo")->getValues();
    EXPECT_THAT(stereo.at(output_mix_matrix), ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(stereo.at(virtual_bass_subgains), ElementsAre(-32, -144, -192));
    EXPECT_EQ(-104, stereo.at(audio_optimizer_gain_r)[19]);
    EXPECT_EQ(
        "id=-1\nprofileId=1\n"
        "geq_frequency=47,141,234,328,469,656,844,1031,1313,1688,2250,3000,3750,4688,5813,"
        "7125,9000,11250,13875,19688,0,\n"
        "geq_gain=48,40,32,16,0,-8,-8,0,16,32,40,40,32,16,8,0,0,-8,-16,-16,0,\n",
        find_by(data.getGeqPresets(), &GeqPreset::getProfileId, 1)->toString());
    EXPECT_EQ(64, find_by(data.getIeqPresets(), &IeqPreset::getType, PRESET_WARM)
                      ->getValues()
                      .at(ieq_target)[0]);

    // Every port has its default device, on an existing tuning.
    for (int port = 0; port < kPortCount; ++port) {
        std::string device = std::string("default_") + kPortNames[port];
        DeviceTuning* entry = find_by(data.getDeviceTunings(), &DeviceTuning::getDevice, device);
        ASSERT_NE(nullptr, entry) << device;
        EXPECT_EQ(kPortNames[port], entry->getPort());
        EXPECT_NE(nullptr, find_tuning(data, entry->getTuning())) << device;
    }
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
