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
using ::testing::ElementsAreArray;
using testing::LogCapture;
using ::testing::UnorderedElementsAre;

const std::vector<int> kBandFrequencies = {47,   141,  234,  328,   469,   656,  844,
                                           1031, 1313, 1688, 2250,  3000,  3750, 4688,
                                           5813, 7125, 9000, 11250, 13875, 19688};

std::set<Parameter> keys_of(const ParameterValues& record) {
    std::set<Parameter> keys;
    for (const auto& [parameter, value] : record.getValues()) keys.insert(parameter);
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
        ASSERT_NE(nullptr, mData);
    }

    LogCapture mLog;
    TuningFileParser mParser;
    DeviceData* mData = nullptr;
};

TEST_F(DefaultExampleTest, ReadsEveryRecordWithoutAComplaint) {
    EXPECT_THAT(complaints(mLog), ::testing::IsEmpty()) << mLog.dump();
    EXPECT_EQ("1.0.0", mData->getFormatVersion());
    EXPECT_EQ("2.4.17", mData->getToolVersion());
    EXPECT_EQ(3u, mData->getIeqPresets().size());
    EXPECT_EQ(4u, mData->getGeqPresets().size());
    EXPECT_EQ(4u, mData->getProfiles().size());
    EXPECT_EQ(12u, mData->getProfileEndpoints().size());
    EXPECT_EQ(4u, mData->getTunings().size());
    EXPECT_EQ(9u, mData->getDeviceTunings().size());
    EXPECT_EQ(4, mParser.getNumOfProfiles());
}

TEST_F(DefaultExampleTest, PresetsCarryTwentyBands) {
    for (PresetType type : {PRESET_DETAILED, PRESET_BALANCED, PRESET_WARM}) {
        IeqPreset* preset = testing::find_ieq(*mData, type);
        ASSERT_NE(nullptr, preset) << kPresetTypeNames[type];
        EXPECT_EQ(IeqPreset::kValidParams, keys_of(*preset));
        // Twenty bands and the trailing 0 that the stored-list conversion leaves.
        std::vector<int> frequencies = kBandFrequencies;
        frequencies.push_back(0);
        EXPECT_EQ(frequencies, preset->getValues().at(ieq_frequency));
        EXPECT_EQ(21u, preset->getValues().at(ieq_target).size());
    }
    EXPECT_EQ(64, testing::find_ieq(*mData, PRESET_WARM)->getValues().at(ieq_target)[0]);
    EXPECT_EQ(-48, testing::find_ieq(*mData, PRESET_DETAILED)->getValues().at(ieq_target)[0]);

    for (int profileId = 0; profileId < 4; ++profileId) {
        GeqPreset* preset = testing::find_geq(*mData, profileId);
        ASSERT_NE(nullptr, preset) << profileId;
        EXPECT_EQ(GeqPreset::kValidParams, keys_of(*preset));
        EXPECT_EQ(21u, preset->getValues().at(geq_frequency).size());
        EXPECT_EQ(21u, preset->getValues().at(geq_gain).size());
    }
    EXPECT_EQ(
        "id=-1\nprofileId=1\n"
        "geq_frequency=47,141,234,328,469,656,844,1031,1313,1688,2250,3000,3750,4688,5813,"
        "7125,9000,11250,13875,19688,0,\n"
        "geq_gain=48,40,32,16,0,-8,-8,0,16,32,40,40,32,16,8,0,0,-8,-16,-16,0,\n",
        testing::find_geq(*mData, 1)->toString());
}

