/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "EffectTestSupport.h"
#include "effect/AudioOptimizerTranslator.h"
#include "effect/AudioRegulatorTranslator.h"
#include "effect/BassMbdrcTranslator.h"
#include "effect/ComplexEqualizerTranslator.h"
#include "effect/CustomDRCTranslator.h"
#include "effect/GeqTranslator.h"
#include "effect/IeqTranslator.h"
#include "effect/OutputModeTranslator.h"
#include "effect/ParameterTranslator.h"
#include "effect/SetParamCommand.h"
#include "effect/SimpleTranslator.h"
#include "effect/TranslatorCollection.h"
#include "effect/VirtualBassTranslator.h"
#include "model/DeviceParameters.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

using namespace velora::testing;
using Src = std::vector<std::pair<Parameter, V>>;
using Records = std::vector<BatchRecord>;

// Wire ids written out by hand, so that a wrong code in a translator shows up here.
constexpr uint32_t kAobs = 0x73626F61, kArsa = 0x61737261, kArbs = 0x73627261, kRssa = 0x61737372,
                   kCeqt = 0x74716563, kDom = 0x006D6F64, kGebs = 0x73626567, kVcbf = 0x66626376,
                   kIebs = 0x73626569, kVbsf = 0x66736276, kVbmf = 0x666D6276, kBmdt = 0x74646D62,
                   kDrcm = 0x6D637264, kDvla = 0x616C7664, kCeon = 0x6E6F6563;
constexpr int kTag = 8;

const AudioOptimizerTranslator kAo;
const ComplexEqualizerTranslator kCe;
const AudioRegulatorTranslator kAr;
const OutputModeTranslator kOm;
const GeqTranslator kGeq;
const IeqTranslator kIeq;
const VirtualBassTranslator kVb;
const BassMbdrcTranslator kMbdrc;
const CustomDRCTranslator kDrc;
const SimpleTranslator kSimple(DVLA, volume_leveler_amount);

Src with(Src base, const Src& more) {
    base.insert(base.end(), more.begin(), more.end());
    return base;
}

// Records tagged with device kTag.
Records r(std::initializer_list<std::pair<uint32_t, V>> records) {
    Records out;
    for (const auto& [id, values] : records) out.push_back({kTag, id, values});
    return out;
}

struct LayoutCase {
    const char* name;
    const Translator* translator;
    Src source;  // set in order: a later entry replaces an earlier one
    Records expected;
    Endpoint endpoint = ENDPOINT_SPEAKER;
    bool mono = false;
};

// clang-format off
const Src kAoSrc{{audio_optimizer_frequency, {100, 200, 300}}, {audio_optimizer_gain_l, {1, 2, 3}},
    {audio_optimizer_gain_ls, {7, 8, 9}}, {audio_optimizer_gain_r, {4, 5, 6}},
    {audio_optimizer_gain_rs, {10, 11, 12}}};
const Src kCeSrc{{complex_equalizer_enable, {1}}, {complex_equalizer_tuning_left, {1, 2}},
    {complex_equalizer_tuning_left_surround, {5, 6}}, {complex_equalizer_tuning_right, {3, 4}},
    {complex_equalizer_tuning_right_surround, {7, 8}}};
const Src kArSrc{{regulator_stress_amount, {7}}, {regulator_frequency, {100, 200}},
    {regulator_isolated_band, {0, 1}}, {regulator_threshold_high, {-1, -2}},
    {regulator_threshold_low, {-10, -20}}, {regulator_sibilance_suppress_amounts_left, {11}},
    {regulator_sibilance_suppress_amounts_left_surround, {12}},
    {regulator_sibilance_suppress_amounts_right, {13}},
    {regulator_sibilance_suppress_amounts_right_surround, {14}},
    {regulator_sibilance_suppress_enable, {1}}};
const Src kOmSrc{{virtualizer_enable, {1}}, {orientation, {0}}, {output_mix_matrix, {9, 8, 7, 6}}};
const V kArbsValues{2, 100, 200, -10, -20, -1, -2, 0, 1};

