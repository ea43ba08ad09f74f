/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ContextTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/Tuning.h"
#include "store/Provider.h"
#include "store/SqliteStatement.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using ::testing::_;
using ::testing::Contains;
using testing::LogCapture;
using ::testing::Not;
using ::testing::Ref;
using ::testing::StrictMock;
using ::testing::UnorderedElementsAre;

constexpr const char* kTag = "KsContextManager";

// The test tuning file with another maintenance number, or one more tuning at its end.
std::string context_file_with(const std::string& from, const std::string& to) {
    std::ifstream in(testing::TempRoot::sourceDir() + "/" + testing::kContextTuningFile);
    std::ostringstream text;
    text << in.rdbuf();
    std::string result = text.str();
    size_t at = result.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? result : result.replace(at, from.size(), to);
}
std::string maintenance(const std::string& number) {
    return R"(<format_version major="1" minor="0" maintenance=")" + number + R"("/>)";
}

// One tuning section with its devices, indented as tuning files must be.
std::string tuning_xml(const std::string& name, const std::string& endpoint,
                       const std::vector<std::pair<std::string, std::string>>& devices, int angle) {
    std::string text = "    <tuning name=\"" + name + "\" endpoint_type=\"" + endpoint +
                       "\" mono_device=\"false\" orientation=\"0\" output_channels=\"2\">\n";
    for (const auto& [device, port] : devices) {
        text += "        <device_id id=\"" + device + "\" endpoint_port=\"" + port + "\"/>\n";
    }
    return text + "        <data>\n            <audio-optimizer-bands/>\n" +
           "            <regulator-bands/>\n            <virtualizer-front-speaker-angle value=\"" +
           std::to_string(angle) + "\"/>\n        </data>\n    </tuning>\n";
}
std::string oem_xml(const std::string& number, const std::string& tunings) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<velora_tuning>\n    " +
           maintenance(number) + "\n" + tunings + "</velora_tuning>\n";
}
// One new tuning with a new and a clashing device, a tuning that clashes by name (with a
// device that is new), and a new tuning for a port that has none.
const std::string kStandardOem = oem_xml(
    "0",
    tuning_xml("oem_soundbar", "other", {{"oem_soundbar_hdmi", "hdmi"}, {"tv_box", "hdmi"}}, 21) +
        tuning_xml("headphone", "headphone", {{"oem_phone", "headphone"}}, 22) +
        tuning_xml("oem_buds", "headphone", {{"oem_buds", "bluetooth"}}, 23));

class KsContextManagerTest : public ::testing::Test {
  protected:
    void installDefault(long mtime = 1700000000) {
        mRoot.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
        mRoot.setMtime(SystemPaths::kDefaultTuningFile, mtime);
    }
    void installRomUpdate(long mtime, const std::string& text) {
        mRoot.write(SystemPaths::kRomUpdateTuningFile, text);
        mRoot.setMtime(SystemPaths::kRomUpdateTuningFile, mtime);
    }
    void writeOem(const std::string& text) { mRoot.write(SystemPaths::kOemTuningFile, text); }
    std::string oemPath() const { return mRoot.hostPath(SystemPaths::kOemTuningFile); }

    testing::TempRoot mRoot;
};

