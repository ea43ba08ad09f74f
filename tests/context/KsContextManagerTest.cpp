/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "context/KsContextManager.h"

#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ContextTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "model/Tuning.h"
#include "store/Provider.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using ::testing::Contains;
using ::testing::InSequence;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Ref;
using ::testing::StrictMock;
using ::testing::UnorderedElementsAre;
using testing::LogCapture;
using testing::MockContextObserver;
using testing::read_source_file;
using testing::replace_once;

constexpr const char* kTag = "KsContextManager";
constexpr const char* kFormatVersion100 = R"(<format_version major="1" minor="0" maintenance="0"/>)";

MATCHER_P(IsTuning, name, "") {
    return arg.getName() == name;
}

// One tuning section with its devices, indented as tuning files must be.
std::string tuning_xml(const std::string& name, const std::string& endpoint,
                       const std::vector<std::pair<std::string, std::string>>& devices,
                       int angle) {
    std::string text = "    <tuning name=\"" + name + "\" endpoint_type=\"" + endpoint +
                       "\" mono_device=\"false\" orientation=\"0\" output_channels=\"2\">\n";
    for (const auto& [device, port] : devices) {
        text += "        <device_id id=\"" + device + "\" endpoint_port=\"" + port + "\"/>\n";
    }
    text += "        <data>\n"
            "            <audio-optimizer-bands>\n"
            "                <band frequency=\"100\" gain_left=\"0\" gain_right=\"0\" "
            "gain_left_surround=\"0\" gain_right_surround=\"0\"/>\n"
            "            </audio-optimizer-bands>\n"
            "            <regulator-bands>\n"
            "                <band frequency=\"100\" threshold_low=\"-1\" threshold_high=\"1\" "
            "isolated_band=\"false\"/>\n"
            "            </regulator-bands>\n"
            "            <virtualizer-front-speaker-angle value=\"" +
            std::to_string(angle) +
            "\"/>\n"
            "        </data>\n"
            "    </tuning>\n";
    return text;
}

std::string oem_xml(const std::string& maintenance, const std::string& tunings) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<velora_tuning>\n"
           "    <format_version major=\"1\" minor=\"0\" maintenance=\"" +
           maintenance + "\"/>\n" + tunings + "</velora_tuning>\n";
}

// The OEM file most tests merge: one new tuning with a new and a clashing device, a tuning
// that clashes by name (with a device that is new), and a new tuning for a port that has none.
std::string standard_oem_xml(const std::string& maintenance = "0") {
    return oem_xml(maintenance,
                   tuning_xml("oem_soundbar", "other",
                              {{"oem_soundbar_hdmi", "hdmi"}, {"tv_box", "hdmi"}}, 21) +
                           tuning_xml("headphone", "headphone", {{"oem_phone", "headphone"}},
                                      22) +
                           tuning_xml("oem_buds", "headphone", {{"oem_buds", "bluetooth"}}, 23));
}

class KsContextManagerTest : public ::testing::Test {
  protected:
    void installDefault(long mtime = 1700000000) {
        mRoot.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
        mRoot.setMtime(SystemPaths::kDefaultTuningFile, mtime);
    }
    // The test file with another maintenance number, as the ROMUPDATE copy.
    void installRomUpdate(long mtime, const std::string& maintenance) {
        std::string text = replace_once(
                read_source_file(testing::kContextTuningFile), kFormatVersion100,
                "<format_version major=\"1\" minor=\"0\" maintenance=\"" + maintenance + "\"/>");
        mRoot.write(SystemPaths::kRomUpdateTuningFile, text);
        mRoot.setMtime(SystemPaths::kRomUpdateTuningFile, mtime);
    }
    void writeOem(const std::string& text) { mRoot.write(SystemPaths::kOemTuningFile, text); }

    testing::TempRoot mRoot;
};

TEST_F(KsContextManagerTest, FirstStartFillsTheDatabaseFromTheDefaultFile) {
    installDefault(1700000000);
    LogCapture log;
    KsContextManager manager;

    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "ROMUPDATE XML Tuning file doesn't exist, use default XML"))
            << log.dump();
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "getSignature(): XML file time string 1700000000"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "Tuning XML file has been updated"));
    // No OEM file: the rebuild stands all the same.
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "OEM Tuning XML doesn't exist!"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO,
                             "Load OEM tuning XML after default tuning XML is reloaded"));

    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->getNumOfProfiles(), 2);
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
}

