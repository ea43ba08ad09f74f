/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <cerrno>

#include "TuningTestSupport.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"
#include "tuning/TuningFileParser.h"

namespace velora {
namespace {

using ::testing::ElementsAre;
using testing::find_by;
using testing::find_profile;
using testing::find_tuning;
using ::testing::IsEmpty;

constexpr char kTag[] = "TuningFileParser";

// The two band tables every tuning's data block starts with.
constexpr char kBandTables[] = R"(
      <audio-optimizer-bands>
      </audio-optimizer-bands>
      <regulator-bands>
      </regulator-bands>)";

class TuningFileParserTest : public ::testing::Test {
  protected:
    // Reads "<velora_tuning>" + body + "</velora_tuning>" (the body starts on line 2) with
    // the given parser, by default the fixture's own.
    DeviceData& read(const std::string& body, TuningFileParser* parser = nullptr) {
        if (parser == nullptr) parser = &mParser;
        mRoot.write("/tuning.xml", "<velora_tuning>" + body + "\n</velora_tuning>\n");
        EXPECT_EQ(0, parser->setTuningFile(mRoot.hostPath("/tuning.xml"))) << mLog.dump();
        static DeviceData empty;
        return parser->getDeviceData() != nullptr ? *parser->getDeviceData() : empty;
    }

    testing::TempRoot mRoot;
    testing::LogCapture mLog;
    TuningFileParser mParser;
};

TEST_F(TuningFileParserTest, UnreadableInputIsAnInvalidArgumentAndKeepsTheLastGoodData) {
    mParser.parseTuningFile();  // no document yet: nothing happens
    EXPECT_EQ(-EINVAL, mParser.setTuningFile(""));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "invalide tuning file path, 115"));
    EXPECT_EQ(-EINVAL, mParser.setTuningFile(mRoot.hostPath("/absent.xml")));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlReadFile,  128"));
    EXPECT_EQ(nullptr, mParser.getDeviceData());
    EXPECT_FALSE(mParser.isParsed());

    DeviceData* good = &read(R"(<format_version major="1" minor="2" maintenance="3"/>)");
    EXPECT_EQ(-EINVAL,
              mParser.setTuningFile(testing::source_file("tests/data/tuning/malformed.xml")));
    ASSERT_EQ(good, mParser.getDeviceData());
    EXPECT_EQ("1.2.3", good->getFormatVersion());

    // Sections are read while the file is parsed; a break after some of them still leaves
    // nothing of them behind, in the records or in the log.
    mRoot.write("/broken.xml", std::string("<velora_tuning>\n  <tuning name=\"broken\">\n"
                                           "    <data>") +
                                   kBandTables + R"(
    </data>
  </tuning>
  <profile id="7" name="x"><data/></profile>
  <tool_version major="1"/>
  <preset id="never)");
    mLog.clear();
    EXPECT_EQ(-EINVAL, mParser.setTuningFile(mRoot.hostPath("/broken.xml")));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlReadFile,  128"));
    const auto dropped = [&] {
        size_t count = 0;
        for (const auto& line : mLog.linesWithTag(kTag)) {
            count += line.message.rfind("Profile 7 [x] at line ", 0) == 0 ? 1 : 0;
        }
        return count;
    };
    EXPECT_EQ(0u, dropped()) << mLog.dump();
    ASSERT_EQ(good, mParser.getDeviceData());
    DeviceData& after = read(R"(<profile id="7" name="x"><data/></profile>)");
    EXPECT_TRUE(after.getTunings().empty());
    EXPECT_EQ("", after.getToolVersion());
    EXPECT_EQ(0, mParser.getNumOfProfiles());
    EXPECT_EQ(1u, dropped()) << mLog.dump();

    // libxml2 refuses a file without a root element, so that check is met in memory.
    XmlDocHolder doc(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
    xmlNodePtr root = reinterpret_cast<xmlNodePtr>(0x1);
    EXPECT_EQ(-ENODEV, TuningFileParser::findRootElement(doc.get(), &root));
    EXPECT_EQ(nullptr, root);
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlDocGetRootElement, 134"));
}

