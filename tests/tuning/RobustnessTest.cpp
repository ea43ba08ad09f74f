/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <memory>

#include "TuningTestSupport.h"
#include "testutil/LogCapture.h"
#include "tuning/TuningFileParser.h"

// Every file of tests/data/tuning is one of the ways a hand-edited or tool-written tuning file
// goes wrong, and is read here with the outcome it must give.

namespace velora {
namespace {

using ::testing::ElementsAre;
using testing::find_tuning;
using ::testing::IsEmpty;
using testing::LogCapture;

std::string data_file(const std::string& file) {
    return testing::source_file("tests/data/tuning/" + file);
}

struct Outcome {
    const char* file;
    int result;
    std::vector<size_t> counts;  // as testing::counts_of gives them
    const char* formatVersion;
    const char* logLine;  // a line the read must log; null when none in particular
};

constexpr char kXmlReadFailed[] = "fail to call xmlReadFile,  128";
// clang-format off
const Outcome kOutcomes[] = {
    {"malformed.xml", -EINVAL, {}, "", kXmlReadFailed},
    {"no-root.xml", -EINVAL, {}, "", kXmlReadFailed},
    {"empty.xml", -EINVAL, {}, "", kXmlReadFailed},
    {"entity-expansion.xml", -EINVAL, {}, "", kXmlReadFailed},
    {"versions-only.xml", 0, {0, 0, 0, 0, 0, 0}, "1.0.", "invalid attribute name build"},
    {"profile-missing-elements.xml", 0, {0, 0, 5, 1, 0, 0}, "1.0.0",
     "Profile 1 [Empty] at line 7 dropped: no data block"},
    {"tuning-missing-elements.xml", 0, {0, 0, 0, 0, 1, 4}, "1.0.0",
     "Tuning [one_table] at line 16 dropped: no regulator band table"},
    {"extra-element-between-band-tables.xml", 0, {0, 0, 0, 0, 1, 1}, "1.0.0",
     "Tuning [speaker]: <regulator-enable> at line 14 is read as the regulator band table"},
    {"data-without-band-tables.xml", 0, {0, 0, 0, 0, 1, 1}, "1.0.0",
     "Tuning [headphone]: <audio-optimizer-enable> at line 9 is read as the audio-optimizer "
     "band table"},
    {"word-profile-ids.xml", 0, {0, 2, 2, 1, 0, 0}, "1.0.0", nullptr},
    {"duplicate-device-id.xml", 0, {0, 0, 0, 0, 2, 3}, "1.0.0", nullptr},
    {"unknown-top-level.xml", 0, {1, 0, 0, 0, 1, 0}, "1.0.0", nullptr},
    {"empty-attribute-values.xml", 0, {1, 1, 1, 1, 1, 1}, "..", "name is invalid, 271"},
    {"bom-crlf.xml", 0, {0, 0, 1, 1, 1, 1}, "1.0.0", nullptr},
    {"no-whitespace.xml", 0, {1, 0, 0, 0, 0, 0}, "1.0.0",
     "Tuning [speaker] at line 2 dropped: <device_id> at line 2 has no whitespace in front of it, "
     "so the data block cannot be found"},
    {"comment-in-layout.xml", 0, {0, 0, 0, 0, 1, 2}, "1.0.0",
     "Tuning [comment_between_tables] at line 23 dropped: a non-element node at line 28 stands "
     "where the regulator band table belongs"},
    {"entities-in-values.xml", 0, {0, 0, 0, 0, 1, 0}, "1.0.0", nullptr},
    {"entity-references-under-root.xml", 0, {1, 0, 0, 0, 0, 0}, "1.0.0", nullptr},
};
// clang-format on

TEST(RobustnessTest, EveryDataFileReadsToItsExpectedOutcome) {
    std::set<std::string> listed;
    for (const Outcome& expected : kOutcomes) {
        SCOPED_TRACE(expected.file);
        listed.insert(expected.file);
        LogCapture log;
        TuningFileParser parser;
        ASSERT_EQ(expected.result, parser.setTuningFile(data_file(expected.file))) << log.dump();
        if (expected.logLine != nullptr) {
            EXPECT_TRUE(log.containsMessage(expected.logLine)) << log.dump();
        }
        DeviceData* data = parser.getDeviceData();
        if (expected.result != 0) {
            EXPECT_EQ(nullptr, data);
            continue;
        }
        ASSERT_NE(nullptr, data);
        EXPECT_EQ(expected.formatVersion, data->getFormatVersion());
        EXPECT_EQ(expected.counts, testing::counts_of(*data));
        EXPECT_TRUE(testing::params_valid(*data));
    }
    for (const auto& entry : std::filesystem::directory_iterator(data_file(""))) {
        std::string name = entry.path().filename().string();
        EXPECT_EQ(1u, listed.count(name)) << name << " has no expected outcome";
    }
}

// Every file one edit away from a small complete one: each line deleted, and each line
// joined to the one before it (which takes the whitespace the layout relies on). Whatever the
// edit breaks, the read either fails cleanly or keeps only well-formed records.
TEST(RobustnessTest, EveryOneLineEditOfAFileReadsSafely) {
    std::ifstream in(data_file("tuning-missing-elements.xml"));
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
                if (j == i) text.pop_back();
                text +=
                    (j == i ? lines[j].substr(lines[j].find_first_not_of(' ')) : lines[j]) + "\n";
            }
            root.write("/tuning.xml", text);
            TuningFileParser parser;
            int result = parser.setTuningFile(root.hostPath("/tuning.xml"));
            ASSERT_TRUE(result == 0 || result == -EINVAL) << i;
            if (result != 0) continue;
            // A tuning is kept only with both of its band tables.
            for (Tuning* tuning : parser.getDeviceData()->getTunings()) {
                EXPECT_TRUE(tuning->has(audio_optimizer_frequency)) << i;
                EXPECT_TRUE(tuning->has(regulator_frequency)) << i;
            }
            EXPECT_TRUE(testing::params_valid(*parser.getDeviceData())) << i;
        }
    }
}