TEST_F(KsContextManagerTest, FirstStartFillsTheDatabaseFromTheDefaultFile) {
    installDefault(1700000000);
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "ROMUPDATE XML Tuning file doesn't exist, use default XML"))
        << log.dump();
    EXPECT_TRUE(
        log.contains(kTag, ANDROID_LOG_DEBUG, "getSignature(): XML file time string 1700000000"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "Tuning XML file has been updated"));
    // No OEM file: the rebuild stands all the same.
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "OEM Tuning XML doesn't exist!"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO,
                             "Load OEM tuning XML after default tuning XML is reloaded"));
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getKsContext()->getNumOfProfiles(), 2);
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), "1.0.0");

    // What the rebuild left in the database, seen through a connection of its own.
    Provider store;
    EXPECT_EQ(store.getDefaultXmlSignature(), "1700000000");
    EXPECT_EQ(store.getDefaultXmlFormatVersion(), "1.0.0");
    EXPECT_EQ(store.getSelectedProfile(), 0);
    EXPECT_TRUE(store.isPexOn());
    for (Port port : KsContext::kSupportedPorts) {
        EXPECT_EQ(store.getDeviceTuning(kPortNames[port]),
                  std::string("default_") + kPortNames[port]);
    }
    EXPECT_EQ(store.getDeviceTuning("other"), "");

    // The database that did not exist yet is no fault; one that lost its configuration is
    // damaged, and rebuilt without a failed lookup.
    const std::string kSignatureQuery =
        "failed to prepare sql: SELECT value FROM configuration WHERE key='signature'";
    const auto signatureFailures = [&log, &kSignatureQuery]() {
        size_t count = 0;
        for (const auto& line : log.lines()) count += line.message.rfind(kSignatureQuery, 0) == 0;
        return count;
    };
    EXPECT_EQ(signatureFailures(), 0u) << log.dump();
    store.getDatabaseHelper().execSQL("DROP TABLE configuration");
    KsContextManager damaged;
    EXPECT_EQ(signatureFailures(), 0u);
    EXPECT_NE(log.dump().find("is damaged (table configuration is missing)"), std::string::npos);

    // Released, the manager is an empty shell.
    EXPECT_EQ(manager.release(), 0);
    EXPECT_EQ(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), "");
    EXPECT_EQ(manager.loadOemTuning(), -ENODEV);
    EXPECT_EQ(manager.release(), 0);
}

TEST_F(KsContextManagerTest, UnchangedSignatureParsesNothingAndMergesNothing) {
    installDefault();
    KsContextManager(/*first start*/);
    // An OEM file that appears later is not merged while the default file stays the same.
    writeOem(kStandardOem);
    LogCapture log;
    KsContextManager manager;
    EXPECT_FALSE(log.containsMessage("Tuning XML file has been updated")) << log.dump();
    EXPECT_EQ(log.countMessage("Try to load OEM tuning XML file from " + oemPath()), 0u);
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getKsContext()->getNumOfProfiles(), 2);
    EXPECT_THAT(manager.getKsContext()->getAvailableTuningDevice(PORT_HDMI),
                Not(Contains("oem_soundbar_hdmi")));
}

// What a user chose after one tuning update after another: every choice that still has a
// place in the new file is kept, every other one takes the new default with a warning naming it.
struct UpdateStep {
    const char* what;
    long mtime;
    std::vector<std::pair<std::string, std::string>> edits;  // on the test file
    bool oem;
    // Expected afterwards: ieq-amount of profiles 0 and 1 (-1: profile gone), the headphone
    // volume leveler of profile 1, the first GEQ gain of profile 0, the selected profile,
    // the devices of miracast and bluetooth, and the warning of each dropped choice.
    int ieq0, ieq1, leveler1, gain0, selected;
    const char* miracast;
    const char* bluetooth;
    std::vector<std::string> dropped;
};

