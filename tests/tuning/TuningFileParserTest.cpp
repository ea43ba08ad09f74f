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

// A tuning element with the two band tables every tuning carries, around the given
// parameter elements.
std::string tuning_xml(const std::string& attributes, const std::string& parameters,
                       const std::string& devices = "") {
    return "  <tuning " + attributes + ">\n" + devices +
           "    <data>\n"
           "      <audio-optimizer-bands>\n"
           "      </audio-optimizer-bands>\n"
           "      <regulator-bands>\n"
           "      </regulator-bands>\n" +
           parameters +
           "    </data>\n"
           "  </tuning>\n";
}

std::string document(const std::string& body) {
    return "<?xml version=\"1.0\"?>\n<velora_tuning>\n" + body + "</velora_tuning>\n";
}

class TuningFileParserTest : public ::testing::Test {
  protected:
    // Reads the document into mParser and returns its DeviceData (asserting success).
    DeviceData& read(const std::string& body) {
        int result = mParser.setTuningFile(write_tuning(mRoot, document(body)));
        EXPECT_EQ(0, result) << mLog.dump();
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
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "invalide tuning file path, 115"))
        << mLog.dump();
    EXPECT_EQ(nullptr, mParser.getDeviceData());
    EXPECT_FALSE(mParser.isParsed());
    EXPECT_EQ(-EINVAL, mParser.initXmlParser());
}

TEST_F(TuningFileParserTest, MissingOrMalformedFileIsAnInvalidArgument) {
    for (const std::string& path : {mRoot.hostPath("/odm/etc/velora/absent.xml"),
                                    testing::source_file("tests/data/tuning/malformed.xml"),
                                    testing::source_file("tests/data/tuning/empty.xml")}) {
        mLog.clear();
        EXPECT_EQ(-EINVAL, mParser.setTuningFile(path)) << path;
        EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlReadFile,  128"))
            << mLog.dump();
        EXPECT_EQ(nullptr, mParser.getDeviceData());
    }
}

TEST_F(TuningFileParserTest, DocumentWithoutRootElementIsNoDevice) {
    // libxml2 refuses a file without a root element outright...
    EXPECT_EQ(-EINVAL,
              mParser.setTuningFile(testing::source_file("tests/data/tuning/no-root.xml")));
    EXPECT_TRUE(mLog.containsMessage("fail to call xmlReadFile,  128"));

    // ...so the root check is met with a document built in memory.
    XmlDocHolder doc(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
    xmlNodePtr root = reinterpret_cast<xmlNodePtr>(0x1);
    EXPECT_EQ(-ENODEV, TuningFileParser::findRootElement(doc.get(), &root));
    EXPECT_EQ(nullptr, root);
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "fail to call xmlDocGetRootElement, 134"));
}

TEST_F(TuningFileParserTest, FailedReadKeepsTheDeviceDataOfTheLastGoodOne) {
    DeviceData& first = read("  <format_version major=\"1\" minor=\"2\" maintenance=\"3\"/>\n");
    DeviceData* before = &first;

    EXPECT_EQ(-EINVAL,
              mParser.setTuningFile(testing::source_file("tests/data/tuning/malformed.xml")));
    ASSERT_EQ(before, mParser.getDeviceData());
    EXPECT_EQ("1.2.3", mParser.getDeviceData()->getFormatVersion());
}

TEST_F(TuningFileParserTest, PathConstructorReadsTheFile) {
    std::string path = write_tuning(mRoot, document("  <tool_version major=\"4\" minor=\"0\" "
                                                    "maintenance=\"1\"/>\n"));
    TuningFileParser parser(path);
    ASSERT_NE(nullptr, parser.getDeviceData());
    EXPECT_TRUE(parser.isParsed());
    EXPECT_EQ("4.0.1", parser.getDeviceData()->getToolVersion());
}

// --- Versions ----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, VersionsJoinTheirPartsWhateverTheAttributeOrder) {
    DeviceData& data = read(
        "  <format_version maintenance=\"7\" minor=\"12\" major=\"1\"/>\n"
        "  <tool_version major=\"2\" minor=\"04\" maintenance=\"x\"/>\n");
    EXPECT_EQ("1.12.7", data.getFormatVersion());
    // Kept as text: no conversion, no check.
    EXPECT_EQ("2.04.x", data.getToolVersion());
}