TEST_F(KsContextManagerTest, UnchangedSignatureParsesNothingAndMergesNothing) {
    installDefault();
    KsContextManager(/*first start*/);
    // An OEM file that appears later is not merged while the default file stays the same.
    writeOem(standard_oem_xml());

    LogCapture log;
    KsContextManager manager;
    EXPECT_FALSE(log.containsMessage("Tuning XML file has been updated")) << log.dump();
    EXPECT_EQ(log.countMessage("Try to load OEM tuning XML file from " +
                               mRoot.hostPath(SystemPaths::kOemTuningFile)),
              0u);
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getKsContext()->getNumOfProfiles(), 2);
    EXPECT_THAT(manager.getKsContext()->getAvailableTuningDevice(PORT_HDMI),
                Not(Contains("oem_soundbar_hdmi")));
}

TEST_F(KsContextManagerTest, NewModificationTimeRebuildsAndDropsTheUsersCopies) {
    installDefault(1700000000);
    {
        KsContextManager manager;
        KsContext* context = manager.getKsContext();
        ASSERT_NE(context, nullptr);
        context->setProfileParameter(0, ieq_amount, {3});
        context->setSelectedProfile(1);
        context->save();
    }
    // Same content, new time: the file counts as a new one.
    mRoot.setMtime(SystemPaths::kDefaultTuningFile, 1700000100);
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "Tuning XML file has been updated"));
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->getProfileParameter(0, ieq_amount)[0], 10);
    EXPECT_TRUE(context->isSelected(0));
    EXPECT_EQ(Provider().getDefaultXmlSignature(), "1700000100");
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
    installRomUpdate(choice.romUpdateTime, "7");
    LogCapture log;
    KsContextManager manager;

    std::string times = "default XML time:" + std::to_string(choice.defaultTime) +
                        ", romupdate XML:" + std::to_string(choice.romUpdateTime);
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, times)) << log.dump();
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, choice.decision));
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), choice.romUpdateUsed ? "1.0.7" : "1.0.0");
    EXPECT_NE(manager.getKsContext(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
        Times, KsContextManagerFileChoiceTest,
        ::testing::Values(
                FileChoiceCase{1000, 1000, true, "use ROMUPDATE XML"},
                FileChoiceCase{1000, 2000, true, "use ROMUPDATE XML"},
                FileChoiceCase{2000, 1000, false,
                               "ROMUPDATE XML Tuning file exist, but is old, use default XML"},
                // A time below 1 tells nothing about age.
                FileChoiceCase{2000, 0, true, "use ROMUPDATE XML"}));

TEST_F(KsContextManagerTest, WithoutATuningFileThereIsNoState) {
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "ROMUPDATE XML Tuning file doesn't exist, use default XML"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "XML Tuning file doesn't exist!!"));
    EXPECT_EQ(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), "");
    EXPECT_EQ(manager.loadOemTuning(), -ENODEV);
    EXPECT_EQ(manager.release(), 0);
}

TEST_F(KsContextManagerTest, RomUpdateCopyAloneIsNotEnough) {
    // The copy is only compared with the default file; without the default the choice falls
    // on the default path, silently, and start-up finds nothing there.
    installRomUpdate(1000, "7");
    LogCapture log;
    KsContextManager manager;
    EXPECT_FALSE(log.containsMessage("use ROMUPDATE XML")) << log.dump();
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "XML Tuning file doesn't exist!!"));
    EXPECT_EQ(manager.getKsContext(), nullptr);
}

TEST_F(KsContextManagerTest, UnparsableFileKeepsTheDatabaseAsItWas) {
    installDefault(1700000000);
    {
        KsContextManager manager;
        ASSERT_NE(manager.getKsContext(), nullptr);
        manager.getKsContext()->setProfileParameter(1, ieq_amount, {77});
        manager.getKsContext()->save();
    }
    mRoot.write(SystemPaths::kDefaultTuningFile, "<velora_tuning><profile");
    mRoot.setMtime(SystemPaths::kDefaultTuningFile, 1700000200);
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "XML parses error!!")) << log.dump();
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getKsContext()->getProfileParameter(1, ieq_amount)[0], 77);
    // Still the old signature: the broken file is tried again at the next start.
    EXPECT_EQ(Provider().getDefaultXmlSignature(), "1700000000");
}

