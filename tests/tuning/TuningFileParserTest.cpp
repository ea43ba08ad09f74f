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
using ::testing::IsEmpty;
using testing::LogCapture;
using testing::TempRoot;

constexpr char kTag[] = "TuningFileParser";

// The two band tables every tuning's data block starts with.
constexpr char kBandTables[] = R"(
      <audio-optimizer-bands>
      </audio-optimizer-bands>
      <regulator-bands>
      </regulator-bands>)";

class TuningFileParserTest : public ::testing::Test {
  protected:
    // Reads "<velora_tuning>" + body + "</velora_tuning>"; the body starts on line 2.
    DeviceData& read(const std::string& body) {
        std::string path =
            testing::write_tuning(mRoot, "<velora_tuning>" + body + "\n</velora_tuning>\n");
        EXPECT_EQ(0, mParser.setTuningFile(path)) << mLog.dump();
        static DeviceData empty;
        return mParser.getDeviceData() != nullptr ? *mParser.getDeviceData() : empty;
    }

    TempRoot mRoot;
    LogCapture mLog;
    TuningFileParser mParser;
};

// --- Failures ---------------------------------------------------------------------------

TEST_F(TuningFileParserTest, EmptyPathIsAnInvalidArgument) {
    EXPECT_EQ(-EINVAL, mParser.setTuningFile(""));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "invalide tuning file path, 115"));
    EXPECT_EQ(nullptr, mParser.getDeviceData());
    EXPECT_FALSE(mParser.isParsed());
}

TEST_F(TuningFileParserTest, MissingOrMalformedFileIsAnInvalidArgument) {
    for (const std::string& path :
         {mRoot.hostPath("/absent.xml"), testing::source_file("tests/data/tuning/malformed.xml")}) {
        mLog.clear();
        EXPECT_EQ(-EINVAL, mParser.setTuningFile(path)) << path;
        EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlReadFile,  128"));
        EXPECT_EQ(nullptr, mParser.getDeviceData());
    }
}

TEST_F(TuningFileParserTest, DocumentWithoutRootElementIsNoDevice) {
    // libxml2 refuses such a file outright, so the check is met with a document in memory.
    XmlDocHolder doc(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
    xmlNodePtr root = reinterpret_cast<xmlNodePtr>(0x1);
    EXPECT_EQ(-ENODEV, TuningFileParser::findRootElement(doc.get(), &root));
    EXPECT_EQ(nullptr, root);
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlDocGetRootElement, 134"));
}

TEST_F(TuningFileParserTest, FailedReadKeepsTheDeviceDataOfTheLastGoodOne) {
    DeviceData* before = &read(R"(<format_version major="1" minor="2" maintenance="3"/>)");
    EXPECT_EQ(-EINVAL,
              mParser.setTuningFile(testing::source_file("tests/data/tuning/malformed.xml")));
    ASSERT_EQ(before, mParser.getDeviceData());
    EXPECT_EQ("1.2.3", mParser.getDeviceData()->getFormatVersion());
}

// --- Versions ----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, VersionsJoinTheirPartsAsText) {
    DeviceData& data = read(R"(
  <format_version major="1" minor="0" maintenance="0"/>
  <format_version maintenance="7" minor="12" major="1"/>
  <tool_version major="2" minor="04"/>)");
    EXPECT_EQ("1.12.7", data.getFormatVersion());  // the later element wins
    EXPECT_EQ("2.04.", data.getToolVersion());     // no conversion, missing part empty
    EXPECT_TRUE(mParser.isParsed());
}

// --- Value syntax ------------------------------------------------------------------------

class ValueSyntaxTest : public ::testing::Test {
  protected:
    xmlNodePtr parse(const std::string& xml) {
        mDoc.reset(
            xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "fragment.xml", nullptr, 0));
        EXPECT_NE(nullptr, mDoc);
        return mDoc ? xmlDocGetRootElement(mDoc.get()) : nullptr;
    }

    XmlDocHolder mDoc;
};