TEST_F(TuningFileParserTest, VersionsJoinAsTextAndASecondFileAddsToTheRecordsOfTheFirst) {
    const std::string tuning =
        std::string("\n    <data>") + kBandTables + "\n    </data>\n  </tuning>";
    DeviceData& first = read(R"(
  <format_version major="1" minor="0" maintenance="0"/>
  <format_version maintenance="7" minor="12" major="1"/>
  <tool_version major="2" minor="04"/>
  <tuning name="first">)" + tuning);
    EXPECT_EQ("1.12.7", first.getFormatVersion());  // the later element wins
    EXPECT_EQ("2.04.", first.getToolVersion());     // no conversion, missing part empty
    EXPECT_TRUE(mParser.isParsed());

    DeviceData& second = read(R"(<tuning name="second">)" + tuning);
    EXPECT_EQ("", second.getFormatVersion());
    EXPECT_EQ(2u, second.getTunings().size());
    EXPECT_NE(nullptr, find_tuning(second, "first"));
}

TEST(ValueSyntaxTest, SingleValuesRowsAndMixMatricesReadTheirAttributesAsInts) {
    XmlDocHolder doc;
    auto parse = [&doc](const std::string& xml) {
        doc.reset(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "e.xml", nullptr, 0));
        EXPECT_NE(nullptr, doc) << xml;
        return doc ? xmlDocGetRootElement(doc.get()) : nullptr;
    };
    // Only a first attribute named "value" counts; exactly "true" and "false" are words.
    const std::pair<const char*, int> values[] = {
        {R"(<e value="true"/>)", 1},       {R"(<e value="false"/>)", 0},
        {R"(<e value="-320"/>)", -320},    {R"(<e value="  12dB"/>)", 12},
        {R"(<e value="TRUE"/>)", 0},       {R"(<e/>)", 0},
        {R"(<e unit="dB" value="7"/>)", 0}};
    for (const auto& [xml, expected] : values)
        EXPECT_EQ(expected, TuningFileParser::getNodeValue(parse(xml))) << xml;
    // A row is the first attribute, whatever its name, without empty fields; a piece that is
    // no number reads as 0, never as a left-over value.
    const std::pair<const char*, std::vector<int>> rows[] = {
        {R"(<e value="1,,2, 3"/>)", {1, 2, 3}},
        {R"(<e coefficients="-4,5," value="9"/>)", {-4, 5}},
        {R"(<e value=",,,"/>)", {}},
        {R"(<e/>)", {}},
        {R"(<e value="7,x,8"/>)", {7, 0, 8}}};
    for (const auto& [xml, expected] : rows)
        EXPECT_EQ(expected, TuningFileParser::parseDataRow(parse(xml))) << xml;
    // A mix matrix appends the rows of its first container only.
    EXPECT_THAT(
        TuningFileParser::parseMixMatrix(
            parse("<output-mode>\n  <!-- L/R from L, R, Ls, Rs -->\n  <mix-matrix>\n"
                  "    <row value=\"16384,0,11585,0\"/>\n    <row/>\n"
                  "    <row value=\"0,16384,0,11585\"/>\n  </mix-matrix>\n"
                  "  <mix-matrix>\n    <row value=\"1,1,1,1\"/>\n  </mix-matrix>\n</output-mode>")),
        ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(TuningFileParser::parseMixMatrix(parse("<output-mode>\n</output-mode>")),
                IsEmpty());
}

