/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "TuningTestSupport.h"
#include "testutil/TempRoot.h"
#include "testutil/ToolProcess.h"
#include "tuning/TuningFileParser.h"

// Runs the velora-inspect program itself, as a tuning engineer would.

namespace velora {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Outcome = testing::ToolResult;

class InspectTuningTest : public ::testing::Test {
  protected:
    Outcome inspect(std::vector<std::string> args) {
        args.insert(args.begin(), VELORA_INSPECT_PATH);
        return testing::run_tool(args, mRoot.path());
    }

    testing::TempRoot mRoot;
    const std::string mExample = testing::source_file("examples/multimedia_velora_kiv_default.xml");
};

TEST_F(InspectTuningTest, PrintsEveryRecordInItsStorageFormSortedByKindThenKey) {
    Outcome run = inspect({"tuning", mExample});
    ASSERT_EQ(0, run.status) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(run.out,
                StartsWith("file=" + mExample + "\nformat_version=1.0.0\ntool_version=2.4.17\n"));
    EXPECT_THAT(run.out, HasSubstr("\nsummary: 3 ieq presets, 4 geq presets, 4 profiles, "
                                   "12 profile endpoints, 4 tunings, 9 device tunings\n"));
    // Every record the library reads appears whole, right under its heading.
    TuningFileParser parser(mExample);
    DeviceData& data = *parser.getDeviceData();
    std::vector<std::string> texts;
    auto add = [&texts](const auto& records, const char* end) {
        for (const auto* record : records) texts.push_back(record->toString() + end);
    };
    add(data.getIeqPresets(), "");
    add(data.getGeqPresets(), "");
    add(data.getProfiles(), "");
    add(data.getProfileEndpoints(), "");
    add(data.getTunings(), "");
    add(data.getDeviceTunings(), "\n");
    for (const std::string& text : texts) EXPECT_THAT(run.out, HasSubstr("]\n" + text));
    std::vector<std::string> headings;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] == '[') headings.push_back(line);
    }
    ASSERT_EQ(texts.size(), headings.size());
    EXPECT_EQ("[ieq_preset type=detailed]", headings[0]);
    EXPECT_EQ("[geq_preset profileId=0]", headings[3]);
    EXPECT_EQ("[profile profileId=3 name=Custom]", headings[10]);
    EXPECT_EQ("[profile_endpoint profileId=0 endpoint=headphone]", headings[12]);
    EXPECT_EQ("[tuning name=headphone]", headings[23]);
    EXPECT_EQ("[device_tuning device=default_bluetooth port=bluetooth]", headings[27]);
    EXPECT_EQ("[device_tuning device=usb_c_earphones port=usb]", headings.back());

    // --validated shows the presets the database would keep.
    const std::string custom =
        "[profile profileId=3 name=Custom]\nid=-1\nprofileId=3\n"
        "name=Custom\nselectedIeqPreset=";
    EXPECT_THAT(run.out, HasSubstr(custom + "balanced\n"));
    EXPECT_THAT(inspect({"tuning", "--validated", mExample}).out, HasSubstr(custom + "off\n"));
}

TEST_F(InspectTuningTest, UnreadableFilesAndUsageErrorsFailWithTheReasonOnStandardError) {
    Outcome missing = inspect({"tuning", mRoot.hostPath("/absent.xml")});
    EXPECT_EQ(1, missing.status);
    EXPECT_THAT(missing.out, IsEmpty());
    EXPECT_THAT(missing.err,
                HasSubstr(mRoot.hostPath("/absent.xml") + ": No such file or directory"));
    std::string malformed = testing::source_file("tests/data/tuning/malformed.xml");
    Outcome broken = inspect({"tuning", malformed});
    EXPECT_EQ(1, broken.status);
    EXPECT_THAT(broken.out, IsEmpty());
    EXPECT_THAT(broken.err, HasSubstr("fail to call xmlReadFile,  128"));
    EXPECT_THAT(broken.err, HasSubstr("Opening and ending tag mismatch"));
    EXPECT_THAT(broken.err, HasSubstr(malformed + " is not a readable tuning file (error -22)"));
    // A file that reads with sections dropped is a success; the log says what went.
    Outcome partial =
        inspect({"tuning", testing::source_file("tests/data/tuning/no-whitespace.xml")});
    EXPECT_EQ(0, partial.status);
    EXPECT_THAT(partial.err, HasSubstr("Tuning [speaker] at line 2 dropped"));

    EXPECT_EQ(0, inspect({"tuning", "--help"}).status);
    const std::vector<std::string> usageErrors[] = {
        {}, {"bogus"}, {"tuning"}, {"tuning", "--frobnicate", "x.xml"}, {"tuning", "a", "b"}};
    for (const auto& args : usageErrors) {
        Outcome run = inspect(args);
        EXPECT_EQ(2, run.status) << args.size();
        EXPECT_THAT(run.out, IsEmpty()) << args.size();
        EXPECT_THAT(run.err, HasSubstr("usage: velora-inspect")) << args.size();
    }
}