TEST_F(ValueSyntaxTest, SingleValueReadsOnlyAFirstAttributeNamedValue) {
    EXPECT_EQ(1, TuningFileParser::getNodeValue(parse(R"(<e value="true"/>)")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse(R"(<e value="false"/>)")));
    EXPECT_EQ(-320, TuningFileParser::getNodeValue(parse(R"(<e value="-320"/>)")));
    EXPECT_EQ(12, TuningFileParser::getNodeValue(parse(R"(<e value="  12dB"/>)")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse(R"(<e value="TRUE"/>)")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse(R"(<e/>)")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse(R"(<e unit="dB" value="7"/>)")));
}

TEST_F(ValueSyntaxTest, DataRowSplitsTheFirstAttributeAndDropsEmptyFields) {
    EXPECT_THAT(TuningFileParser::parseDataRow(parse(R"(<e value="1,,2, 3"/>)")),
                ElementsAre(1, 2, 3));
    EXPECT_THAT(TuningFileParser::parseDataRow(parse(R"(<e coefficients="-4,5," value="9"/>)")),
                ElementsAre(-4, 5));
    EXPECT_THAT(TuningFileParser::parseDataRow(parse(R"(<e value=",,,"/>)")), IsEmpty());
    EXPECT_THAT(TuningFileParser::parseDataRow(parse(R"(<e/>)")), IsEmpty());
    // A piece that is no number reads as 0, never as a left-over value.
    EXPECT_THAT(TuningFileParser::parseDataRow(parse(R"(<e value="7,x,8"/>)")),
                ElementsAre(7, 0, 8));
}

