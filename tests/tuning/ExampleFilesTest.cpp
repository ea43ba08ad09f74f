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
// They must read without a dropped record and give every record all of its parameters.

namespace velora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::LogCapture;

std::set<Parameter> keys_of(const ParameterValues& record) {
    std::set<Parameter> keys;
    for (const auto& entry : record.getValues()) keys.insert(entry.first);
    return keys;
}

// What the reader logged at warning level or above.
std::vector<std::string> complaints(const LogCapture& log) {
    std::vector<std::string> lines;
    for (const auto& line : log.linesWithTag("TuningFileParser")) {
        if (line.priority >= ANDROID_LOG_WARN) lines.push_back(line.message);
    }
    return lines;
}

class DefaultExampleTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, mParser.setTuningFile(
                         testing::source_file("examples/multimedia_velora_kiv_default.xml")));
        mData = mParser.getDeviceData();
    }

    LogCapture mLog;
    TuningFileParser mParser;
    DeviceData* mData = nullptr;
};

TEST_F(DefaultExampleTest, ReadsEveryRecordWithAllItsParameters) {
    EXPECT_THAT(complaints(mLog), IsEmpty()) << mLog.dump();
    EXPECT_EQ("1.0.0", mData->getFormatVersion());
    EXPECT_EQ("2.4.17", mData->getToolVersion());
    EXPECT_EQ(4, mParser.getNumOfProfiles());

    ASSERT_EQ(3u, mData->getIeqPresets().size());
    for (IeqPreset* preset : mData->getIeqPresets()) {
        EXPECT_EQ(IeqPreset::kValidParams, keys_of(*preset));
        EXPECT_EQ(21u, preset->getValues().at(ieq_target).size());  // 20 bands, trailing 0
    }
    ASSERT_EQ(4u, mData->getGeqPresets().size());
    for (int profileId = 0; profileId < 4; ++profileId) {
        GeqPreset* preset = testing::find_geq(*mData, profileId);
        ASSERT_NE(nullptr, preset) << profileId;
        EXPECT_EQ(GeqPreset::kValidParams, keys_of(*preset));
        EXPECT_EQ(21u, preset->getValues().at(geq_gain).size());
    }
    ASSERT_EQ(4u, mData->getProfiles().size());
    for (Profile* profile : mData->getProfiles()) {
        EXPECT_EQ(Profile::kValidParams, keys_of(*profile)) << profile->getName();
    }
    ASSERT_EQ(12u, mData->getProfileEndpoints().size());
    for (ProfileEndpoint* endpoint : mData->getProfileEndpoints()) {
        EXPECT_EQ(ProfileEndpoint::kValidParams, keys_of(*endpoint));
    }
    ASSERT_EQ(4u, mData->getTunings().size());
    for (Tuning* tuning : mData->getTunings()) {
        EXPECT_EQ(Tuning::kValidParams, keys_of(*tuning)) << tuning->getName();
        for (Parameter band : {audio_optimizer_gain_rs, regulator_isolated_band,
                               complex_equalizer_tuning_right_surround}) {
            EXPECT_EQ(20u, tuning->getValues().at(band).size()) << tuning->getName();
        }
    }
    EXPECT_EQ(9u, mData->getDeviceTunings().size());
}

TEST_F(DefaultExampleTest, ProfilesSelectTheirPresetsAndValidationTurnsCustomOff) {
    struct Expected {
        int id;
        const char* name;
        PresetType preset;
    };
    for (const Expected& e :
         {Expected{0, "Dynamic", PRESET_BALANCED}, Expected{1, "Movie", PRESET_DETAILED},
          Expected{2, "Music", PRESET_WARM}, Expected{3, "Custom", PRESET_BALANCED}}) {
        Profile* profile = testing::find_profile(*mData, e.id);
        ASSERT_NE(nullptr, profile) << e.name;
        EXPECT_EQ(e.name, profile->getName());
        EXPECT_EQ(e.preset, profile->getSelectedIeqPreset()) << e.name;
        for (Endpoint endpoint : {ENDPOINT_SPEAKER, ENDPOINT_HEADPHONE, ENDPOINT_OTHER}) {
            EXPECT_NE(nullptr, testing::find_endpoint(*mData, e.id, endpoint)) << e.name;
        }
    }
    const ParameterValues::Values& movieHeadphone =
        testing::find_endpoint(*mData, 1, ENDPOINT_HEADPHONE)->getValues();
    EXPECT_THAT(movieHeadphone.at(surround_boost), ElementsAre(96));
    EXPECT_THAT(movieHeadphone.at(volume_leveler_out_target), ElementsAre(-384));

    mData->validateData();
    EXPECT_EQ(PRESET_OFF, testing::find_profile(*mData, 3)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_WARM, testing::find_profile(*mData, 2)->getSelectedIeqPreset());
}