// Each small file with the finding the service's reader reports for it, at its line.
TEST_F(InspectTuningTest, LintReportsWhatTheReaderDoesWithItsLine) {
    const std::string profile = "<t>\n  <profile id=\"0\" name=\"P\">\n    <data>\n";
    const std::string close =
        "    </data>\n    <include preset=\"ieq_warm\"/>\n  </profile>\n</t>\n";
    const std::string enable = "      <ieq-enable value=\"true\"/>\n";
    struct Case {
        std::string text;
        std::string finding;  // after "FILE:"
        int status;
    };
    const std::vector<Case> cases = {
        {profile + enable + close, "", 0},
        {"<t>\n  <tuning name=\"t\">\n    <device_id id=\"d\" endpoint_port=\"usb\"/>\n  "
         "</tuning>\n</t>\n",
         "2: error: tuning 't' has no data block; dropped", 2},
        {"<t>\n  <tuning name=\"t\">\n    <device_id id=\"d\" endpoint_port=\"usb\"/>\n  "
         "</tuning>\n</t>\n",
         "3: warning: device 'd' names tuning 't', which this file does not provide", 2},
        {"<t>\n  <profile id=\"0\" name=\"P\"/>\n</t>\n",
         "2: error: profile 0 [P] dropped: no data block", 2},
        {"<t>\n  <colour/>\n</t>\n", "2: warning: <colour> is not read in the document; ignored",
         0},
        {profile + enable + "      <ieq-amount value=\"12abc\"/>\n" + close,
         "5: warning: <ieq-amount>: '12abc' read as 12; the text after the number is ignored", 0},
        {profile + enable + "      <ieq-amount value=\"99999999999\"/>\n" + close,
         "5: warning: <ieq-amount>: '99999999999' is beyond the 32-bit range; read as 2147483647",
         0},
        {profile + enable + "    </data>\n    <include preset=\"ieq_loud\"/>\n  </profile>\n</t>\n",
         "6: warning: preset name 'ieq_loud' names no IEQ preset type; the profile starts with "
         "the IEQ preset off",
         0},
        {profile + close,
         "2: warning: profile 0 [P] has no <ieq-enable>: it starts with the IEQ "
         "preset off",
         0},
        {profile + enable +
             "    </data>\n    <includes preset=\"ieq_warm\"/>\n  </profile>\n</t>\n",
         "6: warning: <includes> stands where <include> belongs", 0},
        {profile + enable + close.substr(0, close.size() - 5) + profile.substr(4) + enable + close,
         "8: warning: profile id 0 is also given at line 2", 0},
        // A value of another record kind is dropped, and each such element is named.
        {profile + enable + "      <bass-enhancer-enable value=\"1\"/>\n" + close,
         "5: warning: <bass-enhancer-enable> holds a profile endpoint parameter, which a "
         "profile does not hold; dropped",
         0},
        {"<t>\n  <preset id=\"x\" type=\"peq\"/>\n</t>\n",
         "2: error: preset 'x' has type 'peq', neither ieq nor geq; dropped", 2},
        {"<t>\n  <profile>\n</t>\n", "4: error: not readable as XML", 2},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        const std::string file = "/case" + std::to_string(i) + ".xml";
        mRoot.write(file, cases[i].text);
        Outcome run = inspect({"lint", mRoot.path() + file});
        EXPECT_EQ(cases[i].status, run.status) << i << "\n" << run.out;
        if (cases[i].finding.empty()) {
            EXPECT_THAT(run.out, IsEmpty()) << i;
        } else {
            EXPECT_THAT(run.out, HasSubstr(mRoot.path() + file + ":" + cases[i].finding))
                << i << "\n"
                << run.out;
        }
    }
    Outcome strict = inspect({"lint", "--strict", mRoot.path() + "/case4.xml"});
    EXPECT_EQ(1, strict.status);
    Outcome json = inspect({"lint", "--json", mRoot.path() + "/case4.xml"});
    EXPECT_THAT(json.out, HasSubstr("{\"file\":\"" + mRoot.path() +
                                    "/case4.xml\",\"line\":2,"
                                    "\"severity\":\"warning\""));

    // The shipped pair: the OEM file's clashes with the defaults are dropped by the merge.
    Outcome shipped =
        inspect({"lint", mExample, "--oem", testing::source_file("examples/kiv-extra.xml")});
    EXPECT_THAT(shipped.out, Not(HasSubstr(mExample + ":"))) << shipped.out;
    EXPECT_THAT(shipped.out, HasSubstr("exists in the default file; dropped")) << shipped.out;
}

TEST_F(InspectTuningTest, PlotDrawsEveryRecordsNumbersAndRenders) {
    const std::string svg = mRoot.path() + "/curves.svg";
    Outcome run = inspect({"plot", mExample, "-o", svg});
    ASSERT_EQ(0, run.status) << run.err;
    const std::string picture = testing::read_file(svg);
    TuningFileParser parser(mExample);
    for (const Tuning* tuning : parser.getDeviceData()->getTunings()) {
        EXPECT_THAT(picture, HasSubstr("Tuning '" + tuning->getName() + "': regulator thresholds"));
        const auto& values = tuning->getValues();
        const int band = values.at(audio_optimizer_frequency).back();
        const int gain = values.at(audio_optimizer_gain_r).back();
        EXPECT_THAT(picture, HasSubstr("right " + std::to_string(band) +
                                       " Hz: " + std::to_string(gain) + " ("));
    }
    for (const IeqPreset* preset : parser.getDeviceData()->getIeqPresets()) {
        EXPECT_THAT(picture, HasSubstr("IEQ preset " + preset_type_name(preset->getType())));
    }
    Outcome render = testing::run_tool(
        {"/usr/bin/rsvg-convert", "-o", mRoot.path() + "/curves.png", svg}, mRoot.path());
    EXPECT_EQ(0, render.status) << render.err;

    Outcome one = inspect({"plot", mExample, "-o", svg, "--tuning", "headphone", "--profile", "9"});
    EXPECT_EQ(0, one.status) << one.err;
    EXPECT_THAT(testing::read_file(svg), Not(HasSubstr("GEQ preset")));
    EXPECT_EQ(1,
              inspect({"plot", mExample, "-o", svg, "--tuning", "none", "--profile", "9"}).status);
}

}  // namespace
}  // namespace velora