// The details the counts above do not show.
TEST(RobustnessTest, KeptRecordsCarryWhatTheDamagedFilesStillSay) {
    LogCapture log;
    std::unique_ptr<TuningFileParser> parser;
    auto values = [&](const char* file, const char* tuning) -> const ParameterValues::Values& {
        log.clear();
        parser = std::make_unique<TuningFileParser>(data_file(file));
        static const ParameterValues::Values none;
        Tuning* found =
            parser->getDeviceData() ? find_tuning(*parser->getDeviceData(), tuning) : nullptr;
        EXPECT_NE(nullptr, found) << file;
        return found != nullptr ? found->getValues() : none;
    };
    // An element between the band tables is read as the regulator table.
    const ParameterValues::Values* read =
        &values("extra-element-between-band-tables.xml", "speaker");
    EXPECT_THAT(read->at(audio_optimizer_frequency), ElementsAre(47, 141));
    EXPECT_THAT(read->at(regulator_frequency), IsEmpty());
    EXPECT_EQ(0u, read->count(regulator_enable));
    EXPECT_THAT(read->at(bass_enhancer_boost), ElementsAre(192));
    // Unknown elements are skipped with whatever is nested in them.
    read = &values("unknown-top-level.xml", "top");
    EXPECT_EQ(0u, read->count(surround_boost));
    EXPECT_THAT(read->at(bass_extraction_enable), ElementsAre(1));
    EXPECT_THAT((*parser->getDeviceData()->getIeqPresets().begin())->getValues().at(ieq_frequency),
                ElementsAre(47, 234, 0));
    // Empty attributes read as 0 and as empty text; an empty list text converts like any
    // stored list, one empty piece per value, each 0.
    read = &values("empty-attribute-values.xml", "");
    EXPECT_THAT(read->at(audio_optimizer_frequency), ElementsAre(0));
    EXPECT_THAT(read->at(bass_enhancer_boost), ElementsAre(0));
    EXPECT_THAT(read->at(complex_equalizer_tuning_left), IsEmpty());
    EXPECT_THAT(read->at(output_mix_matrix), IsEmpty());
    EXPECT_THAT(read->at(virtual_bass_mix_freq_high), ElementsAre(0));
    DeviceData& empty = *parser->getDeviceData();
    EXPECT_EQ(ENDPOINT_SPEAKER, (*empty.getTunings().begin())->getEndpoint());
    EXPECT_THAT((*empty.getIeqPresets().begin())->getValues().at(ieq_frequency), ElementsAre(0, 0));
    EXPECT_EQ("", (*empty.getDeviceTunings().begin())->getPort());
    // Entities in values are expanded.
    EXPECT_THAT(values("entities-in-values.xml", "speaker&co").at(virtual_bass_subgains),
                ElementsAre(-32, -144, -192));
    // A missing or foreign include selects the off preset, logged: NoInclude,
    // IncludeWithoutPreset, NotInclude, CommentedInclude; then Complete.
    log.clear();
    parser = std::make_unique<TuningFileParser>(data_file("profile-missing-elements.xml"));
    ASSERT_NE(nullptr, parser->getDeviceData());
    DeviceData& profiles = *parser->getDeviceData();
    for (int id = 2; id <= 6; ++id) {
        ASSERT_NE(nullptr, testing::find_profile(profiles, id)) << id;
        EXPECT_EQ(id == 6 ? PRESET_WARM : PRESET_OFF,
                  testing::find_profile(profiles, id)->getSelectedIeqPreset())
            << id;
    }
    EXPECT_EQ(4u, log.countMessage("name is invalid, 271"));
    EXPECT_THAT(testing::find_profile(profiles, 2)->getValues().at(ieq_amount), ElementsAre(5));
}

}  // namespace
}  // namespace velora