TEST_F(KsContextManagerTest, TuningUpdatesKeepEveryUserSettingThatStillHasAPlace) {
    const std::pair<std::string, std::string> kAngle{"value=\"13\"", "value=\"14\""};
    const std::pair<std::string, std::string> kMovieDefault{"<ieq-amount value=\"4\"/>",
                                                            "<ieq-amount value=\"5\"/>"};
    const std::pair<std::string, std::string> kNoCastX{
        "        <device_id id=\"cast_x\" endpoint_port=\"miracast\"/>\n", ""};
    const std::pair<std::string, std::string> kFourBands{
        "gain=\"18\"/>", "gain=\"18\"/>\n        <band_geq frequency=\"20000\" gain=\"19\"/>"};
    const std::string profile1 =
        context_file_with("", "").substr(context_file_with("", "").find("    <profile id=\"1\""));
    const std::pair<std::string, std::string> kNoMovie{
        profile1.substr(0, profile1.find("</profile>\n") + 11), ""};
    const UpdateStep steps[] = {
        {"time only", 1700000100, {}, true, 3, 4, 9, 1, 1, "cast_x", "oem_buds", {}},
        {"content under the same time",
         1700000100,
         {kAngle, kMovieDefault},
         true,
         3,
         5,
         9,
         1,
         1,
         "cast_x",
         "oem_buds",
         {}},
        {"a device removed",
         1700000200,
         {kNoCastX},
         true,
         3,
         4,
         9,
         1,
         1,
         "default_miracast",
         "oem_buds",
         {"configuration miracast=cast_x has no place"}},
        {"a parameter's length changed",
         1700000300,
         {kFourBands},
         true,
         3,
         4,
         9,
         10,
         1,
         "default_miracast",
         "oem_buds",
         {"geq_presets custom row [profile_id=0]: geq_gain=1,2,3,"}},
        {"a profile removed",
         1700000400,
         {kNoMovie},
         true,
         3,
         -1,
         -1,
         10,
         0,
         "default_miracast",
         "oem_buds",
         {"configuration Profile=1 has no place",
          "profile_endpoints custom row [profile_id=1 endpoint=headphone] has no place"}},
        {"the profile back",
         1700000500,
         {},
         true,
         3,
         4,
         6,
         10,
         0,
         "default_miracast",
         "oem_buds",
         {}},
        {"the OEM file removed",
         1700000600,
         {},
         false,
         3,
         4,
         6,
         10,
         0,
         "default_miracast",
         "default_bluetooth",
         {"configuration bluetooth=oem_buds has no place"}},
        {"the OEM file added",
         1700000700,
         {},
         true,
         3,
         4,
         6,
         10,
         0,
         "default_miracast",
         "default_bluetooth",
         {}},
    };

    installDefault(1700000000);
    writeOem(kStandardOem);
    {
        KsContextManager manager;
        KsContext* context = manager.getKsContext();
        ASSERT_NE(context, nullptr);
        context->setProfileParameter(0, ieq_amount, {3});
        context->setProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount, {9});
        context->setProfileGeqParameter(0, geq_gain, {1, 2, 3});
        context->setSelectedProfile(1);
        context->setPexOn(false);
        ASSERT_TRUE(context->setSelectedTuning(PORT_MIRACAST, "cast_x", false));
        ASSERT_TRUE(context->setSelectedTuning(PORT_BLUETOOTH, "oem_buds", false));
        ASSERT_EQ(context->save(), 0);
    }
    for (const UpdateStep& step : steps) {
        SCOPED_TRACE(step.what);
        std::string text = context_file_with("", "");
        for (const auto& [from, to] : step.edits) {
            ASSERT_NE(text.find(from), std::string::npos) << from;
            text.replace(text.find(from), from.size(), to);
        }
        mRoot.write(SystemPaths::kDefaultTuningFile, text);
        mRoot.setMtime(SystemPaths::kDefaultTuningFile, step.mtime);
        if (step.oem) {
            writeOem(kStandardOem);
        } else {
            ::unlink(oemPath().c_str());
        }
        LogCapture log;
        KsContextManager manager;
        KsContext* context = manager.getKsContext();
        ASSERT_NE(context, nullptr);
        EXPECT_TRUE(log.containsMessage("Tuning XML file has been updated")) << log.dump();
        EXPECT_EQ(context->getProfileParameter(0, ieq_amount)[0], step.ieq0);
        if (step.ieq1 >= 0) {
            EXPECT_EQ(context->getProfileParameter(1, ieq_amount)[0], step.ieq1);
            EXPECT_EQ(context->getProfileParameter(1, ENDPOINT_HEADPHONE, volume_leveler_amount)[0],
                      step.leveler1);
        }
        EXPECT_EQ(context->getProfileGeqParameter(0, geq_gain)[0], step.gain0);
        EXPECT_TRUE(context->isSelected(step.selected));
        EXPECT_FALSE(context->getPexOn());
        EXPECT_EQ(context->getSelectedTuningDevice(PORT_MIRACAST), step.miracast);
        EXPECT_EQ(context->getSelectedTuningDevice(PORT_BLUETOOTH), step.bluetooth);
        EXPECT_EQ(context->getSelectedTuningDevice(PORT_INTERNAL_SPEAKER),
                  "default_internal_speaker");
        size_t warnings = 0;
        for (const auto& line : log.lines()) {
            warnings += line.priority == ANDROID_LOG_WARN &&
                        line.message.find("dropped") != std::string::npos;
        }
        EXPECT_EQ(warnings, step.dropped.size()) << log.dump();
        for (const std::string& dropped : step.dropped) {
            EXPECT_NE(log.dump().find(dropped), std::string::npos) << dropped << log.dump();
        }
        EXPECT_EQ(context->save(), 0);
        Provider store;
        SqliteStatement check;
        ASSERT_EQ(
            check.prepare(store.getDatabaseHelper().getConnection(), "PRAGMA integrity_check"),
            SQLITE_OK);
        ASSERT_EQ(check.step(), SQLITE_ROW);
        EXPECT_EQ(check.columnText(0), "ok");
    }

    // A file the parser refuses keeps the database as it was, signature included: it is tried
    // again at the next start.
    mRoot.write(SystemPaths::kDefaultTuningFile, "<velora_tuning><profile");
    mRoot.setMtime(SystemPaths::kDefaultTuningFile, 1700000900);
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "XML parses error!!")) << log.dump();
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getKsContext()->getProfileParameter(0, ieq_amount)[0], 3);
    EXPECT_EQ(Provider().getDefaultXmlSignature(), "1700000700");
}