TEST_F(TuningFileParserTest, IeqPresetTypesComeFromNamesSearchedInTwoDifferentOrders) {
    // A preset's own id: detailed, balanced, warm, off in that order, else balanced.
    const std::pair<const char*, PresetType> ids[] = {{"ieq_detailed", PRESET_DETAILED},
                                                      {"ieq_warm", PRESET_WARM},
                                                      {"ieq_off", PRESET_OFF},
                                                      {"ieq_xyz", PRESET_BALANCED},
                                                      {"", PRESET_BALANCED},
                                                      {"Warm", PRESET_BALANCED},
                                                      {"warm_detailed", PRESET_DETAILED},
                                                      {"warm_balanced", PRESET_BALANCED},
                                                      {"warm_off", PRESET_WARM}};
    for (const auto& [id, type] : ids) {
        TuningFileParser parser;
        DeviceData& data = read(std::string("<preset id=\"") + id + "\" type=\"ieq\"/>", &parser);
        ASSERT_EQ(1u, data.getIeqPresets().size()) << id;
        IeqPreset* preset = *data.getIeqPresets().begin();
        EXPECT_EQ(type, preset->getType()) << id;
        EXPECT_THAT(preset->getValues().at(ieq_id), ElementsAre(type)) << id;
    }
    EXPECT_FALSE(mLog.containsMessage("name is invalid, 271"));
    // The name a profile includes: off, balanced, warm, detailed in that order, else off,
    // logged.
    // clang-format off
    const std::tuple<const char*, PresetType, bool> names[] = {
        {"ieq_detailed", PRESET_DETAILED, false}, {"ieq_warm", PRESET_WARM, false},
        {"warm_off", PRESET_OFF, false}, {"balanced_warm", PRESET_BALANCED, false},
        {"detailed_warm", PRESET_WARM, false}, {"ieq_xyz", PRESET_OFF, true},
        {"Warm", PRESET_OFF, true}, {"", PRESET_OFF, true}};
    // clang-format on
    for (const auto& [name, type, logged] : names) {
        mLog.clear();
        EXPECT_EQ(type, TuningFileParser::getIeqPresetTypeByName(name)) << name;
        EXPECT_EQ(logged, mLog.contains(kTag, ANDROID_LOG_ERROR, "name is invalid, 271")) << name;
    }
}

TEST_F(TuningFileParserTest, PresetBandsBecomeStoredListsInDocumentOrder) {
    DeviceData& data = read(R"(
  <preset id="ieq_warm" type="ieq"> <band_ieq frequency="47" target="64" q="7"/>
    <band frequency="99" target="99"/> <band_ieq target="56" frequency="141"/>
    <band_ieq frequency="234"/> </preset>
  <preset id="2" type="geq"> <band_geq frequency="47" gain="-16"/>
    <band frequency="141" gain="8"/> </preset>
  <preset id="ieq_balanced" type="peq"/> <preset id="ieq_balanced"/>)");
    ASSERT_EQ(1u, data.getIeqPresets().size());
    ASSERT_EQ(1u, data.getGeqPresets().size());
    // Only band_ieq elements are IEQ bands; a band lacking an attribute adds to one list.
    // Lists are gathered as "v1,v2,...," and converted like every stored list, which
    // leaves a trailing 0.
    IeqPreset* ieq = *data.getIeqPresets().begin();
    EXPECT_EQ(PRESET_WARM, ieq->getType());
    EXPECT_THAT(ieq->getValues().at(ieq_frequency), ElementsAre(47, 141, 234, 0));
    EXPECT_THAT(ieq->getValues().at(ieq_target), ElementsAre(64, 56, 0));
    // Every element counts as a GEQ band; the id names the profile.
    GeqPreset* geq = *data.getGeqPresets().begin();
    EXPECT_EQ(2, geq->getProfileId());
    EXPECT_THAT(geq->getValues().at(geq_frequency), ElementsAre(47, 141, 0));
    EXPECT_THAT(geq->getValues().at(geq_gain), ElementsAre(-16, 8, 0));
}