TEST_F(TuningFileParserTest, MissingVersionPartsStayEmpty) {
    DeviceData& data = read("  <format_version major=\"1\" minor=\"0\"/>\n  <tool_version/>\n");
    EXPECT_EQ("1.0.", data.getFormatVersion());
    EXPECT_EQ("..", data.getToolVersion());
    EXPECT_THAT(data.getProfiles(), IsEmpty());
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_TRUE(mParser.isParsed());
}

TEST_F(TuningFileParserTest, UnknownVersionAttributeIsLoggedAndIgnored) {
    DeviceData& data = read(
        "  <format_version major=\"1\" build=\"77\" minor=\"0\" "
        "maintenance=\"0\"/>\n");
    EXPECT_EQ("1.0.0", data.getFormatVersion());
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR, "invalid attribute name build"));
}

TEST_F(TuningFileParserTest, LaterVersionElementWins) {
    DeviceData& data = read(
        "  <format_version major=\"1\" minor=\"0\" maintenance=\"0\"/>\n"
        "  <format_version major=\"1\" minor=\"1\" maintenance=\"0\"/>\n");
    EXPECT_EQ("1.1.0", data.getFormatVersion());
}

TEST_F(TuningFileParserTest, VersionsWithoutElementsAreEmpty) {
    DeviceData& data = read("");
    EXPECT_EQ("", data.getFormatVersion());
    EXPECT_EQ("", data.getToolVersion());
}

// --- Value syntax ------------------------------------------------------------------------

class ValueSyntaxTest : public ::testing::Test {
  protected:
    // Parses a fragment held in memory and returns its root element.
    xmlNodePtr parse(const std::string& xml) {
        mDoc.reset(
            xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "fragment.xml", nullptr, 0));
        EXPECT_NE(nullptr, mDoc);
        return mDoc ? xmlDocGetRootElement(mDoc.get()) : nullptr;
    }

    XmlDocHolder mDoc;
};

TEST_F(ValueSyntaxTest, SingleValueReadsOnlyAFirstAttributeNamedValue) {
    EXPECT_EQ(1, TuningFileParser::getNodeValue(parse("<e value=\"true\"/>")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse("<e value=\"false\"/>")));
    EXPECT_EQ(-320, TuningFileParser::getNodeValue(parse("<e value=\"-320\"/>")));
    EXPECT_EQ(12, TuningFileParser::getNodeValue(parse("<e value=\"  12dB\"/>")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse("<e value=\"TRUE\"/>")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse("<e value=\"\"/>")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse("<e/>")));
    // A later attribute named value is not looked at.
    EXPECT_EQ(0, TuningFileParser::getNodeValue(parse("<e unit=\"dB\" value=\"7\"/>")));
    EXPECT_EQ(0, TuningFileParser::getNodeValue(nullptr));
}

TEST_F(ValueSyntaxTest, DataRowSplitsTheFirstAttributeAndDropsEmptyFields) {
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e value=\"1,,2, 3\"/>")),
                ElementsAre(1, 2, 3));
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e coefficients=\"-4,5,\" value=\"9\"/>")),
                ElementsAre(-4, 5));
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e value=\",,,\"/>")), IsEmpty());
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e value=\"\"/>")), IsEmpty());
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e/>")), IsEmpty());
    // A piece that is no number reads as 0, never as a left-over value.
    EXPECT_THAT(TuningFileParser::parseDataRow(parse("<e value=\"7,x,8\"/>")),
                ElementsAre(7, 0, 8));
}

TEST_F(ValueSyntaxTest, MixMatrixAppendsTheRowsOfItsContainer) {
    xmlNodePtr mode = parse(
        "<output-mode>\n"
        "  <!-- L/R from L, R, Ls, Rs -->\n"
        "  <mix-matrix>\n"
        "    <row value=\"16384,0,11585,0\"/>\n"
        "    <row/>\n"
        "    <row value=\"0,16384,0,11585\"/>\n"
        "  </mix-matrix>\n"
        "  <mix-matrix>\n"
        "    <row value=\"1,1,1,1\"/>\n"
        "  </mix-matrix>\n"
        "</output-mode>");
    EXPECT_THAT(TuningFileParser::parseMixMatrix(mode),
                ElementsAre(16384, 0, 11585, 0, 0, 16384, 0, 11585));
    EXPECT_THAT(TuningFileParser::parseMixMatrix(parse("<output-mode>\n</output-mode>")),
                IsEmpty());
}

