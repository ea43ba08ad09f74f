/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "TuningTestSupport.h"
#include "testutil/LogCapture.h"
#include "tuning/TuningFileParser.h"

// Every file of tests/data/tuning is read here with the outcome it must give: the result, what
// was kept of each record kind, and the log line that explains a drop. Each file is one of the
// ways a hand-edited or tool-written tuning file goes wrong.

namespace velora {
namespace {

using testing::LogCapture;

struct Outcome {
    const char* file;
    int result;
    size_t ieqPresets;
    size_t geqPresets;
    size_t profiles;
    size_t endpoints;
    size_t tunings;
    size_t devices;
    const char* formatVersion;
    const char* logLine;  // a line the read must log; null when none in particular
};

void PrintTo(const Outcome& outcome, std::ostream* os) { *os << outcome.file; }

const Outcome kOutcomes[] = {
    {"malformed.xml", -EINVAL, 0, 0, 0, 0, 0, 0, "", "fail to call xmlReadFile,  128"},
    {"no-root.xml", -EINVAL, 0, 0, 0, 0, 0, 0, "", "fail to call xmlReadFile,  128"},
    {"empty.xml", -EINVAL, 0, 0, 0, 0, 0, 0, "", "fail to call xmlReadFile,  128"},
    {"entity-expansion.xml", -EINVAL, 0, 0, 0, 0, 0, 0, "", "fail to call xmlReadFile,  128"},
    {"versions-only.xml", 0, 0, 0, 0, 0, 0, 0, "1.0.", "invalid attribute name build"},
    {"profile-missing-elements.xml", 0, 0, 0, 5, 1, 0, 0, "1.0.0",
     "Profile 1 [Empty] at line 7 dropped: no data block"},
    {"tuning-missing-elements.xml", 0, 0, 0, 0, 0, 1, 4, "1.0.0",
     "Tuning [one_table] at line 16 dropped: no regulator band table"},
    {"extra-element-between-band-tables.xml", 0, 0, 0, 0, 0, 1, 1, "1.0.0",
     "Tuning [speaker]: <regulator-enable> at line 14 is read as the regulator band table"},
    {"data-without-band-tables.xml", 0, 0, 0, 0, 0, 1, 1, "1.0.0",
     "Tuning [headphone]: <audio-optimizer-enable> at line 9 is read as the "
     "audio-optimizer band table"},
    {"word-profile-ids.xml", 0, 0, 2, 2, 1, 0, 0, "1.0.0", nullptr},
    {"duplicate-device-id.xml", 0, 0, 0, 0, 0, 2, 3, "1.0.0", nullptr},
    {"unknown-top-level.xml", 0, 1, 0, 0, 0, 1, 0, "1.0.0", nullptr},
    {"empty-attribute-values.xml", 0, 1, 1, 1, 1, 1, 1, "..", "name is invalid, 271"},
    {"bom-crlf.xml", 0, 0, 0, 1, 1, 1, 1, "1.0.0", nullptr},
    {"no-whitespace.xml", 0, 1, 0, 0, 0, 0, 0, "1.0.0",
     "Tuning [speaker] at line 2 dropped: <device_id> at line 2 has no whitespace in front "
     "of it, so the data block cannot be found"},
    {"comment-in-layout.xml", 0, 0, 0, 0, 0, 1, 2, "1.0.0",
     "Tuning [comment_between_tables] at line 23 dropped: a non-element node at line 28 "
     "stands where the regulator band table belongs"},
    {"entities-in-values.xml", 0, 0, 0, 0, 0, 1, 0, "1.0.0", nullptr},
};

class RobustnessTest : public ::testing::TestWithParam<Outcome> {
  protected:
    static std::string path(const char* file) {
        return testing::source_file(std::string("tests/data/tuning/") + file);
    }
};

TEST_P(RobustnessTest, ReadsToTheExpectedOutcome) {
    const Outcome& expected = GetParam();
    LogCapture log;
    TuningFileParser parser;
    ASSERT_EQ(expected.result, parser.setTuningFile(path(expected.file))) << log.dump();
    if (expected.logLine != nullptr) {
        EXPECT_TRUE(log.containsMessage(expected.logLine)) << log.dump();
    }
    if (expected.result != 0) {
        EXPECT_EQ(nullptr, parser.getDeviceData());
        return;
    }
    DeviceData* data = parser.getDeviceData();
    ASSERT_NE(nullptr, data);
    EXPECT_EQ(expected.formatVersion, data->getFormatVersion());
    EXPECT_EQ(expected.ieqPresets, data->getIeqPresets().size());
    EXPECT_EQ(expected.geqPresets, data->getGeqPresets().size());
    EXPECT_EQ(expected.profiles, data->getProfiles().size());
    EXPECT_EQ(expected.endpoints, data->getProfileEndpoints().size());
    EXPECT_EQ(expected.tunings, data->getTunings().size());
    EXPECT_EQ(expected.devices, data->getDeviceTunings().size());
    // Whatever was kept holds only what its kind of record may hold.
    for (Tuning* tuning : data->getTunings()) {
        for (const auto& [parameter, value] : tuning->getValues()) {
            EXPECT_EQ(1u, Tuning::kValidParams.count(parameter)) << kParameterNames[parameter];
        }
    }
    for (Profile* profile : data->getProfiles()) {
        for (const auto& [parameter, value] : profile->getValues()) {
            EXPECT_EQ(1u, Profile::kValidParams.count(parameter)) << kParameterNames[parameter];
        }
    }
    for (ProfileEndpoint* endpoint : data->getProfileEndpoints()) {
        for (const auto& [parameter, value] : endpoint->getValues()) {
            EXPECT_EQ(1u, ProfileEndpoint::kValidParams.count(parameter))
                << kParameterNames[parameter];
        }
    }
}

INSTANTIATE_TEST_SUITE_P(DataFiles, RobustnessTest, ::testing::ValuesIn(kOutcomes),
                         [](const ::testing::TestParamInfo<Outcome>& info) {
                             std::string name = info.param.file;
                             name = name.substr(0, name.find('.'));
                             for (char& c : name) {
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             }
                             return name;
                         });

TEST(RobustnessCoverageTest, EveryDataFileHasAnExpectedOutcome) {
    std::set<std::string> listed;
    for (const Outcome& outcome : kOutcomes) listed.insert(outcome.file);
    for (const auto& entry :
         std::filesystem::directory_iterator(testing::source_file("tests/data/tuning"))) {
        std::string name = entry.path().filename().string();
        EXPECT_EQ(1u, listed.count(name)) << name << " has no expected outcome";
    }
}

// The details the counts above do not show.
class RobustnessDetailTest : public ::testing::Test {
  protected:
    DeviceData& read(const char* file) {
        EXPECT_EQ(0, mParser.setTuningFile(
                         testing::source_file(std::string("tests/data/tuning/") + file)))
            << mLog.dump();
        return *mParser.getDeviceData();
    }