TEST_F(ValueSyntaxTest, MixMatrixAppendsTheRowsOfItsFirstContainer) {
    xmlNodePtr mode = parse(R"(<output-mode>
  <!-- L/R from L, R, Ls, Rs -->
  <mix-matrix>
    <row value="16384,0,11585,0"/>
    <row/>
    <row value="0,16384,0,11585"/>
  </mix-matrix>
  <mix-matrix>
    <row value="1,1,1,1"/>
  </mix-matrix>
</output-mode>)");
    EXPECT_THAT(TuningFileParser::parseMixMatrix(mode),
                ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(TuningFileParser::parseMixMatrix(parse("<output-mode>\n</output-mode>")),
                IsEmpty());
}

// --- Presets -----------------------------------------------------------------------------

struct IeqIdCase {
    const char* id;
    PresetType type;
};

class IeqPresetIdTest : public TuningFileParserTest,
                        public ::testing::WithParamInterface<IeqIdCase> {};

TEST_P(IeqPresetIdTest, PresetTypeComesFromTheIdDefaultingToBalanced) {
    DeviceData& data = read(std::string("<preset id=\"") + GetParam().id + "\" type=\"ieq\"/>");
    ASSERT_EQ(1u, data.getIeqPresets().size());
    IeqPreset* preset = *data.getIeqPresets().begin();
    EXPECT_EQ(GetParam().type, preset->getType());
    EXPECT_THAT(preset->getValues().at(ieq_id), ElementsAre(GetParam().type));
    EXPECT_FALSE(mLog.containsMessage("name is invalid, 271"));
}

// Tested in the order detailed, balanced, warm, off; case matters.
INSTANTIATE_TEST_SUITE_P(Ids, IeqPresetIdTest,
                         ::testing::Values(IeqIdCase{"ieq_detailed", PRESET_DETAILED},
                                           IeqIdCase{"ieq_warm", PRESET_WARM},
                                           IeqIdCase{"ieq_off", PRESET_OFF},
                                           IeqIdCase{"ieq_xyz", PRESET_BALANCED},
                                           IeqIdCase{"", PRESET_BALANCED},
                                           IeqIdCase{"Warm", PRESET_BALANCED},
                                           IeqIdCase{"warm_detailed", PRESET_DETAILED},
                                           IeqIdCase{"warm_balanced", PRESET_BALANCED},
                                           IeqIdCase{"warm_off", PRESET_WARM}));

TEST_F(TuningFileParserTest, IncludedPresetNameUsesItsOwnOrderAndDefaultsToOff) {
    struct Case {
        const char* name;
        PresetType type;
        bool logged;
    };
    for (const Case& c :
         {Case{"ieq_detailed", PRESET_DETAILED, false}, Case{"ieq_warm", PRESET_WARM, false},
          Case{"warm_off", PRESET_OFF, false}, Case{"balanced_warm", PRESET_BALANCED, false},
          Case{"detailed_warm", PRESET_WARM, false}, Case{"ieq_xyz", PRESET_OFF, true},
          Case{"Warm", PRESET_OFF, true}, Case{"", PRESET_OFF, true}}) {
        mLog.clear();
        EXPECT_EQ(c.type, TuningFileParser::getIeqPresetTypeByName(c.name)) << c.name;
        EXPECT_EQ(c.logged, mLog.contains(kTag, ANDROID_LOG_ERROR, "name is invalid, 271"))
            << c.name;
    }
}

TEST_F(TuningFileParserTest, PresetBandsBecomeStoredListsInDocumentOrder) {
    DeviceData& data = read(R"(
  <preset id="ieq_warm" type="ieq">
    <band_ieq frequency="47" target="64" q="7"/>
    <band frequency="99" target="99"/>
    <band_ieq target="56" frequency="141"/>
    <band_ieq frequency="234"/>
  </preset>
  <preset id="2" type="geq">
    <band_geq frequency="47" gain="-16"/>
    <band frequency="141" gain="8"/>
  </preset>
  <preset id="ieq_balanced" type="peq"/>
  <preset id="ieq_balanced"/>)");
    ASSERT_EQ(1u, data.getIeqPresets().size());
    ASSERT_EQ(1u, data.getGeqPresets().size());
    // Only band_ieq elements are IEQ bands; a band lacking an attribute adds to one list.
    // Lists are gathered as "v1,v2,...," and converted like every stored list, which
    // leaves a trailing 0.
    IeqPreset* ieq = testing::find_ieq(data, PRESET_WARM);
    ASSERT_NE(nullptr, ieq);
    EXPECT_THAT(ieq->getValues().at(ieq_frequency), ElementsAre(47, 141, 234, 0));
    EXPECT_THAT(ieq->getValues().at(ieq_target), ElementsAre(64, 56, 0));
    // Every element counts as a GEQ band; the id names the profile.
    GeqPreset* geq = testing::find_geq(data, 2);
    ASSERT_NE(nullptr, geq);
    EXPECT_THAT(geq->getValues().at(geq_frequency), ElementsAre(47, 141, 0));
    EXPECT_THAT(geq->getValues().at(geq_gain), ElementsAre(-16, 8, 0));
}

// --- Profiles ----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, ProfileReadsItsDataBlockIncludeAndEndpoints) {
    DeviceData& data = read(R"(
  <profile id="2" name="Music">
    <data>
      <ieq-enable value="true"/>
      <ieq-amount value="12"/>
      <mi-dv-leveler-steering-enable value="false"/>
      <mi-ieq-steering-enable value="true"/>
      <mi-surround-compressor-steering-enable value="false"/>
      <mi-adaptive-virtualizer-steering-enable value="true"/>
      <volume-modeler-enable value="false"/>
      <drc-metadata value="1,0,,1"/>
      <bass-enhancer-boost value="192"/>
      <volume-leveler-enable value="true"/>
      <endpoint_type id="headphone">
        <volume-leveler-amount value="4"/>
        <virtual-bass-process-enable value="true"/>
        <ieq-amount value="3"/>
      </endpoint_type>
      <endpoint_type id="bluetooth">
      </endpoint_type>
    </data>
    <include preset="ieq_warm"/>
  </profile>)");
    Profile* music = testing::find_profile(data, 2);
    ASSERT_NE(nullptr, music);
    EXPECT_EQ("Music", music->getName());
    EXPECT_EQ(PRESET_WARM, music->getSelectedIeqPreset());
    EXPECT_EQ(2, music->getSelectedGeqPreset());
    // Keys of tunings and endpoints directly in the data block are no profile values.
    const ParameterValues::Values expected = {
        {custom_drc_metadata, {1, 0, 1}},
        {ieq_amount, {12}},
        {ieq_enable, {1}},
        {mi_adaptive_virtualizer_steering_enable, {1}},
        {mi_dv_leveler_steering_enable, {0}},
        {mi_ieq_steering_enable, {1}},
        {mi_surround_compressor_steering_enable, {0}},
        {volume_modeler_enable, {0}},
    };
    EXPECT_EQ(expected, music->getValues());

    ASSERT_EQ(2u, data.getProfileEndpoints().size());
    ProfileEndpoint* headphone = testing::find_endpoint(data, 2, ENDPOINT_HEADPHONE);
    ASSERT_NE(nullptr, headphone);
    const ParameterValues::Values expectedEndpoint = {{virtual_bass_enable, {1}},
                                                      {volume_leveler_amount, {4}}};
    EXPECT_EQ(expectedEndpoint, headphone->getValues());
    // Profiles know three endpoint names and put anything else on "other".
    EXPECT_NE(nullptr, testing::find_endpoint(data, 2, ENDPOINT_OTHER));

    EXPECT_EQ(1, mParser.getNumOfProfiles());
    EXPECT_EQ("Music", mParser.getProfileName(2));
    EXPECT_EQ("", mParser.getProfileName(7));
}