TEST_F(ValueSyntaxTest, XmlTextIsCopiedWhole) {
    EXPECT_EQ("", TuningFileParser::xmlChar2String(nullptr));
    EXPECT_EQ("speaker",
              TuningFileParser::xmlChar2String(reinterpret_cast<const xmlChar*>("speaker")));
}

// --- Presets -----------------------------------------------------------------------------

struct IeqIdCase {
    const char* id;
    PresetType type;
};

class IeqPresetIdTest : public TuningFileParserTest,
                        public ::testing::WithParamInterface<IeqIdCase> {};

TEST_P(IeqPresetIdTest, PresetTypeComesFromTheIdDefaultingToBalanced) {
    DeviceData& data =
        read(std::string("  <preset id=\"") + GetParam().id + "\" type=\"ieq\">\n  </preset>\n");
    ASSERT_EQ(1u, data.getIeqPresets().size());
    IeqPreset* preset = *data.getIeqPresets().begin();
    EXPECT_EQ(GetParam().type, preset->getType());
    EXPECT_THAT(preset->getValues().at(ieq_id), ElementsAre(GetParam().type));
    EXPECT_FALSE(mLog.containsMessage("name is invalid, 271"));
}

INSTANTIATE_TEST_SUITE_P(Ids, IeqPresetIdTest,
                         ::testing::Values(IeqIdCase{"ieq_detailed", PRESET_DETAILED},
                                           IeqIdCase{"ieq_balanced", PRESET_BALANCED},
                                           IeqIdCase{"ieq_warm", PRESET_WARM},
                                           IeqIdCase{"ieq_off", PRESET_OFF},
                                           IeqIdCase{"ieq_xyz", PRESET_BALANCED},
                                           IeqIdCase{"", PRESET_BALANCED},
                                           IeqIdCase{"Warm", PRESET_BALANCED},
                                           // Order of the tests: detailed, balanced, warm, off.
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
         {Case{"ieq_detailed", PRESET_DETAILED, false},
          Case{"ieq_balanced", PRESET_BALANCED, false}, Case{"ieq_warm", PRESET_WARM, false},
          Case{"ieq_off", PRESET_OFF, false}, Case{"warm_off", PRESET_OFF, false},
          Case{"balanced_warm", PRESET_BALANCED, false}, Case{"detailed_warm", PRESET_WARM, false},
          Case{"ieq_xyz", PRESET_OFF, true}, Case{"Warm", PRESET_OFF, true},
          Case{"", PRESET_OFF, true}}) {
        mLog.clear();
        EXPECT_EQ(c.type, TuningFileParser::getIeqPresetTypeByName(c.name)) << c.name;
        EXPECT_EQ(c.logged, mLog.contains(kTag, ANDROID_LOG_ERROR, "name is invalid, 271"))
            << c.name;
    }
}

TEST_F(TuningFileParserTest, IeqBandsAreTakenFromBandIeqElementsAsStoredLists) {
    DeviceData& data = read(
        "  <preset id=\"ieq_warm\" type=\"ieq\">\n"
        "    <band_ieq frequency=\"47\" target=\"64\" q=\"7\"/>\n"
        "    <band frequency=\"99\" target=\"99\"/>\n"
        "    <band_ieq target=\"56\" frequency=\"141\"/>\n"
        "    <band_ieq frequency=\"234\"/>\n"
        "  </preset>\n");
    IeqPreset* preset = testing::find_ieq(data, PRESET_WARM);
    ASSERT_NE(nullptr, preset);
    // The lists are gathered as "v1,v2,...," and converted like every stored list, which
    // leaves one trailing 0.
    EXPECT_THAT(preset->getValues().at(ieq_frequency), ElementsAre(47, 141, 234, 0));
    EXPECT_THAT(preset->getValues().at(ieq_target), ElementsAre(64, 56, 0));
    EXPECT_EQ(3u, preset->getValues().size());
}