TEST_F(DefaultExampleTest, ProfilesAndEndpointsHoldAllTheirParameters) {
    struct Expected {
        int id;
        const char* name;
        PresetType preset;
        int ieqEnable;
    };
    for (const Expected& e :
         {Expected{0, "Dynamic", PRESET_BALANCED, 1}, Expected{1, "Movie", PRESET_DETAILED, 1},
          Expected{2, "Music", PRESET_WARM, 1}, Expected{3, "Custom", PRESET_BALANCED, 0}}) {
        Profile* profile = testing::find_profile(*mData, e.id);
        ASSERT_NE(nullptr, profile) << e.name;
        EXPECT_EQ(e.name, profile->getName());
        EXPECT_EQ(e.name, mParser.getProfileName(e.id));
        EXPECT_EQ(e.preset, profile->getSelectedIeqPreset()) << e.name;
        EXPECT_EQ(e.id, profile->getSelectedGeqPreset());
        EXPECT_EQ(Profile::kValidParams, keys_of(*profile)) << e.name;
        EXPECT_THAT(profile->getValues().at(ieq_enable), ElementsAre(e.ieqEnable));
        for (Endpoint endpoint : {ENDPOINT_SPEAKER, ENDPOINT_HEADPHONE, ENDPOINT_OTHER}) {
            ProfileEndpoint* record = testing::find_endpoint(*mData, e.id, endpoint);
            ASSERT_NE(nullptr, record) << e.name << " " << kEndpointNames[endpoint];
            EXPECT_EQ(ProfileEndpoint::kValidParams, keys_of(*record));
        }
    }
    EXPECT_THAT(testing::find_profile(*mData, 1)->getValues().at(custom_drc_metadata),
                ElementsAre(1, 0, 1, 0, 0, 0));
    const ParameterValues::Values& movieHeadphone =
        testing::find_endpoint(*mData, 1, ENDPOINT_HEADPHONE)->getValues();
    EXPECT_THAT(movieHeadphone.at(hearing_protection_enable), ElementsAre(1));
    EXPECT_THAT(movieHeadphone.at(surround_boost), ElementsAre(96));
    EXPECT_THAT(movieHeadphone.at(volume_leveler_out_target), ElementsAre(-384));
    EXPECT_THAT(movieHeadphone.at(virtual_bass_enable), ElementsAre(0));

    // The Custom profile has its equalizer off, so validation selects the "off" preset.
    mData->validateData();
    EXPECT_EQ(PRESET_OFF, testing::find_profile(*mData, 3)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_WARM, testing::find_profile(*mData, 2)->getSelectedIeqPreset());
}