// --- Tunings -----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, TuningAttributesGiveNameEndpointMonoAndOutputValues) {
    DeviceData& data = read(std::string(R"(
  <tuning name="mono" endpoint_type="speaker" mono_device="true" orientation="1"
          output_channels="2ch">
    <data>)") + kBandTables +
                            R"(
    </data>
  </tuning>
  <tuning name="bt" endpoint_type="bluetooth" mono_device="TRUE">
    <data>)" + kBandTables + R"(
    </data>
  </tuning>
  <tuning name="hp" endpoint_type="headphone">
    <data>)" + kBandTables + R"(
    </data>
  </tuning>)");
    Tuning* mono = testing::find_tuning(data, "mono");
    ASSERT_NE(nullptr, mono);
    EXPECT_TRUE(mono->isMono());
    EXPECT_TRUE(mono->isReadonly());
    EXPECT_THAT(mono->getValues().at(orientation), ElementsAre(1));
    EXPECT_THAT(mono->getValues().at(output_channels), ElementsAre(2));
    // Tunings put unknown endpoint names on the speaker, unlike profiles.
    Tuning* bluetooth = testing::find_tuning(data, "bt");
    ASSERT_NE(nullptr, bluetooth);
    EXPECT_EQ(ENDPOINT_SPEAKER, bluetooth->getEndpoint());
    EXPECT_FALSE(bluetooth->isMono());
    EXPECT_THAT(bluetooth->getValues().at(orientation), ElementsAre(0));
    EXPECT_EQ(ENDPOINT_HEADPHONE, testing::find_tuning(data, "hp")->getEndpoint());
}

TEST_F(TuningFileParserTest, BandTablesFillAlignedListsBandByBand) {
    DeviceData& data = read(R"(
  <tuning name="spk">
    <data>
      <optimizer>
        <band frequency="47" gain_left="-32" gain_right="-24" gain_left_surround="-8"
              gain_right_surround="-4"/>
        <!-- a band without gains -->
        <band frequency="141"/>
      </optimizer>
      <regulator>
        <band frequency="47" threshold_low="-192" threshold_high="0" isolated_band="true"/>
        <b frequency="141" threshold_low="-160" threshold_high="16" isolated_band="yes"/>
      </regulator>
    </data>
  </tuning>)");
    Tuning* tuning = testing::find_tuning(data, "spk");
    ASSERT_NE(nullptr, tuning);
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(audio_optimizer_frequency), ElementsAre(47, 141));
    EXPECT_THAT(values.at(audio_optimizer_gain_l), ElementsAre(-32, 0));
    EXPECT_THAT(values.at(audio_optimizer_gain_r), ElementsAre(-24, 0));
    EXPECT_THAT(values.at(audio_optimizer_gain_ls), ElementsAre(-8, 0));
    EXPECT_THAT(values.at(audio_optimizer_gain_rs), ElementsAre(-4, 0));
    EXPECT_THAT(values.at(regulator_frequency), ElementsAre(47, 141));
    EXPECT_THAT(values.at(regulator_threshold_low), ElementsAre(-192, -160));
    EXPECT_THAT(values.at(regulator_threshold_high), ElementsAre(0, 16));
    EXPECT_THAT(values.at(regulator_isolated_band), ElementsAre(1, 0));
}