TEST_F(TuningFileParserTest, GeqPresetBelongsToTheProfileItsIdNames) {
    DeviceData& data = read(
        "  <preset id=\"2\" type=\"geq\">\n"
        "    <band_geq frequency=\"47\" gain=\"-16\"/>\n"
        "    <band frequency=\"141\" gain=\"8\"/>\n"
        "  </preset>\n"
        "  <preset id=\"music\" type=\"geq\">\n"
        "  </preset>\n"
        "  <preset id=\"ieq_warm\" type=\"peq\"/>\n"
        "  <preset id=\"ieq_warm\"/>\n");
    ASSERT_EQ(2u, data.getGeqPresets().size());
    EXPECT_THAT(data.getIeqPresets(), IsEmpty());
    GeqPreset* music = testing::find_geq(data, 2);
    ASSERT_NE(nullptr, music);
    // Every child counts as a band, whatever its name.
    EXPECT_THAT(music->getValues().at(geq_frequency), ElementsAre(47, 141, 0));
    EXPECT_THAT(music->getValues().at(geq_gain), ElementsAre(-16, 8, 0));
    ASSERT_NE(nullptr, testing::find_geq(data, 0));  // a word id reads as 0
}

// --- Profiles ----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, ProfileReadsItsDataBlockIncludeAndEndpoints) {
    DeviceData& data = read(
        "  <profile id=\"2\" name=\"Music\">\n"
        "    <data>\n"
        "      <ieq-enable value=\"true\"/>\n"
        "      <ieq-amount value=\"12\"/>\n"
        "      <mi-dv-leveler-steering-enable value=\"false\"/>\n"
        "      <mi-ieq-steering-enable value=\"true\"/>\n"
        "      <mi-surround-compressor-steering-enable value=\"false\"/>\n"
        "      <mi-adaptive-virtualizer-steering-enable value=\"true\"/>\n"
        "      <volume-modeler-enable value=\"false\"/>\n"
        "      <drc-metadata value=\"1,0,,1\"/>\n"
        "      <bass-enhancer-boost value=\"192\"/>\n"
        "      <volume-leveler-enable value=\"true\"/>\n"
        "      <endpoint_type id=\"headphone\">\n"
        "        <volume-leveler-amount value=\"4\"/>\n"
        "        <virtual-bass-process-enable value=\"true\"/>\n"
        "        <ieq-amount value=\"3\"/>\n"
        "        <bass-enhancer-width value=\"16\"/>\n"
        "      </endpoint_type>\n"
        "      <endpoint_type id=\"speaker\">\n"
        "      </endpoint_type>\n"
        "    </data>\n"
        "    <include preset=\"ieq_warm\"/>\n"
        "  </profile>\n");
    ASSERT_EQ(1u, data.getProfiles().size());
    Profile* music = testing::find_profile(data, 2);
    ASSERT_NE(nullptr, music);
    EXPECT_EQ("Music", music->getName());
    EXPECT_EQ(PRESET_WARM, music->getSelectedIeqPreset());
    EXPECT_EQ(2, music->getSelectedGeqPreset());
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
    // Tuning and endpoint keys directly in the profile's data block are not profile values.
    EXPECT_EQ(expected, music->getValues());

    ASSERT_EQ(2u, data.getProfileEndpoints().size());
    ProfileEndpoint* headphone = testing::find_endpoint(data, 2, ENDPOINT_HEADPHONE);
    ASSERT_NE(nullptr, headphone);
    const ParameterValues::Values expectedEndpoint = {
        {virtual_bass_enable, {1}},
        {volume_leveler_amount, {4}},
    };
    EXPECT_EQ(expectedEndpoint, headphone->getValues());
    ASSERT_NE(nullptr, testing::find_endpoint(data, 2, ENDPOINT_SPEAKER));
    EXPECT_THAT(testing::find_endpoint(data, 2, ENDPOINT_SPEAKER)->getValues(), IsEmpty());

    EXPECT_EQ(1, mParser.getNumOfProfiles());
    EXPECT_EQ("Music", mParser.getProfileName(2));
    EXPECT_FALSE(mLog.containsMessage("name is invalid, 271"));
}