TEST_F(TuningFileParserTest, ProfileReadsItsDataBlockIncludeAndEndpoints) {
    DeviceData& data = read(R"(
  <profile id="2" name="Music">
    <data> <ieq-enable value="true"/> <ieq-amount value="12"/> <drc-metadata value="1,0,,1"/>
      <mi-dv-leveler-steering-enable value="false"/> <bass-enhancer-boost value="192"/>
      <volume-leveler-enable value="true"/>
      <endpoint_type id="headphone"> <volume-leveler-amount value="4"/>
        <virtual-bass-process-enable value="true"/> <ieq-amount value="3"/> </endpoint_type>
      <endpoint_type id="bluetooth"> </endpoint_type>
    </data>
    <include preset="ieq_warm"/>
  </profile>)");
    Profile* music = find_profile(data, 2);
    ASSERT_NE(nullptr, music);
    EXPECT_EQ("Music", music->getName());
    EXPECT_EQ(PRESET_WARM, music->getSelectedIeqPreset());
    EXPECT_EQ(2, music->getSelectedGeqPreset());
    // Keys of tunings and endpoints directly in the data block are no profile values.
    const ParameterValues::Values expected = {{custom_drc_metadata, {1, 0, 1}},
                                              {ieq_amount, {12}},
                                              {ieq_enable, {1}},
                                              {mi_dv_leveler_steering_enable, {0}}};
    EXPECT_EQ(expected, music->getValues());
    // Profiles know three endpoint names and put anything else on "other".
    EXPECT_EQ(2u, data.getProfileEndpoints().size());
    ProfileEndpoint* headphone =
        find_by(data.getProfileEndpoints(), &ProfileEndpoint::getEndpoint, ENDPOINT_HEADPHONE);
    ASSERT_NE(nullptr, headphone);
    EXPECT_EQ(2, headphone->getProfileId());
    EXPECT_EQ((ParameterValues::Values{{virtual_bass_enable, {1}}, {volume_leveler_amount, {4}}}),
              headphone->getValues());
    EXPECT_NE(nullptr,
              find_by(data.getProfileEndpoints(), &ProfileEndpoint::getEndpoint, ENDPOINT_OTHER));
    EXPECT_EQ(1, mParser.getNumOfProfiles());
    EXPECT_EQ("Music", mParser.getProfileName(2));
    EXPECT_EQ("", mParser.getProfileName(7));
}

TEST_F(TuningFileParserTest, TuningReadsItsAttributesBandTablesAndParameterElements) {
    DeviceData& data = read(std::string(R"(
  <tuning name="mono" endpoint_type="speaker" mono_device="true" orientation="1"
          output_channels="2ch">
    <data>)") + kBandTables +
                            R"(
    </data>
  </tuning>
  <tuning name="bt" endpoint_type="bluetooth" mono_device="TRUE">
    <data>
      <optimizer> <band frequency="47" gain_left="-32" gain_right="-24" gain_left_surround="-8"
        gain_right_surround="-4"/> <!-- a band without gains --> <band frequency="141"/>
      </optimizer>
      <regulator>
        <band frequency="47" threshold_low="-192" threshold_high="0" isolated_band="true"/>
        <b frequency="141" threshold_low="-160" threshold_high="16" isolated_band="yes"/>
      </regulator>
      <bass-enhancer-boost value="192"/> <virtualizer-front-speaker-angle unit="deg" value="10"/>
      <virtual-bass-mix-freqs frequency_high="469" frequency_low="94"/>
      <virtual-bass-src-freqs frequency_low="35"/> <volume-leveler-enable value="true"/>
      <virtual-bass-enable value="true"/> <orientation value="3"/>
    </data>
  </tuning>)");
    Tuning* mono = find_tuning(data, "mono");
    ASSERT_NE(nullptr, mono);
    EXPECT_TRUE(mono->isMono());
    EXPECT_TRUE(mono->isReadonly());
    EXPECT_THAT(mono->getValues().at(orientation), ElementsAre(1));
    EXPECT_THAT(mono->getValues().at(output_channels), ElementsAre(2));
    // Tunings put unknown endpoint names on the speaker, unlike profiles.
    Tuning* bt = find_tuning(data, "bt");
    ASSERT_NE(nullptr, bt);
    EXPECT_EQ(ENDPOINT_SPEAKER, bt->getEndpoint());
    EXPECT_FALSE(bt->isMono());
    // The first two elements are the band tables, whatever their names; each band adds to
    // every aligned list, a missing attribute as 0. The orientation comes from the missing
    // attribute, not the element; endpoint keys and "virtual-bass-enable" give nothing.
    const ParameterValues::Values expected = {
        {audio_optimizer_frequency, {47, 141}},  {audio_optimizer_gain_l, {-32, 0}},
        {audio_optimizer_gain_r, {-24, 0}},      {audio_optimizer_gain_ls, {-8, 0}},
        {audio_optimizer_gain_rs, {-4, 0}},      {regulator_frequency, {47, 141}},
        {regulator_threshold_low, {-192, -160}}, {regulator_threshold_high, {0, 16}},
        {regulator_isolated_band, {1, 0}},       {bass_enhancer_boost, {192}},
        {virtualizer_front_speaker_angle, {0}},  {virtual_bass_mix_freq_low, {94}},
        {virtual_bass_mix_freq_high, {469}},     {virtual_bass_src_freq_low, {35}},
        {virtual_bass_src_freq_high, {0}},       {orientation, {0}}};
    for (const auto& [parameter, list] : expected) {
        ASSERT_EQ(1u, bt->getValues().count(parameter)) << kParameterNames[parameter];
        EXPECT_EQ(list, bt->getValues().at(parameter)) << kParameterNames[parameter];
    }
    EXPECT_TRUE(testing::params_valid(data));
}