TEST_F(TuningFileParserTest, ParameterElementsAreReadInTheirForms) {
    DeviceData& data = read(std::string(R"(
  <tuning name="spk">
    <data>)") + kBandTables +
                            R"(
      <bass-enhancer-boost value="192"/>
      <bass-extraction-enable value="true"/>
      <bass-mbdrc-enable value="false"/>
      <virtualizer-front-speaker-angle unit="deg" value="10"/>
      <complex-equalizer-tuning-left value="-32,-16,,0"/>
      <regulator-stress-amount value="16"/>
      <virtual-bass-mix-freqs frequency_high="469" frequency_low="94"/>
      <virtual-bass-src-freqs frequency_low="35"/>
      <output-mode>
        <mix-matrix>
          <row value="8192,8192"/>
        </mix-matrix>
      </output-mode>
      <volume-leveler-enable value="true"/>
      <virtual-bass-enable value="true"/>
      <orientation value="3"/>
    </data>
  </tuning>)");
    Tuning* tuning = testing::find_tuning(data, "spk");
    ASSERT_NE(nullptr, tuning);
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(bass_enhancer_boost), ElementsAre(192));
    EXPECT_THAT(values.at(bass_extraction_enable), ElementsAre(1));
    EXPECT_THAT(values.at(bass_mbdrc_enable), ElementsAre(0));
    EXPECT_THAT(values.at(virtualizer_front_speaker_angle), ElementsAre(0));
    EXPECT_THAT(values.at(complex_equalizer_tuning_left), ElementsAre(-32, -16, 0));
    EXPECT_THAT(values.at(regulator_stress_amount), ElementsAre(16));
    EXPECT_THAT(values.at(virtual_bass_mix_freq_low), ElementsAre(94));
    EXPECT_THAT(values.at(virtual_bass_mix_freq_high), ElementsAre(469));
    EXPECT_THAT(values.at(virtual_bass_src_freq_low), ElementsAre(35));
    EXPECT_THAT(values.at(virtual_bass_src_freq_high), ElementsAre(0));
    EXPECT_THAT(values.at(output_mix_matrix), ElementsAre(8192, 8192));
    // The orientation comes from the tuning's attribute; endpoint keys and the spelling
    // "virtual-bass-enable" give a tuning nothing.
    EXPECT_THAT(values.at(orientation), ElementsAre(0));
    for (const auto& [parameter, value] : values) {
        EXPECT_EQ(1u, Tuning::kValidParams.count(parameter)) << kParameterNames[parameter];
    }
}

TEST_F(TuningFileParserTest, TuningWithoutDataIsDroppedButItsDevicesStay) {
    DeviceData& data = read(R"(
  <tuning name="orphan" endpoint_type="headphone">
    <device_id id="dev_a" endpoint_port="headphone"/>
    <device_id id="dev_b" endpoint_port="usb"/>
    <device_id/>
  </tuning>
  <tuning name="bare"/>)");
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_THAT(testing::devices_of(data, "orphan"),
                ElementsAre("@", "dev_a@headphone", "dev_b@usb"));
    EXPECT_EQ(2u, mLog.countMessage("There is no <data> in Tuning section")) << mLog.dump();
}

// --- Positional layout -------------------------------------------------------------------

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
                              "whitespace in front of it, so the data block cannot be found"))
        << mLog.dump();
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR,
                              "Tuning [tight] at line 3 dropped: <device_id> at line 4 has no "
                              "whitespace in front of it, so the data block cannot be found"))
        << mLog.dump();
}

// --- Repeated reads ----------------------------------------------------------------------

TEST_F(TuningFileParserTest, SecondFileOnOneParserAddsToTheRecordsOfTheFirst) {
    const std::string tuning = std::string(R"(
    <data>)") + kBandTables + R"(
    </data>
  </tuning>)";
    read(R"(<format_version major="1" minor="0" maintenance="0"/><tuning name="first">)" + tuning);
    DeviceData& second = read(R"(<tuning name="second">)" + tuning);
    EXPECT_EQ("", second.getFormatVersion());
    EXPECT_EQ(2u, second.getTunings().size());
    EXPECT_NE(nullptr, testing::find_tuning(second, "first"));
}

TEST_F(TuningFileParserTest, WalkWithoutDocumentDoesNothing) {
    mParser.parseTuningFile();
    EXPECT_FALSE(mParser.isParsed());
    EXPECT_EQ(nullptr, mParser.getDeviceData());
}

}  // namespace
}  // namespace velora