TEST_F(TuningFileParserTest, UnknownProfileNameIsEmpty) {
    read("");
    EXPECT_EQ("", mParser.getProfileName(7));
    EXPECT_EQ(0, mParser.getNumOfProfiles());
}

TEST_F(TuningFileParserTest, IncludeCountsOnlyWithPresetAsItsFirstAttribute) {
    DeviceData& data = read(
        "  <profile id=\"0\" name=\"A\">\n"
        "    <data>\n    </data>\n"
        "    <include name=\"x\" preset=\"ieq_warm\"/>\n"
        "  </profile>\n"
        "  <profile id=\"1\" name=\"B\">\n"
        "    <data>\n    </data>\n"
        "    <import preset=\"ieq_warm\"/>\n"
        "  </profile>\n"
        "  <profile id=\"2\" name=\"C\">\n"
        "    <data>\n    </data>\n"
        "    <include preset=\"ieq_detailed\"/>\n"
        "  </profile>\n");
    ASSERT_EQ(3u, data.getProfiles().size());
    EXPECT_EQ(PRESET_OFF, testing::find_profile(data, 0)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_OFF, testing::find_profile(data, 1)->getSelectedIeqPreset());
    EXPECT_EQ(PRESET_DETAILED, testing::find_profile(data, 2)->getSelectedIeqPreset());
    EXPECT_EQ(2u, mLog.countMessage("name is invalid, 271"));
}

TEST_F(TuningFileParserTest, EndpointNamesMapDifferentlyForProfilesAndTunings) {
    DeviceData& data = read(
        "  <profile id=\"0\" name=\"P\">\n"
        "    <data>\n"
        "      <endpoint_type id=\"bluetooth\">\n      </endpoint_type>\n"
        "      <endpoint_type>\n      </endpoint_type>\n"
        "    </data>\n"
        "    <include preset=\"ieq_balanced\"/>\n"
        "  </profile>\n" +
        tuning_xml("name=\"bt\" endpoint_type=\"bluetooth\"", "") +
        tuning_xml("name=\"none\"", "") +
        tuning_xml("name=\"hp\" endpoint_type=\"headphone\"", "") +
        tuning_xml("name=\"hdmi\" endpoint_type=\"other\"", ""));
    ASSERT_EQ(2u, data.getProfileEndpoints().size());
    for (ProfileEndpoint* endpoint : data.getProfileEndpoints()) {
        EXPECT_EQ(ENDPOINT_OTHER, endpoint->getEndpoint());
    }
    EXPECT_EQ(ENDPOINT_SPEAKER, testing::find_tuning(data, "bt")->getEndpoint());
    EXPECT_EQ(ENDPOINT_SPEAKER, testing::find_tuning(data, "none")->getEndpoint());
    EXPECT_EQ(ENDPOINT_HEADPHONE, testing::find_tuning(data, "hp")->getEndpoint());
    EXPECT_EQ(ENDPOINT_OTHER, testing::find_tuning(data, "hdmi")->getEndpoint());
}

// --- Tunings -----------------------------------------------------------------------------

TEST_F(TuningFileParserTest, TuningAttributesGiveNameEndpointMonoAndOutputValues) {
    DeviceData& data =
        read(tuning_xml("name=\"mono\" endpoint_type=\"speaker\" mono_device=\"true\" "
                        "orientation=\"1\" output_channels=\"2ch\"",
                        "") +
             tuning_xml("name=\"upper\" mono_device=\"TRUE\"", ""));
    Tuning* mono = testing::find_tuning(data, "mono");
    ASSERT_NE(nullptr, mono);
    EXPECT_TRUE(mono->isMono());
    EXPECT_TRUE(mono->isReadonly());
    EXPECT_TRUE(mono->isDirty());
    EXPECT_EQ(-1, mono->getId());
    EXPECT_THAT(mono->getValues().at(orientation), ElementsAre(1));
    EXPECT_THAT(mono->getValues().at(output_channels), ElementsAre(2));

    Tuning* upper = testing::find_tuning(data, "upper");
    ASSERT_NE(nullptr, upper);
    EXPECT_FALSE(upper->isMono());
    EXPECT_THAT(upper->getValues().at(orientation), ElementsAre(0));
    EXPECT_THAT(upper->getValues().at(output_channels), ElementsAre(0));
}