const LayoutCase kLayouts[] = {
    // Audio optimizer: band count, channel count, frequencies, gains L, R, (LS, RS).
    {"OptimizerFourChannels", &kAo, with(kAoSrc, {{output_channels, {4}}}),
     r({{kAobs, {3, 4, 100, 200, 300, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}})},
    {"OptimizerTwoChannels", &kAo, with(kAoSrc, {{output_channels, {2}}}),
     r({{kAobs, {3, 2, 100, 200, 300, 1, 2, 3, 4, 5, 6}}})},
    {"OptimizerSixChannels", &kAo, with(kAoSrc, {{output_channels, {6}}}), {}},
    {"OptimizerOneChannel", &kAo, with(kAoSrc, {{output_channels, {1}}}), {}},
    {"OptimizerNoChannels", &kAo, with(kAoSrc, {{output_channels, {}}}), {}},
    {"OptimizerZeroChannels", &kAo, with(kAoSrc, {{output_channels, {0}}}), {}},
    {"OptimizerEmptyTables", &kAo, {{output_channels, {2}}}, r({{kAobs, {0, 2}}})},
    // Complex equalizer: channel count, tuning length, rows L, R, (LS, RS); only while on.
    {"EqualizerFourChannels", &kCe, with(kCeSrc, {{output_channels, {4}}}),
     r({{kCeqt, {4, 2, 1, 2, 3, 4, 5, 6, 7, 8}}})},
    {"EqualizerTwoChannels", &kCe, with(kCeSrc, {{output_channels, {2}}}),
     r({{kCeqt, {2, 2, 1, 2, 3, 4}}})},
    {"EqualizerSixChannels", &kCe, with(kCeSrc, {{output_channels, {6}}}), {}},
    {"EqualizerOff", &kCe, with(kCeSrc, {{output_channels, {2}}, {complex_equalizer_enable, {0}}}), {}},
    {"EqualizerSwitchEmpty", &kCe, with(kCeSrc, {{output_channels, {2}}, {complex_equalizer_enable, {}}}), {}},
    {"EqualizerSwitchTwo", &kCe, with(kCeSrc, {{output_channels, {2}}, {complex_equalizer_enable, {2}}}), {}},
    {"EqualizerEmptyTunings", &kCe, {{complex_equalizer_enable, {1}}, {output_channels, {2}}}, r({{kCeqt, {2, 0}}})},
    // Regulator: "ARSA" and "ARBS" always, "RSSA" while sibilance suppression is on.
    {"RegulatorFourChannels", &kAr, with(kArSrc, {{output_channels, {4}}}),
     r({{kArsa, {4, 7}}, {kArbs, kArbsValues}, {kRssa, {4, 1, 11, 13, 12, 14}}})},
    {"RegulatorTwoChannels", &kAr, with(kArSrc, {{output_channels, {2}}}),
     r({{kArsa, {2, 7}}, {kArbs, kArbsValues}, {kRssa, {2, 1, 11, 13}}})},
    {"RegulatorSixChannels", &kAr, with(kArSrc, {{output_channels, {6}}}),
     r({{kArsa, {6, 7}}, {kArbs, kArbsValues}})},
    {"RegulatorSuppressionOff", &kAr,
     with(kArSrc, {{output_channels, {2}}, {regulator_sibilance_suppress_enable, {0}}}),
     r({{kArsa, {2, 7}}, {kArbs, kArbsValues}})},
    {"RegulatorEmptyView", &kAr, {}, r({{kArsa, {}}, {kArbs, {0}}})},
    // Output mode: virtualizer, endpoint, orientation, and the mix matrix on the speaker only;
    // a mono speaker has the virtualizer off and orientation 1. Mono plays no part elsewhere.
    {"OutputHeadphone", &kOm, kOmSrc, r({{kDom, {1, 1, 0}}}), ENDPOINT_HEADPHONE},
    {"OutputOther", &kOm, kOmSrc, r({{kDom, {1, 2, 0}}}), ENDPOINT_OTHER},
    {"OutputHeadphoneMono", &kOm, kOmSrc, r({{kDom, {1, 1, 0}}}), ENDPOINT_HEADPHONE, true},
    {"OutputSpeaker", &kOm, kOmSrc, r({{kDom, {1, 0, 0, 9, 8, 7, 6}}})},
    {"OutputSpeakerMono", &kOm, kOmSrc, r({{kDom, {0, 0, 1, 9, 8, 7, 6}}}), ENDPOINT_SPEAKER, true},
    {"OutputEmptyHeadphone", &kOm, {}, r({{kDom, {1}}}), ENDPOINT_HEADPHONE},
    {"OutputEmptySpeaker", &kOm, {}, r({{kDom, {0}}})},
    // The equalizer band table, then its frequencies again.
    {"Geq", &kGeq, {{geq_frequency, {60, 230, 910}}, {geq_gain, {1, -2, 3}}},
     r({{kGebs, {3, 60, 230, 910, 1, -2, 3}}, {kVcbf, {60, 230, 910}}})},
    {"GeqEmpty", &kGeq, {}, r({{kGebs, {0}}, {kVcbf, {}}})},
    {"Ieq", &kIeq, {{ieq_frequency, {100, 1000}}, {ieq_target, {-3, 4}}, {ieq_id, {2}}},
     r({{kIebs, {2, 100, 1000, -3, 4}}})},
    // Virtual bass: low then high of each range, whatever the endpoint.
    {"VirtualBass", &kVb, {{virtual_bass_src_freq_low, {40}}, {virtual_bass_src_freq_high, {150}},
      {virtual_bass_mix_freq_low, {100}}, {virtual_bass_mix_freq_high, {250}}},
     r({{kVbsf, {40, 150}}, {kVbmf, {100, 250}}}), ENDPOINT_HEADPHONE, true},
    {"BassMbdrc", &kMbdrc, {{bass_mbdrc_tuning, {1, 2, 3, 4, 5}}}, r({{kBmdt, {1, 2, 3, 4, 5}}})},
    {"CustomDrc", &kDrc, {{custom_drc_metadata, {-1, 0, 1}}}, r({{kDrcm, {-1, 0, 1}}})},
    {"Simple", &kSimple, {{volume_leveler_amount, {5}}}, r({{kDvla, {5}}})},
    {"SimpleEmpty", &kSimple, {}, r({{kDvla, {}}})},
};
// clang-format on

class TranslatorLayoutTest : public ::testing::TestWithParam<LayoutCase> {};

// A plain record serves as the source: translators read by lookup, whatever holds the values.
TEST_P(TranslatorLayoutTest, RecordsAreByteExact) {
    const LayoutCase& c = GetParam();
    Tuning source("test", ENDPOINT_SPEAKER, false);
    for (const auto& [parameter, values] : c.source) source.set(parameter, values);
    SetParamCommand command(0x40000000);
    command.setDeviceId(kTag);
    c.translator->pexTranslate(command, source, c.endpoint, c.mono);
    auto batch = decode_batch(command.getBuffer());
    EXPECT_FALSE(batch.malformed);
    EXPECT_EQ(static_cast<size_t>(command.getCount()), batch.records.size());
    EXPECT_EQ(c.expected, batch.records);
    if (c.translator == &kOm) {
        // Missing sources are entered empty; only a mono speaker changes the view: virtualizer
        // off, orientation 1.
        EXPECT_TRUE(source.has(virtualizer_enable) && source.has(orientation));
        const bool forced = c.mono && c.endpoint == ENDPOINT_SPEAKER;
        EXPECT_EQ(c.source.empty() ? V{} : V{forced ? 0 : 1}, source.lookup(virtualizer_enable));
        EXPECT_EQ(c.source.empty() ? V{} : V{forced ? 1 : 0}, source.lookup(orientation));
    }
    if (c.translator == &kSimple) {
        EXPECT_TRUE(source.has(volume_leveler_amount));
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, TranslatorLayoutTest, ::testing::ValuesIn(kLayouts),
                         [](const auto& info) { return std::string(info.param.name); });

// Runs the pending work (or all work) of one translator into a batch tagged with device 8.
DecodedBatch run(ParameterTranslator& translator, bool all = false) {
    SetParamCommand command(0x40000000);
    command.setDeviceId(kTag);
    all ? translator.translateAll(command) : translator.translatePending(command);
    auto batch = decode_batch(command.getBuffer());
    EXPECT_FALSE(batch.malformed);
    return batch;
}

class OneToOneTest : public ::testing::TestWithParam<OneToOne> {};

// Each one-to-one parameter, changed alone in a view that holds it, gives exactly its own code
// with its own value.
TEST_P(OneToOneTest, ChangedParameterSendsItsCodeAlone) {
    const OneToOne& row = GetParam();
    ParameterTranslator translator;
    ProfileParameters profileView(&translator);
    DeviceParameters deviceView(&translator);
    ParameterValues& view = ProfileParameters::kValidParams.count(row.parameter)
                                ? static_cast<ParameterValues&>(profileView)
                                : static_cast<ParameterValues&>(deviceView);
    ASSERT_TRUE(view.checkAndUpdate(row.parameter, {1000 + row.parameter, -1}));
    translator.setSource(&view, ENDPOINT_HEADPHONE, false);
    translator.onParameterChanged(row.parameter);
    EXPECT_EQ((Records{{kTag, row.id(), {1000 + row.parameter, -1}}}), run(translator).records);
}

INSTANTIATE_TEST_SUITE_P(AllOneToOne, OneToOneTest, ::testing::ValuesIn(kOneToOne),
                         [](const auto& info) { return std::string(info.param.text()); });

TEST(TranslatorCollectionTest, EverySentParameterHasExactlyOneTranslator) {
    ASSERT_EQ(52u, std::size(kOneToOne));
    EXPECT_EQ(61u, TranslatorCollection::kAllTranslators.size());
    // No parameter is read by two translators: the collection would keep only one.
    std::set<Parameter> sources;
    size_t sourceCount = 0;
    for (Translator* translator : TranslatorCollection::kAllTranslators) {
        sourceCount += translator->getSrcParams().size();
        sources.insert(translator->getSrcParams().begin(), translator->getSrcParams().end());
    }
    EXPECT_EQ(sourceCount, sources.size());

    const std::set<Parameter> neverSent{bass_extraction_enable, bass_extraction_cutoff_frequency,
                                        output_channels};
    for (int p = 0; p < kParameterCount; ++p) {
        const Parameter parameter = static_cast<Parameter>(p);
        Translator* translator =
            ParameterTranslator::sTranslatorCollection.getTranslator(parameter);
        if (neverSent.count(parameter)) {
            EXPECT_EQ(nullptr, translator) << kParameterNames[p];
            continue;
        }
        ASSERT_NE(nullptr, translator) << kParameterNames[p];
        EXPECT_EQ(1u, TranslatorCollection::kAllTranslators.count(translator));
        // A translator reads from one view only, so each view's translator can run it alone.
        const auto& group = ProfileParameters::kValidParams.count(parameter)
                                ? ProfileParameters::kValidParams
                                : DeviceParameters::kValidParams;
        for (Parameter source : translator->getSrcParams()) {
            EXPECT_EQ(1u, group.count(source))
                << kParameterNames[p] << " shares a translator with " << kParameterNames[source];
        }
    }
}

TEST(ParameterTranslatorTest, ChannelLayoutAndSwitchesSendOnlyTheirOwnRecords) {
    ParameterTranslator translator;
    DeviceParameters view(&translator);
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(output_channels, {2});
    tuning.set(bass_extraction_enable, {1});
    tuning.set(bass_extraction_cutoff_frequency, {80});
    view.setTuning(tuning);  // parameters without a translator: no work
    EXPECT_TRUE(translator.getPending().empty());
    EXPECT_TRUE(run(translator).records.empty());

    tuning.set(complex_equalizer_enable, {1});
    tuning.set(complex_equalizer_tuning_left, {1});
    tuning.set(complex_equalizer_tuning_right, {2});
    view.setTuning(tuning);
    auto first = run(translator);
    EXPECT_EQ(1u, first.withId(kCeqt).size());
    EXPECT_EQ(1u, first.withId(kCeon).size());
    // "CEQT" follows the tunings, not the switch: the switch alone sends only its own record;
    // switched back before anything was sent, it sends nothing the effect does not hold.
    tuning.set(complex_equalizer_enable, {0});
    view.setTuning(tuning);
    EXPECT_EQ((Records{{kTag, kCeon, {0}}}), run(translator).records);
    tuning.set(complex_equalizer_enable, {1});
    view.setTuning(tuning);
    tuning.set(complex_equalizer_enable, {0});
    view.setTuning(tuning);
    EXPECT_TRUE(run(translator).records.empty());
}

TEST(ParameterTranslatorTest, TranslateAllSendsEveryTranslatorOfTheView) {
    ParameterTranslator deviceTranslator;
    DeviceParameters deviceView(&deviceTranslator);
    // An empty device view: 44 one-to-one records, "ARSA", "ARBS", "DOM", "VBSF", "VBMF" and
    // "BMDT"; no "AOBS", "CEQT" or "RSSA" without a channel layout and the switches.
    auto device = run(deviceTranslator, true);
    std::set<uint32_t> ids;
    for (const auto& record : device.records) ids.insert(record.id);
    EXPECT_EQ(50u, device.records.size());
    EXPECT_EQ(50u, ids.size());
    EXPECT_EQ(1u, ids.count(kDom));
    EXPECT_EQ(0u, ids.count(0x656D7664));  // "DVME" is profile-wide

    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(output_channels, {2});
    tuning.set(complex_equalizer_enable, {1});
    tuning.set(regulator_sibilance_suppress_enable, {1});
    deviceView.setTuning(tuning);  // a stereo layout and both switches: the three tables join
    EXPECT_EQ(53u, run(deviceTranslator, true).records.size());

    ParameterTranslator profileTranslator;
    ProfileParameters profileView(&profileTranslator);
    // 8 one-to-one records, "GEBS", "VCBF", "IEBS", "DRCM".
    EXPECT_EQ(12u, run(profileTranslator, true).records.size());
    EXPECT_TRUE(profileTranslator.getPending().empty());
}

}  // namespace
}  // namespace velora