TEST_F(DefaultExampleTest, TuningsAndPresetsCarryTheFileValues) {
    struct Expected {
        const char* name;
        Endpoint endpoint;
        bool mono;
        int channels;
    };
    for (const Expected& e : {Expected{"speaker_stereo", ENDPOINT_SPEAKER, false, 2},
                              Expected{"speaker_mono", ENDPOINT_SPEAKER, true, 1},
                              Expected{"headphone", ENDPOINT_HEADPHONE, false, 2},
                              Expected{"other", ENDPOINT_OTHER, false, 2}}) {
        Tuning* tuning = testing::find_tuning(*mData, e.name);
        ASSERT_NE(nullptr, tuning) << e.name;
        EXPECT_EQ(e.endpoint, tuning->getEndpoint()) << e.name;
        EXPECT_EQ(e.mono, tuning->isMono()) << e.name;
        EXPECT_THAT(tuning->getValues().at(output_channels), ElementsAre(e.channels));
    }
    const ParameterValues::Values& stereo =
        testing::find_tuning(*mData, "speaker_stereo")->getValues();
    EXPECT_THAT(stereo.at(output_mix_matrix), ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(stereo.at(virtual_bass_mix_freq_low), ElementsAre(94));
    EXPECT_THAT(stereo.at(virtual_bass_src_freq_high), ElementsAre(160));
    EXPECT_THAT(stereo.at(virtual_bass_subgains), ElementsAre(-32, -144, -192));
    EXPECT_EQ(-104, stereo.at(audio_optimizer_gain_r)[19]);
    EXPECT_EQ(
        "id=-1\nprofileId=1\n"
        "geq_frequency=47,141,234,328,469,656,844,1031,1313,1688,2250,3000,3750,4688,5813,"
        "7125,9000,11250,13875,19688,0,\n"
        "geq_gain=48,40,32,16,0,-8,-8,0,16,32,40,40,32,16,8,0,0,-8,-16,-16,0,\n",
        testing::find_geq(*mData, 1)->toString());
    EXPECT_EQ(64, testing::find_ieq(*mData, PRESET_WARM)->getValues().at(ieq_target)[0]);
}

TEST_F(DefaultExampleTest, EveryPortHasItsDefaultDeviceOnAnExistingTuning) {
    for (int port = 0; port < kPortCount; ++port) {
        std::string device = std::string("default_") + kPortNames[port];
        DeviceTuning* entry = testing::find_device(*mData, device);
        ASSERT_NE(nullptr, entry) << device;
        EXPECT_EQ(kPortNames[port], entry->getPort());
        EXPECT_NE(nullptr, testing::find_tuning(*mData, entry->getTuning())) << device;
    }
    EXPECT_THAT(testing::devices_of(*mData, "headphone"),
                ElementsAre("default_bluetooth@bluetooth", "default_headphone@headphone",
                            "default_usb@usb", "usb_c_earphones@usb"));
}

TEST(OemExtraExampleTest, AddsTuningsAndDevicesWithDeliberateClashes) {
    LogCapture log;
    TuningFileParser extra(testing::source_file("examples/kiv-extra.xml"));
    TuningFileParser defaults(testing::source_file("examples/multimedia_velora_kiv_default.xml"));
    ASSERT_NE(nullptr, extra.getDeviceData());
    ASSERT_NE(nullptr, defaults.getDeviceData());
    EXPECT_THAT(complaints(log), IsEmpty()) << log.dump();
    DeviceData& oem = *extra.getDeviceData();
    DeviceData& base = *defaults.getDeviceData();

    // Merged only when the format versions agree as text.
    EXPECT_EQ(base.getFormatVersion(), oem.getFormatVersion());
    ASSERT_EQ(2u, oem.getTunings().size());
    for (Tuning* tuning : oem.getTunings()) {
        EXPECT_EQ(Tuning::kValidParams, keys_of(*tuning)) << tuning->getName();
    }
    // A new tuning with new devices, one device named like a default device...
    EXPECT_EQ(nullptr, testing::find_tuning(base, "oem_soundbar"));
    EXPECT_THAT(
        testing::devices_of(oem, "oem_soundbar"),
        ElementsAre("default_usb@usb", "oem_soundbar_bt@bluetooth", "oem_soundbar_hdmi@hdmi"));
    EXPECT_NE(nullptr, testing::find_device(base, "default_usb"));
    // ...and a tuning named like a default tuning, with a new device.
    EXPECT_NE(nullptr, testing::find_tuning(base, "headphone"));
    EXPECT_THAT(testing::devices_of(oem, "headphone"), ElementsAre("oem_sport_buds@bluetooth"));
}

}  // namespace
}  // namespace velora