TEST_F(TuningFileParserTest, BandTablesFillAlignedListsBandByBand) {
    DeviceData& data = read(
        "  <tuning name=\"spk\">\n"
        "    <data>\n"
        "      <optimizer>\n"
        "        <band frequency=\"47\" gain_left=\"-32\" gain_right=\"-24\" "
        "gain_left_surround=\"-8\" gain_right_surround=\"-4\"/>\n"
        "        <!-- a band without gains -->\n"
        "        <band frequency=\"141\"/>\n"
        "      </optimizer>\n"
        "      <regulator>\n"
        "        <band frequency=\"47\" threshold_low=\"-192\" threshold_high=\"0\" "
        "isolated_band=\"true\"/>\n"
        "        <b frequency=\"141\" threshold_low=\"-160\" threshold_high=\"16\" "
        "isolated_band=\"yes\"/>\n"
        "      </regulator>\n"
        "    </data>\n"
        "  </tuning>\n");
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
    DeviceData& data = read(
        tuning_xml("name=\"spk\"",
                   "      <bass-enhancer-boost value=\"192\"/>\n"
                   "      <regulator-enable value=\"true\"/>\n"
                   "      <bass-extraction-enable value=\"true\"/>\n"
                   "      <bass-mbdrc-enable value=\"false\"/>\n"
                   "      <virtualizer-front-speaker-angle unit=\"deg\" value=\"10\"/>\n"
                   "      <complex-equalizer-tuning-left value=\"-32,-16,,0\"/>\n"
                   "      <regulator-stress-amount value=\"16\"/>\n"
                   "      <virtual-bass-subgains value=\"-32,-144,-192\"/>\n"
                   "      <virtual-bass-mix-freqs frequency_high=\"469\" frequency_low=\"94\"/>\n"
                   "      <virtual-bass-src-freqs frequency_low=\"35\"/>\n"
                   "      <output-mode>\n"
                   "        <mix-matrix>\n"
                   "          <row value=\"8192,8192\"/>\n"
                   "        </mix-matrix>\n"
                   "      </output-mode>\n"
                   "      <volume-leveler-enable value=\"true\"/>\n"
                   "      <ieq-enable value=\"true\"/>\n"
                   "      <virtual-bass-enable value=\"true\"/>\n"
                   "      <orientation value=\"3\"/>\n"));
    Tuning* tuning = testing::find_tuning(data, "spk");
    ASSERT_NE(nullptr, tuning);
    const ParameterValues::Values& values = tuning->getValues();
    EXPECT_THAT(values.at(bass_enhancer_boost), ElementsAre(192));
    EXPECT_THAT(values.at(regulator_enable), ElementsAre(1));
    EXPECT_THAT(values.at(bass_extraction_enable), ElementsAre(1));
    EXPECT_THAT(values.at(bass_mbdrc_enable), ElementsAre(0));
    EXPECT_THAT(values.at(virtualizer_front_speaker_angle), ElementsAre(0));  // first attr
    EXPECT_THAT(values.at(complex_equalizer_tuning_left), ElementsAre(-32, -16, 0));
    EXPECT_THAT(values.at(regulator_stress_amount), ElementsAre(16));
    EXPECT_THAT(values.at(virtual_bass_subgains), ElementsAre(-32, -144, -192));
    EXPECT_THAT(values.at(virtual_bass_mix_freq_low), ElementsAre(94));
    EXPECT_THAT(values.at(virtual_bass_mix_freq_high), ElementsAre(469));
    EXPECT_THAT(values.at(virtual_bass_src_freq_low), ElementsAre(35));
    EXPECT_THAT(values.at(virtual_bass_src_freq_high), ElementsAre(0));
    EXPECT_THAT(values.at(output_mix_matrix), ElementsAre(8192, 8192));
    // The orientation comes from the tuning's attribute, not from an element.
    EXPECT_THAT(values.at(orientation), ElementsAre(0));
    // Keys of endpoints and profiles, and the spelling "virtual-bass-enable", are no tuning
    // values: the tuning keeps only what a tuning holds.
    for (const auto& [parameter, value] : values) {
        EXPECT_EQ(1u, Tuning::kValidParams.count(parameter)) << kParameterNames[parameter];
    }
    EXPECT_EQ(0u, values.count(volume_leveler_enable));
    EXPECT_EQ(0u, values.count(virtual_bass_enable));
}