struct FileChoiceCase {
    long defaultTime;
    long romUpdateTime;
    bool romUpdateUsed;
    const char* decision;
};

class KsContextManagerFileChoiceTest : public KsContextManagerTest,
                                       public ::testing::WithParamInterface<FileChoiceCase> {};

TEST_P(KsContextManagerFileChoiceTest, RomUpdateCopyIsUsedUnlessTheDefaultIsStrictlyNewer) {
    const FileChoiceCase& choice = GetParam();
    installDefault(choice.defaultTime);
    installRomUpdate(choice.romUpdateTime, context_file_with(maintenance("0"), maintenance("7")));
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "default XML time:" + std::to_string(choice.defaultTime) +
                                 ", romupdate XML:" + std::to_string(choice.romUpdateTime)))
        << log.dump();
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, choice.decision));
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), choice.romUpdateUsed ? "1.0.7" : "1.0.0");
    EXPECT_NE(manager.getKsContext(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Times, KsContextManagerFileChoiceTest,
                         ::testing::Values(FileChoiceCase{1000, 1000, true, "use ROMUPDATE XML"},
                                           FileChoiceCase{1000, 2000, true, "use ROMUPDATE XML"},
                                           FileChoiceCase{
                                               2000, 1000, false,
                                               "ROMUPDATE XML Tuning file exist, but is old, use "
                                               "default XML"},
                                           // A time below 1 tells nothing about age.
                                           FileChoiceCase{2000, 0, true, "use ROMUPDATE XML"}));

TEST_F(KsContextManagerTest, WithoutAUsableFileThereIsNoState) {
    auto expectNoState = [&](const std::string& reason) {
        LogCapture log;
        KsContextManager manager;
        EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, reason)) << log.dump();
        EXPECT_FALSE(log.containsMessage("use ROMUPDATE XML"));
        EXPECT_EQ(manager.getKsContext(), nullptr);
        EXPECT_EQ(manager.getDefaultXmlFormatVersion(), "");
    };
    expectNoState("XML Tuning file doesn't exist!!");
    // The copy is only compared with the default file; without the default the choice falls
    // on the default path, silently, and start-up finds nothing there.
    installRomUpdate(1000, context_file_with(maintenance("0"), maintenance("7")));
    expectNoState("XML Tuning file doesn't exist!!");
    ASSERT_EQ(::unlink(mRoot.hostPath(SystemPaths::kRomUpdateTuningFile).c_str()), 0);
    mRoot.write(SystemPaths::kDefaultTuningFile, "not xml at all");
    expectNoState("XML parses error!!");
}