TEST_F(KsContextManagerTest, UnparsableFileOnAnEmptyDatabaseGivesNoState) {
    mRoot.write(SystemPaths::kDefaultTuningFile, "not xml at all");
    LogCapture log;
    KsContextManager manager;
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "XML parses error!!")) << log.dump();
    EXPECT_EQ(manager.getKsContext(), nullptr);
}

TEST_F(KsContextManagerTest, OemMergeAddsNewRowsAndDropsClashesWithTheDefaultFile) {
    installDefault();
    writeOem(standard_oem_xml());
    LogCapture log;
    KsContextManager manager;

    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG,
                             "Try to load OEM tuning XML file from " +
                                     mRoot.hostPath(SystemPaths::kOemTuningFile)))
            << log.dump();
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "Num of parsed OEM tuning = 3"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_DEBUG, "Num of parsed OEM device tuning = 4"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO, "Add OEM Tuning oem_soundbar"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO, "Add OEM Tuning oem_buds"));
    EXPECT_TRUE(log.contains(
            kTag, ANDROID_LOG_ERROR,
            "Found OEM tuning [headphone] already exists in the default tuning XML, drop it."));
    // Its device is new, but it points at the dropped tuning.
    EXPECT_TRUE(log.contains(
            kTag, ANDROID_LOG_ERROR,
            "Drop OEM Device Tuning with tuning.name [headphone] (duplicate in default xml)"));
    // Its tuning is new, but the device name is taken.
    EXPECT_TRUE(log.contains(
            kTag, ANDROID_LOG_ERROR,
            "Found OEM device ID [tv_box] already exists in the default tuning XML, drop it."));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO,
                             "Add OEM Device Tuning Port[hdmi] : Device[oem_soundbar_hdmi] with "
                             "tuning.name [oem_soundbar]"));
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_INFO,
                             "Tell database to reload cached device tuning mappings."));

    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HDMI),
                UnorderedElementsAre("tv_box", "default_hdmi", "hdmi", "oem_soundbar_hdmi"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HEADPHONE),
                UnorderedElementsAre("default_headphone"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_BLUETOOTH),
                UnorderedElementsAre("oem_buds"));
    // The shipped tuning wins over the OEM one of the same name.
    EXPECT_EQ(context->getSelectedTuningParameter(PORT_HEADPHONE,
                                                  virtualizer_front_speaker_angle)[0],
              12);
    ASSERT_TRUE(context->setSelectedTuning(PORT_HDMI, "oem_soundbar_hdmi", /*forced=*/false));
    EXPECT_EQ(context->getSelectedTuning(PORT_HDMI)->getName(), "oem_soundbar");
    EXPECT_EQ(context->getSelectedTuningParameter(PORT_HDMI, virtualizer_front_speaker_angle)[0],
              21);
}

TEST_F(KsContextManagerTest, OemReloadReplacesTheEarlierRowsAndReselectsTunings) {
    installDefault();
    writeOem(standard_oem_xml());
    KsContextManager manager;
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    ASSERT_TRUE(context->setSelectedTuning(PORT_HDMI, "oem_soundbar_hdmi", /*forced=*/false));

    StrictMock<MockContextObserver> observer;
    EXPECT_CALL(observer, onLoad(Ref(*context)));
    context->registerObserver(&observer);
    {
        InSequence order;
        EXPECT_CALL(observer, onSelectedTuningChanged(Ref(*context), PORT_INTERNAL_SPEAKER,
                                                      IsTuning("speaker_stereo")));
        EXPECT_CALL(observer, onSelectedTuningChanged(Ref(*context), PORT_HDMI, IsTuning("other")));
        EXPECT_CALL(observer,
                    onSelectedTuningChanged(Ref(*context), PORT_MIRACAST, IsTuning("other")));
        EXPECT_CALL(observer, onSelectedTuningChanged(Ref(*context), PORT_HEADPHONE,
                                                      IsTuning("headphone")));
        EXPECT_CALL(observer,
                    onSelectedTuningChanged(Ref(*context), PORT_USB, IsTuning("headphone")));
    }

    writeOem(oem_xml("0", tuning_xml("oem_tv", "other", {{"oem_tv_hdmi", "hdmi"}}, 31)));
    LogCapture log;
    EXPECT_EQ(manager.loadOemTuning(), 0);
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_WARN,
                             "Current selected tuning dev[oem_soundbar_hdmi] is not available for "
                             "port[hdmi], revert to use dev[default_hdmi]."))
            << log.dump();
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_HDMI),
                UnorderedElementsAre("tv_box", "default_hdmi", "hdmi", "oem_tv_hdmi"));
    EXPECT_THAT(context->getAvailableTuningDevice(PORT_BLUETOOTH), IsEmpty());
    EXPECT_EQ(context->getSelectedTuningDevice(PORT_HDMI), "default_hdmi");
    EXPECT_EQ(context->getSelectedTuning(PORT_BLUETOOTH), nullptr);
    context->unregisterObserver(&observer);
}