    LogCapture mLog;
    TuningFileParser mParser;
};

TEST_F(RobustnessDetailTest, ByteOrderMarkAndCrlfReadLikePlainText) {
    DeviceData& data = read("bom-crlf.xml");
    Profile* profile = testing::find_profile(data, 0);
    ASSERT_NE(nullptr, profile);
    EXPECT_EQ("Dynamic", profile->getName());
    EXPECT_EQ(PRESET_BALANCED, profile->getSelectedIeqPreset());
    Tuning* tuning = testing::find_tuning(data, "headphone");
    ASSERT_NE(nullptr, tuning);
    EXPECT_THAT(tuning->getValues().at(complex_equalizer_tuning_left),
                ::testing::ElementsAre(8, 8, 0));
    EXPECT_THAT(tuning->getValues().at(audio_optimizer_gain_ls), ::testing::ElementsAre(8));
    EXPECT_EQ("default_headphone", testing::find_device(data, "default_headphone")->getDevice());
}

TEST_F(RobustnessDetailTest, WordIdsReadAsZero) {
    DeviceData& data = read("word-profile-ids.xml");
    for (Profile* profile : data.getProfiles()) EXPECT_EQ(0, profile->getProfileId());
    EXPECT_EQ(2, mParser.getNumOfProfiles());       // two profiles seen...
    EXPECT_EQ("Music", mParser.getProfileName(0));  // ...the later name wins
    // atoi reads the leading digits of "2music".
    EXPECT_NE(nullptr, testing::find_geq(data, 2));
    EXPECT_NE(nullptr, testing::find_geq(data, 0));
}

TEST_F(RobustnessDetailTest, DuplicateDevicesAreAllKept) {
    DeviceData& data = read("duplicate-device-id.xml");
    EXPECT_THAT(
        testing::devices_of(data, "headphone_a"),
        ::testing::ElementsAre("default_headphone@headphone", "default_headphone@headphone"));
    EXPECT_THAT(testing::devices_of(data, "headphone_b"),
                ::testing::ElementsAre("default_headphone@headphone"));
}

TEST_F(RobustnessDetailTest, UnknownElementsAndNestedSectionsAreSkipped) {
    DeviceData& data = read("unknown-top-level.xml");
    EXPECT_EQ(nullptr, testing::find_tuning(data, "nested"));
    EXPECT_EQ(nullptr, testing::find_tuning(data, "cdata"));
    Tuning* top = testing::find_tuning(data, "top");
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(0u, top->getValues().count(surround_boost));
    EXPECT_THAT(top->getValues().at(bass_extraction_enable), ::testing::ElementsAre(1));
    IeqPreset* preset = testing::find_ieq(data, PRESET_BALANCED);
    ASSERT_NE(nullptr, preset);
    EXPECT_THAT(preset->getValues().at(ieq_frequency), ::testing::ElementsAre(47, 234, 0));
}

TEST_F(RobustnessDetailTest, EmptyAttributesReadAsZeroAndEmptyText) {
    DeviceData& data = read("empty-attribute-values.xml");
    EXPECT_EQ("..", data.getToolVersion());
    Tuning* tuning = testing::find_tuning(data, "");
    ASSERT_NE(nullptr, tuning);
    EXPECT_EQ(ENDPOINT_SPEAKER, tuning->getEndpoint());
    EXPECT_FALSE(tuning->isMono());
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(orientation), ::testing::ElementsAre(0));
    EXPECT_THAT(values.at(audio_optimizer_frequency), ::testing::ElementsAre(0));
    EXPECT_THAT(values.at(regulator_isolated_band), ::testing::ElementsAre(0));
    EXPECT_THAT(values.at(bass_enhancer_boost), ::testing::ElementsAre(0));
    EXPECT_THAT(values.at(complex_equalizer_tuning_left), ::testing::IsEmpty());
    EXPECT_THAT(values.at(output_mix_matrix), ::testing::IsEmpty());
    EXPECT_THAT(values.at(virtual_bass_mix_freq_high), ::testing::ElementsAre(0));
    Profile* profile = testing::find_profile(data, 0);
    ASSERT_NE(nullptr, profile);
    EXPECT_EQ(PRESET_OFF, profile->getSelectedIeqPreset());
    EXPECT_THAT(profile->getValues().at(custom_drc_metadata), ::testing::IsEmpty());
    EXPECT_EQ(ENDPOINT_OTHER, (*data.getProfileEndpoints().begin())->getEndpoint());
    EXPECT_EQ(PRESET_BALANCED, (*data.getIeqPresets().begin())->getType());
    // An empty list text converts like any stored list: one empty piece, one 0.
    EXPECT_THAT((*data.getIeqPresets().begin())->getValues().at(ieq_frequency),
                ::testing::ElementsAre(0, 0));
    DeviceTuning* entry = *data.getDeviceTunings().begin();
    EXPECT_EQ("", entry->getDevice());
    EXPECT_EQ("", entry->getPort());
}

TEST_F(RobustnessDetailTest, EntitiesInValuesAreExpanded) {
    DeviceData& data = read("entities-in-values.xml");
    Tuning* tuning = testing::find_tuning(data, "speaker&co");
    ASSERT_NE(nullptr, tuning);
    EXPECT_THAT(tuning->getValues().at(virtual_bass_subgains),
                ::testing::ElementsAre(-32, -144, -192));
}

}  // namespace
}  // namespace velora
