/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <regex>
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

    // Every command line's exit status and the first line it prints (standard output, or
    // standard error when that is empty).
    struct Line {
        std::vector<std::string> args;
        int status;
        std::string first;
    };
    const std::vector<Line> lines = {
        {{}, 2, "velora-inspect: A subcommand is required (see 'velora-inspect --help')"},
        {{"bogus"}, 2, "velora-inspect: no command 'bogus' (see 'velora-inspect --help')"},
        {{"--version"}, 0, "velora-inspect (Velora) 1.0.0"},
        {{"help", "lint"}, 0, "Reads FILE with the service's own reader and prints, as"},
        {{"tuning"}, 2, "velora-inspect tuning: FILE is required (see 'velora-inspect tuning"},
        {{"tuning", "--frobnicate", "x.xml"}, 2, "velora-inspect tuning: The following argument"},
        {{"tuning", "a", "b"}, 2, "velora-inspect tuning: The following argument was not expected"},
        {{"db", "--help"}, 0, "Prints every table of a settings database as the service"},
        {{"db", mRoot.hostPath("/absent.db")},
         1,
         "velora-inspect db: " + mRoot.hostPath("/absent.db") + ": No such file"},
        {{"lint", "--oem"}, 2, "velora-inspect lint: --oem: 1 required FILE missing"},
        {{"plot", mExample}, 2, "velora-inspect plot: --output is required"},
        {{"plot", "-o", "x.svg"}, 2, "velora-inspect plot: give FILE or --root DIR"},
        {{"effect", "--root", mRoot.path()}, 1, "velora-inspect: nothing published yet"},
    };
    for (const Line& line : lines) {
        Outcome run = inspect(line.args);
        const std::string& text = run.out.empty() ? run.err : run.out;
        EXPECT_EQ(line.status, run.status) << text;
        EXPECT_THAT(text.substr(0, text.find('\n')), StartsWith(line.first)) << text;
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
    const std::string versions = "  <format_version major=\"1\" minor=\"0\" maintenance=\"0\"/>\n";
    std::string colours;
    for (int i = 0; i < 9; ++i) colours += "  <colour/>\n";
    const std::vector<Case> cases = {
        {profile + enable + close, "0: error: no <format_version>: the service stores an empty", 1},
        {"<device_data/>\n", "0: error: no profile: the service cannot start from this file", 1},
        {"<t>\n  <profile id=\"0\" name=\"P\"/>\n</t>\n",
         "0: error: no tuning: no port has a tuning to select", 1},
        {"<t>\n" + versions + versions + versions +
             "  <format_version major=\"1\" minor=\"0\" maintenance=\"3\"/>\n</t>\n",
         "5: warning: <format_version> is given 4 times (lines 2, 3, 4, 5); the last one is read: "
         "'1.0.3'",
         1},
        {"<t>\n" + std::string(10, ' ') + "\n" + colours + "</t>\n",
         "6: warning: 6 more like the warning above (lines 6, 7, 8, 9, 10, 11)", 1},
        {"<t>\n  <tuning name=\"t\">\n    <device_id id=\"d\" endpoint_port=\"usb\"/>\n  "
         "</tuning>\n</t>\n",
         "2: error: tuning 't' has no data block; dropped", 1},
        {"<t>\n  <tuning name=\"t\">\n    <device_id id=\"d\" endpoint_port=\"usb\"/>\n  "
         "</tuning>\n</t>\n",
         "3: warning: device 'd' names tuning 't', which this file does not provide", 1},
        {"<t>\n  <profile id=\"0\" name=\"P\"/>\n</t>\n",
         "2: error: profile 0 [P] dropped: no data block", 1},
        {"<t>\n  <colour/>\n</t>\n", "2: warning: <colour> is not read in the document; ignored",
         1},
        {profile + enable + "      <ieq-amount value=\"12abc\"/>\n" + close,
         "5: warning: <ieq-amount>: '12abc' read as 12; the text after the number is ignored", 1},
        {profile + enable + "      <ieq-amount value=\"99999999999\"/>\n" + close,
         "5: warning: <ieq-amount>: '99999999999' is beyond the 32-bit range; read as 2147483647",
         1},
        {profile + enable + "    </data>\n    <include preset=\"ieq_loud\"/>\n  </profile>\n</t>\n",
         "6: warning: preset name 'ieq_loud' names no IEQ preset type; the profile starts with "
         "the IEQ preset off",
         1},
        {profile + close,
         "2: warning: profile 0 [P] has no <ieq-enable>: it starts with the IEQ "
         "preset off",
         1},
        {profile + enable +
             "    </data>\n    <includes preset=\"ieq_warm\"/>\n  </profile>\n</t>\n",
         "6: warning: <includes> stands where <include> belongs", 1},
        {profile + enable + close.substr(0, close.size() - 5) + profile.substr(4) + enable + close,
         "8: warning: profile id 0 is also given at line 2", 1},
        // A value of another record kind is dropped, and each such element is named.
        {profile + enable + "      <bass-enhancer-enable value=\"1\"/>\n" + close,
         "5: warning: <bass-enhancer-enable> holds a profile endpoint parameter, which a "
         "profile does not hold; dropped",
         1},
        {"<t>\n  <preset id=\"x\" type=\"peq\"/>\n</t>\n",
         "2: error: preset 'x' has type 'peq', neither ieq nor geq; dropped", 1},
        {"<t>\n  <profile>\n</t>\n", "4: error: not readable as XML", 1},
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
    Outcome strict = inspect({"lint", "--strict", mRoot.path() + "/case8.xml"});
    EXPECT_EQ(1, strict.status);
    Outcome json = inspect({"lint", "--json", mRoot.path() + "/case8.xml"});
    EXPECT_THAT(json.out, HasSubstr("{\"file\":\"" + mRoot.path() +
                                    "/case8.xml\",\"line\":2,"
                                    "\"severity\":\"warning\""));

    Outcome missing = inspect({"lint", mRoot.path() + "/absent.xml"});
    EXPECT_EQ(1, missing.status);
    EXPECT_EQ(mRoot.path() + "/absent.xml:0: error: cannot open: No such file or directory\n",
              missing.out);

    // The shipped pair is clean.
    Outcome shipped =
        inspect({"lint", mExample, "--oem", testing::source_file("examples/kiv-extra.xml")});
    EXPECT_EQ(0, shipped.status);
    EXPECT_EQ("", shipped.out);
    // The default file as its own OEM file: every tuning and device clashes.
    Outcome clash = inspect({"lint", mExample, "--oem", mExample});
    EXPECT_EQ(1, clash.status);
    EXPECT_THAT(clash.out, HasSubstr(": error: OEM tuning 'headphone' exists in the default "
                                     "file; dropped"));
}

// What a plot drew, read back from the SVG: per panel the plot area, the level ticks, the
// note, and every series' points.
struct DrawnPanel {
    double left = 0, top = 0, width = 0, height = 0;
    std::vector<std::pair<double, double>> levelTicks;  // (dB, y)
    std::map<std::string, std::vector<std::pair<double, double>>> series;
    std::string note;

    double hzAt(double x) const { return 20.0 * std::pow(1000.0, (x - left) / width); }
    double dbAt(double y) const {
        const auto& [db0, y0] = levelTicks.front();
        const auto& [db1, y1] = levelTicks.back();
        return db0 + (y - y0) * (db1 - db0) / (y1 - y0);
    }
};

std::vector<DrawnPanel> read_plot(const std::string& svg) {
    std::vector<DrawnPanel> panels;
    const std::regex element(
        "<rect class=\"plot\" x=\"([-0-9.]+)\" y=\"([-0-9.]+)\" width=\"([0-9.]+)\" "
        "height=\"([0-9.]+)\"|<text class=\"ytick\" x=\"[-0-9.]+\" y=\"([-0-9.]+)\"[^>]*>([^<]*)<|"
        "<polyline class=\"series\" data-name=\"([^\"]*)\"[^>]*points=\"([^\"]*)\"|"
        "<text class=\"note\"[^>]*>([^<]*)<");
    for (auto it = std::sregex_iterator(svg.begin(), svg.end(), element);
         it != std::sregex_iterator(); ++it) {
        const std::smatch& m = *it;
        if (m[1].matched) {
            DrawnPanel panel;
            panel.left = std::stod(m[1]);
            panel.top = std::stod(m[2]);
            panel.width = std::stod(m[3]);
            panel.height = std::stod(m[4]);
            panels.push_back(panel);
        } else if (m[5].matched) {
            panels.back().levelTicks.emplace_back(std::stod(m[6]), std::stod(m[5]) - 4);
        } else if (m[7].matched) {
            std::istringstream points(m[8].str());
            double x = 0, y = 0;
            char comma = 0;
            auto& drawn = panels.back().series[m[7]];
            while (points >> x >> comma >> y) drawn.emplace_back(x, y);
        } else {
            panels.back().note = m[9];
        }
    }
    return panels;
}

// Each rule of the plot checked on what it drew: every point where its record puts it (read
// back through the drawn axes), the stored list's end element no point, level ticks at round
// steps, points beyond the axes at the edge with a note, one panel per record.
TEST_F(InspectTuningTest, PlotDrawsEveryRecordWhereItsNumbersSay) {
    const std::string svg = mRoot.path() + "/curves.svg";
    Outcome run = inspect({"plot", mExample, "-o", svg});
    ASSERT_EQ(0, run.status) << run.err;
    const std::vector<DrawnPanel> panels = read_plot(testing::read_file(svg));
    TuningFileParser parser(mExample);
    DeviceData& data = *parser.getDeviceData();
    ASSERT_EQ(data.getIeqPresets().size() + data.getGeqPresets().size() + data.getTunings().size(),
              panels.size());
    for (const DrawnPanel& panel : panels) {
        ASSERT_GE(panel.levelTicks.size(), 3u);
        const double step = panel.levelTicks[1].first - panel.levelTicks[0].first;
        const double power = std::pow(10.0, std::floor(std::log10(step)));
        const double mantissa = step / power;
        EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 ||
                    std::fabs(mantissa - 5) < 1e-9)
            << step;
        for (size_t i = 0; i < panel.levelTicks.size(); ++i) {
            EXPECT_NEAR(std::round(panel.levelTicks[i].first / step) * step,
                        panel.levelTicks[i].first, 1e-9);
        }
    }
    // The first IEQ preset (by type) in full: each band where it is, and no more points.
    const IeqPreset* first = *std::min_element(
        data.getIeqPresets().begin(), data.getIeqPresets().end(),
        [](const IeqPreset* a, const IeqPreset* b) { return a->getType() < b->getType(); });
    const std::vector<int>& hz = first->getValues().at(ieq_frequency);
    const std::vector<int>& target = first->getValues().at(ieq_target);
    const auto& points = panels[0].series.at("target");
    ASSERT_EQ(0, hz.back()) << "the stored list ends with its end element";
    ASSERT_EQ(hz.size() - 1, points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        EXPECT_NEAR(hz[i], panels[0].hzAt(points[i].first), hz[i] * 0.01) << i;
        EXPECT_NEAR(target[i] / 16.0, panels[0].dbAt(points[i].second), 0.1) << i;
    }
    Outcome render = testing::run_tool(
        {"/usr/bin/rsvg-convert", "-o", mRoot.path() + "/curves.png", svg}, mRoot.path());
    EXPECT_EQ(0, render.status) << render.err;

    // Beyond the axes: at the edge, and said.
    mRoot.write("/wild.xml",
                "<t>\n  <preset id=\"ieq_warm\" type=\"ieq\">\n"
                "    <band_ieq frequency=\"10\" target=\"-16\"/>\n"
                "    <band_ieq frequency=\"1000\" target=\"16\"/>\n"
                "    <band_ieq frequency=\"40000\" target=\"99999\"/>\n  </preset>\n</t>\n");
    ASSERT_EQ(0, inspect({"plot", mRoot.path() + "/wild.xml", "-o", svg}).status);
    const std::vector<DrawnPanel> wild = read_plot(testing::read_file(svg));
    ASSERT_EQ(1u, wild.size());
    const auto& edge = wild[0].series.at("target");
    ASSERT_EQ(3u, edge.size());
    EXPECT_NEAR(wild[0].left, edge[0].first, 0.1);
    EXPECT_NEAR(wild[0].left + wild[0].width, edge[2].first, 0.1);
    EXPECT_NEAR(wild[0].top, edge[2].second, 0.1);
    EXPECT_NEAR(1.0, wild[0].dbAt(edge[1].second), 0.1);
    EXPECT_THAT(wild[0].note, HasSubstr("2 points outside 20 Hz to 20 kHz drawn at the edge"));
    EXPECT_THAT(wild[0].note, HasSubstr("1 level beyond -100 to 100 dB drawn at the edge"));

    Outcome one = inspect({"plot", mExample, "-o", "-", "--tuning", "headphone", "--profile", "9"});
    EXPECT_EQ(0, one.status) << one.err;
    EXPECT_EQ(1u, read_plot(one.out).size());
    EXPECT_EQ(1,
              inspect({"plot", mExample, "-o", svg, "--tuning", "none", "--profile", "9"}).status);
}

}  // namespace
}  // namespace velora