TEST_F(KsContextManagerTest, OemMergeAddsNewRowsAndDropsClashesWithTheDefaultFile) {
    // A preset name that names no preset: reading the default file logs a line for it.
    mRoot.write(SystemPaths::kDefaultTuningFile,
                context_file_with(R"(<include preset="ieq_warm"/>)", R"(<include preset="x"/>)"));
    writeOem(kStandardOem);
    LogCapture log;
    KsContextManager manager;
    // The merge's reading of the default file says again what the rebuild's reading said,
    // after the OEM file is read and before the merge.
    std::vector<std::string> readings[2];
    int reading = 0;
    for (const testing::LogLine& line : log.lines()) {
        if (line.message.rfind("OEM tuning XML file completed deviceData = ", 0) == 0) reading = 1;
        if (line.message.rfind("Num of parsed OEM tuning = ", 0) == 0) reading = 2;
        if (line.tag == "TuningFileParser" && reading < 2)
            readings[reading].push_back(line.message);
    }
    EXPECT_EQ(readings[0], std::vector<std::string>{"name is invalid, 271"}) << log.dump();
    EXPECT_EQ(readings[1], readings[0]) << log.dump();
    const std::pair<int, std::string> lines[] = {
        {ANDROID_LOG_DEBUG, "Try to load OEM tuning XML file from " + oemPath()},
        {ANDROID_LOG_DEBUG, "Num of parsed OEM tuning = 3"},
        {ANDROID_LOG_DEBUG, "Num of parsed OEM device tuning = 4"},
        {ANDROID_LOG_INFO, "Add OEM Tuning oem_soundbar"},
        {ANDROID_LOG_INFO, "Add OEM Tuning oem_buds"},
        {ANDROID_LOG_ERROR,
         "Found OEM tuning [headphone] already exists in the default tuning XML, drop it."},
        // Its device is new, but it points at the dropped tuning.
        {ANDROID_LOG_ERROR,
         "Drop OEM Device Tuning with tuning.name [headphone] (duplicate in default xml)"},
        // Its tuning is new, but the device name is taken.
        {ANDROID_LOG_ERROR,
         "Found OEM device ID [tv_box] already exists in the default tuning XML, drop it."},
        {ANDROID_LOG_INFO,
         "Add OEM Device Tuning Port[hdmi] : Device[oem_soundbar_hdmi] "
         "with tuning.name [oem_soundbar]"},
        {ANDROID_LOG_INFO, "Tell database to reload cached device tuning mappings."}};
    for (const auto& [priority, text] : lines) {
        EXPECT_TRUE(log.contains(kTag, priority, text)) << text << "\n" << log.dump();
    }
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HDMI),
                UnorderedElementsAre("tv_box", "default_hdmi", "hdmi", "oem_soundbar_hdmi"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HEADPHONE),
                UnorderedElementsAre("default_headphone"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_BLUETOOTH),
                UnorderedElementsAre("oem_buds"));
    // The shipped tuning wins over the OEM one of the same name.
    EXPECT_EQ(
        context->getSelectedTuningParameter(PORT_HEADPHONE, virtualizer_front_speaker_angle)[0],
        12);
    ASSERT_TRUE(context->setSelectedTuning(PORT_HDMI, "oem_soundbar_hdmi", /*forced=*/false));
    EXPECT_EQ(context->getSelectedTuning(PORT_HDMI)->getName(), "oem_soundbar");
    EXPECT_EQ(context->getSelectedTuningParameter(PORT_HDMI, virtualizer_front_speaker_angle)[0],
              21);
}