TEST_F(TuningFileParserTest, DeviceEntriesNameTheirTuning) {
    DeviceData& data = read(tuning_xml("name=\"headphone\" endpoint_type=\"headphone\"", "",
                                       "    <device_id id=\"default_headphone\" "
                                       "endpoint_port=\"headphone\"/>\n"
                                       "    <device_id id=\"default_bluetooth\" "
                                       "endpoint_port=\"bluetooth\"/>\n"
                                       "    <device_id/>\n"));
    ASSERT_EQ(1u, data.getTunings().size());
    EXPECT_THAT(testing::devices_of(data, "headphone"),
                ElementsAre("@", "default_bluetooth@bluetooth", "default_headphone@headphone"));
    DeviceTuning* entry = testing::find_device(data, "default_bluetooth");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(-1, entry->getId());
    EXPECT_TRUE(entry->isDirty());
}

TEST_F(TuningFileParserTest, TuningWithoutDataIsDroppedButItsDevicesStay) {
    DeviceData& data = read(
        "  <tuning name=\"orphan\" endpoint_type=\"headphone\">\n"
        "    <device_id id=\"dev_a\" endpoint_port=\"headphone\"/>\n"
        "    <device_id id=\"dev_b\" endpoint_port=\"usb\"/>\n"
        "  </tuning>\n"
        "  <tuning name=\"bare\"/>\n");
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_THAT(testing::devices_of(data, "orphan"), ElementsAre("dev_a@headphone", "dev_b@usb"));
    EXPECT_EQ(2u, mLog.countMessage("There is no <data> in Tuning section")) << mLog.dump();
}

// --- Positional layout -------------------------------------------------------------------

TEST_F(TuningFileParserTest, SectionsWithoutWhitespaceBetweenElementsAreDropped) {
    DeviceData& data = read(
        "  <profile id=\"0\" name=\"Tight\"><data><ieq-enable value=\"true\"/></data>"
        "<include preset=\"ieq_warm\"/></profile>\n"
        "  <tuning name=\"tight\">\n"
        "    <device_id id=\"kept\" endpoint_port=\"hdmi\"/><device_id id=\"unread\"/>\n"
        "    <data>\n"
        "      <a>\n      </a>\n      <b>\n      </b>\n"
        "    </data>\n"
        "  </tuning>\n");
    EXPECT_THAT(data.getProfiles(), IsEmpty());
    EXPECT_THAT(data.getProfileEndpoints(), IsEmpty());
    EXPECT_EQ(0, mParser.getNumOfProfiles());
    EXPECT_THAT(data.getTunings(), IsEmpty());
    // The entry read before the break stays, like the entries of any dropped tuning.
    EXPECT_THAT(testing::devices_of(data, "tight"), ElementsAre("kept@hdmi"));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR,
                              "Profile 0 [Tight] at line 3 dropped: <data> at line 3 has no "
                              "whitespace in front of it, so the data block cannot be found"))
        << mLog.dump();
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_ERROR,
                              "Tuning [tight] at line 4 dropped: <device_id> at line 5 has no "
                              "whitespace in front of it, so the data block cannot be found"))
        << mLog.dump();
}

TEST_F(TuningFileParserTest, MissingBandTableDropsTheTuning) {
    DeviceData& data = read(
        "  <tuning name=\"one_table\">\n"
        "    <data>\n"
        "      <audio-optimizer-bands>\n      </audio-optimizer-bands>\n"
        "    </data>\n"
        "  </tuning>\n"
        "  <tuning name=\"empty\">\n"
        "    <data/>\n"
        "  </tuning>\n");
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_TRUE(
        mLog.containsMessage("Tuning [one_table] at line 3 dropped: no regulator band table"))
        << mLog.dump();
    EXPECT_TRUE(
        mLog.containsMessage("Tuning [empty] at line 9 dropped: no audio-optimizer "
                             "band table"))
        << mLog.dump();
}