TEST_F(KsContextManagerTest, FailedOemReloadsChangeNothing) {
    installDefault();
    writeOem(standard_oem_xml());
    KsContextManager manager;
    KsContext* context = manager.getKsContext();
    ASSERT_NE(context, nullptr);
    StrictMock<MockContextObserver> observer;  // no tuning event may come
    EXPECT_CALL(observer, onLoad(Ref(*context)));
    context->registerObserver(&observer);
    const std::vector<std::string> before = context->getAvailableTuningDevice(PORT_HDMI);
    ASSERT_THAT(before, Contains("oem_soundbar_hdmi"));

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

    ASSERT_EQ(::unlink(mRoot.hostPath(SystemPaths::kOemTuningFile).c_str()), 0);
    EXPECT_EQ(manager.loadOemTuning(), -ENOENT);
    EXPECT_TRUE(log.contains(kTag, ANDROID_LOG_ERROR, "OEM Tuning XML doesn't exist!"));

    EXPECT_EQ(log.countMessage("Tell database to reload cached device tuning mappings."), 0u);
    EXPECT_EQ(context->getAvailableTuningDevice(PORT_HDMI), before);
    context->unregisterObserver(&observer);
}

TEST_F(KsContextManagerTest, OemDuplicatesAreCheckedAgainstTheShippedFileEvenWithTheCopy) {
    installDefault(1000);
    // The copy carries one tuning more than the shipped file.
    std::string copy = replace_once(read_source_file(testing::kContextTuningFile),
                                    "</velora_tuning>",
                                    tuning_xml("rom_only", "headphone", {{"rom_dev", "usb"}}, 41) +
                                            "</velora_tuning>");
    mRoot.write(SystemPaths::kRomUpdateTuningFile, copy);
    mRoot.setMtime(SystemPaths::kRomUpdateTuningFile, 1000);
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

TEST_F(KsContextManagerTest, ReleaseLeavesAnEmptyShell) {
    installDefault();
    KsContextManager manager;
    ASSERT_NE(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.release(), 0);
    EXPECT_EQ(manager.getKsContext(), nullptr);
    EXPECT_EQ(manager.getDefaultXmlFormatVersion(), "");
    EXPECT_EQ(manager.loadOemTuning(), -ENODEV);
    EXPECT_EQ(manager.release(), 0);
}

// The only test that touches the process-wide instance.
TEST(KsContextManagerSingletonTest, FirstUseStartsTheServiceAndLaterUsesShareIt) {
    testing::TempRoot root;
    root.install(testing::kContextTuningFile, SystemPaths::kDefaultTuningFile);
    // Under --gtest_repeat an earlier round left the instance behind, released; starting it
    // again is what init() does on an empty shell.
    bool earlierRound = KsContextManager::hasInstance();
    KsContextManager& first = KsContextManager::getInstance();
    if (earlierRound) {
        EXPECT_EQ(first.getKsContext(), nullptr);
        first.init();
    }
    EXPECT_TRUE(KsContextManager::hasInstance());
    EXPECT_EQ(&KsContextManager::getInstance(), &first);
    ASSERT_NE(first.getKsContext(), nullptr);
    EXPECT_EQ(first.getKsContext()->getNumOfProfiles(), 2);
    // The temporary root goes with this test; so must the database connection.
    EXPECT_EQ(first.release(), 0);
}

}  // namespace
}  // namespace velora