TEST_F(DefaultExampleTest, TuningsHoldAllFiftyParameters) {
    struct Expected {
        const char* name;
        Endpoint endpoint;
        bool mono;
        int channels;
        size_t matrixSize;
    };
    for (const Expected& e : {Expected{"speaker_stereo", ENDPOINT_SPEAKER, false, 2, 8},
                              Expected{"speaker_mono", ENDPOINT_SPEAKER, true, 1, 4},
                              Expected{"headphone", ENDPOINT_HEADPHONE, false, 2, 8},
                              Expected{"other", ENDPOINT_OTHER, false, 2, 8}}) {
        Tuning* tuning = testing::find_tuning(*mData, e.name);
        ASSERT_NE(nullptr, tuning) << e.name;
        EXPECT_EQ(e.endpoint, tuning->getEndpoint()) << e.name;
        EXPECT_EQ(e.mono, tuning->isMono()) << e.name;
        EXPECT_TRUE(tuning->isReadonly());
        EXPECT_EQ(Tuning::kValidParams, keys_of(*tuning)) << e.name;
        const ParameterValues::Values& values = tuning->getValues();
        EXPECT_THAT(values.at(output_channels), ElementsAre(e.channels)) << e.name;
        EXPECT_EQ(e.matrixSize, values.at(output_mix_matrix).size()) << e.name;
        for (Parameter band :
             {audio_optimizer_frequency, audio_optimizer_gain_l, audio_optimizer_gain_r,
              audio_optimizer_gain_ls, audio_optimizer_gain_rs, regulator_frequency,
              regulator_threshold_low, regulator_threshold_high, regulator_isolated_band}) {
            EXPECT_EQ(20u, values.at(band).size()) << e.name << " " << kParameterNames[band];
        }
        EXPECT_EQ(kBandFrequencies, values.at(audio_optimizer_frequency));
        EXPECT_EQ(20u, values.at(complex_equalizer_tuning_right_surround).size());
    }
    const ParameterValues::Values& stereo =
        testing::find_tuning(*mData, "speaker_stereo")->getValues();
    EXPECT_THAT(stereo.at(output_mix_matrix), ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(stereo.at(virtual_bass_mix_freq_low), ElementsAre(94));
    EXPECT_THAT(stereo.at(virtual_bass_mix_freq_high), ElementsAre(469));
    EXPECT_THAT(stereo.at(virtual_bass_src_freq_low), ElementsAre(35));
    EXPECT_THAT(stereo.at(virtual_bass_src_freq_high), ElementsAre(160));
    EXPECT_THAT(stereo.at(virtual_bass_subgains), ElementsAre(-32, -144, -192));
    EXPECT_THAT(stereo.at(regulator_isolated_band),
                ElementsAreArray({1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(-104, stereo.at(audio_optimizer_gain_r)[19]);
    const ParameterValues::Values& headphone =
        testing::find_tuning(*mData, "headphone")->getValues();
    EXPECT_EQ(8, headphone.at(audio_optimizer_gain_ls)[0]);
    EXPECT_THAT(headphone.at(regulator_enable), ElementsAre(0));
    EXPECT_THAT(testing::find_tuning(*mData, "speaker_mono")->getValues().at(orientation),
                ElementsAre(1));
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
    EXPECT_THAT(testing::devices_of(*mData, "speaker_mono"),
                ElementsAre("internal_speaker_mono@internal_speaker"));
    EXPECT_EQ("id=-1\ndevice=default_hdmi\nport=hdmi\ntuning=other",
              testing::find_device(*mData, "default_hdmi")->toString());
}

TEST(OemExtraExampleTest, AddsTuningsAndDevicesWithDeliberateClashes) {
    LogCapture log;
    TuningFileParser extra(testing::source_file("examples/kiv-extra.xml"));
    TuningFileParser defaults(testing::source_file("examples/multimedia_velora_kiv_default.xml"));
    ASSERT_NE(nullptr, extra.getDeviceData());
    ASSERT_NE(nullptr, defaults.getDeviceData());
    EXPECT_THAT(complaints(log), ::testing::IsEmpty()) << log.dump();
    DeviceData& oem = *extra.getDeviceData();
    DeviceData& base = *defaults.getDeviceData();

    // Merged only when the format versions agree as text.
    EXPECT_EQ(base.getFormatVersion(), oem.getFormatVersion());
    EXPECT_TRUE(oem.getProfiles().empty());
    EXPECT_TRUE(oem.getIeqPresets().empty());

    std::vector<std::string> names;
    for (Tuning* tuning : oem.getTunings()) {
        names.push_back(tuning->getName());
        EXPECT_EQ(Tuning::kValidParams, keys_of(*tuning)) << tuning->getName();
    }
    EXPECT_THAT(names, UnorderedElementsAre("oem_soundbar", "headphone"));
    // "headphone" is also a default tuning: that one and its devices are dropped at merge.
    EXPECT_NE(nullptr, testing::find_tuning(base, "headphone"));
    EXPECT_EQ(nullptr, testing::find_tuning(base, "oem_soundbar"));
    EXPECT_EQ(ENDPOINT_OTHER, testing::find_tuning(oem, "oem_soundbar")->getEndpoint());

    EXPECT_THAT(
        testing::devices_of(oem, "oem_soundbar"),
        ElementsAre("default_usb@usb", "oem_soundbar_bt@bluetooth", "oem_soundbar_hdmi@hdmi"));
    EXPECT_THAT(testing::devices_of(oem, "headphone"), ElementsAre("oem_sport_buds@bluetooth"));
    // "default_usb" is also a default device: dropped at merge although its tuning is new.
    EXPECT_NE(nullptr, testing::find_device(base, "default_usb"));
    EXPECT_EQ(nullptr, testing::find_device(base, "oem_soundbar_hdmi"));
}

}  // namespace
}  // namespace velora