TEST_F(TuningFileParserTest, TuningWithoutDataIsDroppedButItsDevicesStay) {
    DeviceData& data = read(R"(
  <tuning name="orphan" endpoint_type="headphone"> <device_id id="dev_a" endpoint_port="headphone"/>
    <device_id id="dev_b" endpoint_port="usb"/> <device_id/> </tuning>
  <tuning name="bare"/>)");
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_THAT(testing::devices_of(data, "orphan"),
                ElementsAre("@", "dev_a@headphone", "dev_b@usb"));
    EXPECT_EQ(2u, mLog.countMessage("There is no <data> in Tuning section")) << mLog.dump();
}

TEST_F(TuningFileParserTest, SectionsWithoutWhitespaceBetweenElementsAreDropped) {
    DeviceData& data = read(std::string(R"(
  <profile id="0" name="Tight"><data><ieq-enable value="true"/></data></profile>
  <tuning name="tight">
    <device_id id="kept" endpoint_port="hdmi"/><device_id id="unread"/>
    <data>)") + kBandTables +
                            R"(
    </data>
  </tuning>)");
    EXPECT_THAT(data.getProfiles(), IsEmpty());
    EXPECT_EQ(0, mParser.getNumOfProfiles());
    EXPECT_THAT(data.getTunings(), IsEmpty());
    // The entry read before the break stays, like the entries of any dropped tuning.
    EXPECT_THAT(testing::devices_of(data, "tight"), ElementsAre("kept@hdmi"));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR,
                              "Profile 0 [Tight] at line 2 dropped: <data> at line 2 has no "
                              "whitespace in front of it, so the data block cannot be found"));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR,
                              "Tuning [tight] at line 3 dropped: <device_id> at line 4 has no "
                              "whitespace in front of it, so the data block cannot be found"));
}

TEST_F(TuningFileParserTest, ValidateTurnsThePresetOffWhereTheEqualizerIsOff) {
    std::string body;
    const std::tuple<int, const char*, const char*> profiles[] = {{0, "true", "ieq_warm"},
                                                                  {1, "false", "ieq_warm"},
                                                                  {2, nullptr, "ieq_detailed"},
                                                                  {3, "7", "ieq_balanced"}};
    for (const auto& [id, enable, preset] : profiles) {
        body += "\n  <profile id=\"" + std::to_string(id) + "\" name=\"P\">\n    <data>\n" +
                (enable ? std::string("      <ieq-enable value=\"") + enable + "\"/>\n" : "") +
                "      <ieq-amount value=\"10\"/>\n    </data>\n    <include preset=\"" + preset +
                "\"/>\n  </profile>";
    }
    DeviceData& data = read(body);
    ASSERT_EQ(4u, data.getProfiles().size());
    ASSERT_EQ(PRESET_WARM, find_profile(data, 1)->getSelectedIeqPreset());
    data.validateData();
    EXPECT_EQ(PRESET_WARM, find_profile(data, 0)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_OFF, find_profile(data, 1)->getSelectedIeqPreset());
    // Without ieq-enable the equalizer counts as off, and the profile gains an empty value.
    EXPECT_EQ(PRESET_OFF, find_profile(data, 2)->getSelectedIeqPreset());
    ASSERT_TRUE(find_profile(data, 2)->has(ieq_enable));
    EXPECT_THAT(find_profile(data, 2)->getValues().at(ieq_enable), IsEmpty());
    // Any non-zero value is on; nothing else changes.
    EXPECT_EQ(PRESET_BALANCED, find_profile(data, 3)->getSelectedIeqPreset());
    EXPECT_THAT(find_profile(data, 1)->getValues().at(ieq_amount), ElementsAre(10));
    EXPECT_EQ(1, find_profile(data, 1)->getSelectedGeqPreset());
}

}  // namespace
}  // namespace velora
