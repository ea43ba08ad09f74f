/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "TuningTestSupport.h"
#include "testutil/LogCapture.h"
#include "tuning/TuningFileParser.h"

// Every file of tests/data/tuning is read here with the outcome it must give: the result, what
// was kept of each record kind, and the log line that explains a drop. Each file is one of the
// ways a hand-edited or tool-written tuning file goes wrong.

namespace velora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
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

// Every file one edit away from a small complete one: each line deleted, and each line
// joined to the one before it (which takes the whitespace the layout relies on). Whatever the
// edit breaks, the read either fails cleanly or keeps only well-formed records.
TEST(RobustnessSweepTest, EveryOneLineEditOfAFileReadsSafely) {
    std::ifstream in(testing::source_file("tests/data/tuning/tuning-missing-elements.xml"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    ASSERT_GT(lines.size(), 20u);
    testing::TempRoot root;
    LogCapture log;
    for (size_t i = 1; i < lines.size(); ++i) {
        for (bool join : {false, true}) {
            std::string text;
            for (size_t j = 0; j < lines.size(); ++j) {
                if (j == i && !join) continue;
                std::string line = lines[j];
                if (j == i) {
                    text.pop_back();
                    line.erase(0, line.find_first_not_of(' '));
                }
                text += line + "\n";
            }
            TuningFileParser parser;
            int result = parser.setTuningFile(testing::write_tuning(root, text));
            ASSERT_TRUE(result == 0 || result == -EINVAL) << i;
            if (result != 0) continue;
            for (Tuning* tuning : parser.getDeviceData()->getTunings()) {
                // A tuning is kept only with both of its band tables.
                EXPECT_TRUE(tuning->has(audio_optimizer_frequency)) << i;
                EXPECT_TRUE(tuning->has(regulator_frequency)) << i;
                for (const auto& [parameter, value] : tuning->getValues()) {
                    EXPECT_EQ(1u, Tuning::kValidParams.count(parameter)) << i;
                }
            }
        }
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
    EXPECT_THAT(tuning->getValues().at(complex_equalizer_tuning_left), ElementsAre(8, 8, 0));
    EXPECT_NE(nullptr, testing::find_device(data, "default_headphone"));
}

TEST_F(RobustnessDetailTest, MissingOrForeignIncludeSelectsTheOffPreset) {
    DeviceData& data = read("profile-missing-elements.xml");
    // NoInclude, IncludeWithoutPreset, NotInclude, CommentedInclude; then Complete.
    for (int id = 2; id <= 5; ++id) {
        ASSERT_NE(nullptr, testing::find_profile(data, id)) << id;
        EXPECT_EQ(PRESET_OFF, testing::find_profile(data, id)->getSelectedIeqPreset()) << id;
    }
    EXPECT_EQ(4u, mLog.countMessage("name is invalid, 271"));
    EXPECT_EQ(PRESET_WARM, testing::find_profile(data, 6)->getSelectedIeqPreset());
    EXPECT_THAT(testing::find_profile(data, 2)->getValues().at(ieq_amount), ElementsAre(5));
}

TEST_F(RobustnessDetailTest, ElementBetweenBandTablesIsReadAsTheRegulatorTable) {
    DeviceData& data = read("extra-element-between-band-tables.xml");
    Tuning* tuning = testing::find_tuning(data, "speaker");
    ASSERT_NE(nullptr, tuning);
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(audio_optimizer_frequency), ElementsAre(47, 141));
    EXPECT_THAT(values.at(regulator_frequency), IsEmpty());
    EXPECT_EQ(0u, values.count(regulator_enable));
    EXPECT_THAT(values.at(bass_enhancer_boost), ElementsAre(192));
}

TEST_F(RobustnessDetailTest, UnknownElementsAndNestedSectionsAreSkipped) {
    DeviceData& data = read("unknown-top-level.xml");
    EXPECT_EQ(nullptr, testing::find_tuning(data, "nested"));
    Tuning* top = testing::find_tuning(data, "top");
    ASSERT_NE(nullptr, top);
    EXPECT_EQ(0u, top->getValues().count(surround_boost));
    EXPECT_THAT(top->getValues().at(bass_extraction_enable), ElementsAre(1));
    IeqPreset* preset = testing::find_ieq(data, PRESET_BALANCED);
    ASSERT_NE(nullptr, preset);
    EXPECT_THAT(preset->getValues().at(ieq_frequency), ElementsAre(47, 234, 0));
}

TEST_F(RobustnessDetailTest, EmptyAttributesReadAsZeroAndEmptyText) {
    DeviceData& data = read("empty-attribute-values.xml");
    Tuning* tuning = testing::find_tuning(data, "");
    ASSERT_NE(nullptr, tuning);
    EXPECT_EQ(ENDPOINT_SPEAKER, tuning->getEndpoint());
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(audio_optimizer_frequency), ElementsAre(0));
    EXPECT_THAT(values.at(bass_enhancer_boost), ElementsAre(0));
    EXPECT_THAT(values.at(complex_equalizer_tuning_left), IsEmpty());
    EXPECT_THAT(values.at(output_mix_matrix), IsEmpty());
    EXPECT_THAT(values.at(virtual_bass_mix_freq_high), ElementsAre(0));
    // An empty list text converts like any stored list: one empty piece per value, each 0.
    EXPECT_THAT((*data.getIeqPresets().begin())->getValues().at(ieq_frequency), ElementsAre(0, 0));
    EXPECT_EQ("", (*data.getDeviceTunings().begin())->getPort());
}

TEST_F(RobustnessDetailTest, EntitiesInValuesAreExpanded) {
    DeviceData& data = read("entities-in-values.xml");
    Tuning* tuning = testing::find_tuning(data, "speaker&co");
    ASSERT_NE(nullptr, tuning);
    EXPECT_THAT(tuning->getValues().at(virtual_bass_subgains), ElementsAre(-32, -144, -192));
}

}  // namespace
}  // namespace velora