TEST_F(KsContextManagerTest, OemReloadReplacesTheRowsOnlyWhenTheFileIsUsable) {
    installDefault();
    writeOem(kStandardOem);
    KsContextManager manager;
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    ASSERT_TRUE(context->setSelectedTuning(PORT_HDMI, "oem_soundbar_hdmi", /*forced=*/false));
    StrictMock<testing::MockContextObserver> observer;  // failures announce nothing
    EXPECT_CALL(observer, onLoad(Ref(*context)));
    context->registerObserver(&observer);
    const std::vector<std::string> before = context->getAvailableTuningDevice(PORT_HDMI);
    const std::string next =
        oem_xml("0", tuning_xml("oem_tv", "other", {{"oem_tv_hdmi", "hdmi"}}, 31));

    LogCapture log;
    // Another format version: the rows would not mean the same.
    writeOem(oem_xml("1", tuning_xml("oem_tv", "other", {{"oem_tv_hdmi", "hdmi"}}, 31)));
    EXPECT_EQ(manager.loadOemTuning(), -EINVAL);
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR,
                             "OEM tuning format V=1.0.1 is not consistent with current V=1.0.0, "
                             "abort loading OEM tuning XML."))
        << log.dump();
    writeOem("<velora_tuning>");
    EXPECT_EQ(manager.loadOemTuning(), -EINVAL);
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "OEM Tuning XML parses error!"));
    ASSERT_EQ(::unlink(oemPath().c_str()), 0);
    EXPECT_EQ(manager.loadOemTuning(), -ENOENT);
    EXPECT_EQ(log.countMessage("Tell database to reload cached device tuning mappings."), 0u);
    EXPECT_EQ(context->getAvailableTuningDevice(PORT_HDMI), before);

    // A usable file replaces the earlier rows; every port with a tuning is announced again.
    EXPECT_CALL(observer, onSelectedTuningChanged(Ref(*context), _, _)).Times(5);
    writeOem(next);
    EXPECT_EQ(manager.loadOemTuning(), 0);
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_WARN,
                             "Current selected tuning dev[oem_soundbar_hdmi] is not available for "
                             "port[hdmi], revert to use dev[default_hdmi]."));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HDMI),
                UnorderedElementsAre("tv_box", "default_hdmi", "hdmi", "oem_tv_hdmi"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_BLUETOOTH), ::testing::IsEmpty());
    EXPECT_EQ(context->getSelectedTuningDevice(PORT_HDMI), "default_hdmi");
    context->unregisterObserver(&observer);
}

TEST_F(KsContextManagerTest, OemDuplicatesAreCheckedAgainstTheShippedFileEvenWithTheCopy) {
    installDefault(1000);
    // The copy carries one tuning more than the shipped file.
    installRomUpdate(
        1000, context_file_with("</velora_tuning>",
                                tuning_xml("rom_only", "headphone", {{"rom_dev", "usb"}}, 41) +
                                    "</velora_tuning>"));
    writeOem(oem_xml("0", tuning_xml("rom_only", "headphone", {{"oem_rom", "usb"}}, 42)));
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "use ROMUPDATE XML")) << log.dump();
    // Not a duplicate of the shipped file, so it is added beside the copy's own.
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO, "Add OEM Tuning rom_only"));
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_THAT(manager.getKsContext()->getAvailableTuningDevice(PORT_USB),
                UnorderedElementsAre("usb_dock", "rom_dev", "oem_rom"));
}

}  // namespace
}  // namespace velora