TEST_F(TuningFileParserTest, ElementAtABandTablePositionIsReadAsTheTable) {
    DeviceData& data = read(
        "  <tuning name=\"slipped\">\n"
        "    <data>\n"
        "      <audio-optimizer-bands>\n"
        "        <band frequency=\"47\"/>\n"
        "      </audio-optimizer-bands>\n"
        "      <regulator-enable value=\"true\"/>\n"
        "      <regulator-bands>\n"
        "        <band frequency=\"47\"/>\n"
        "      </regulator-bands>\n"
        "      <bass-enhancer-boost value=\"192\"/>\n"
        "    </data>\n"
        "  </tuning>\n");
    Tuning* tuning = testing::find_tuning(data, "slipped");
    ASSERT_NE(nullptr, tuning);
    EXPECT_THAT(tuning->getValues().at(audio_optimizer_frequency), ElementsAre(47));
    EXPECT_THAT(tuning->getValues().at(regulator_frequency), IsEmpty());
    EXPECT_EQ(0u, tuning->getValues().count(regulator_enable));
    EXPECT_THAT(tuning->getValues().at(bass_enhancer_boost), ElementsAre(192));
    EXPECT_TRUE(mLog.contains(kTag, ANDROID_LOG_WARN,
                              "Tuning [slipped]: <regulator-enable> at line 8 is read as the "
                              "regulator band table"))
        << mLog.dump();
}

TEST_F(TuningFileParserTest, CommentsCountOnlyWhereAnElementIsFoundByPosition) {
    DeviceData& data = read(
        "  <profile id=\"0\" name=\"Noted\">\n"
        "    <data>\n"
        "      <!-- loud -->\n"
        "      <ieq-amount value=\"16\"/>\n"
        "    </data>\n"
        "    <!-- <include preset=\"ieq_warm\"/> -->\n"
        "  </profile>\n"
        "  <tuning name=\"noted\">\n"
        "    <device_id id=\"dev\"/>\n"
        "    <!-- data -->\n"
        "    <data>\n"
        "      <a>\n      </a>\n      <b>\n      </b>\n"
        "    </data>\n"
        "  </tuning>\n");
    // A commented-out include is no include: the profile stays, with the "off" preset.
    Profile* profile = testing::find_profile(data, 0);
    ASSERT_NE(nullptr, profile);
    EXPECT_EQ(PRESET_OFF, profile->getSelectedIeqPreset());
    EXPECT_THAT(profile->getValues().at(ieq_amount), ElementsAre(16));
    // A comment where the data block belongs drops the tuning.
    EXPECT_THAT(data.getTunings(), IsEmpty());
    EXPECT_TRUE(
        mLog.containsMessage("Tuning [noted] at line 10 dropped: a non-element node at "
                             "line 12 stands where the data block belongs"))
        << mLog.dump();
}

// --- Repeated reads ----------------------------------------------------------------------

TEST_F(TuningFileParserTest, SecondFileOnOneParserAddsToTheRecordsOfTheFirst) {
    read("  <format_version major=\"1\" minor=\"0\" maintenance=\"0\"/>\n" +
         tuning_xml("name=\"first\"", ""));
    DeviceData& second = read(tuning_xml("name=\"second\"", ""));
    EXPECT_EQ("", second.getFormatVersion());
    EXPECT_EQ(2u, second.getTunings().size());
    EXPECT_NE(nullptr, testing::find_tuning(second, "first"));
    EXPECT_NE(nullptr, testing::find_tuning(second, "second"));
}

TEST_F(TuningFileParserTest, WalkWithoutDocumentDoesNothing) {
    mParser.parseTuningFile();
    EXPECT_FALSE(mParser.isParsed());
    EXPECT_EQ(nullptr, mParser.getDeviceData());
}

}  // namespace
}  // namespace velora
