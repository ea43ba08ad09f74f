/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <vector>

#include "BatchReader.h"
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
#include "effect/VirtualBassTranslator.h"
#include "model/DeviceParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

using testing::BatchRecord;
using testing::decode_batch;
using V = std::vector<int>;

// Wire ids written out by hand, so that a wrong code in a translator shows up here.
constexpr uint32_t kAobs = 0x73626F61;
constexpr uint32_t kArsa = 0x61737261;
constexpr uint32_t kArbs = 0x73627261;
constexpr uint32_t kRssa = 0x61737372;
constexpr uint32_t kCeqt = 0x74716563;
constexpr uint32_t kDom = 0x006D6F64;
constexpr uint32_t kGebs = 0x73626567;
constexpr uint32_t kVcbf = 0x66626376;
constexpr uint32_t kIebs = 0x73626569;
constexpr uint32_t kVbsf = 0x66736276;
constexpr uint32_t kVbmf = 0x666D6276;
constexpr uint32_t kBmdt = 0x74646D62;
constexpr uint32_t kDrcm = 0x6D637264;
constexpr uint32_t kDvla = 0x616C7664;

constexpr int kTag = 0x8;

// A plain record serves as the source: translators read by lookup and do not care which kind
// of record holds the values.
class SpecialTranslatorTest : public ::testing::Test {
  protected:
    SpecialTranslatorTest() : mValues("test", ENDPOINT_SPEAKER, false) {}

    std::vector<BatchRecord> run(const Translator& translator, Endpoint endpoint = ENDPOINT_SPEAKER,
                                 bool mono = false) {
        SetParamCommand command(0x40000000);
        command.setDeviceId(kTag);
        translator.pexTranslate(command, mValues, endpoint, mono);
        auto batch = decode_batch(command.getBuffer());
        EXPECT_FALSE(batch.malformed);
        EXPECT_EQ(static_cast<size_t>(command.getCount()), batch.records.size());
        return batch.records;
    }

    void set(Parameter parameter, const V& value) { mValues.set(parameter, value); }

    Tuning mValues;
};

// Audio optimizer: band count, then channel count, then frequencies and the gain rows
// left, right, left surround, right surround.
class AudioOptimizerTest : public SpecialTranslatorTest {
  protected:
    void SetUp() override {
        set(audio_optimizer_frequency, {100, 200, 300});
        set(audio_optimizer_gain_l, {1, 2, 3});
        set(audio_optimizer_gain_ls, {7, 8, 9});
        set(audio_optimizer_gain_r, {4, 5, 6});
        set(audio_optimizer_gain_rs, {10, 11, 12});
    }
    AudioOptimizerTranslator mTranslator;
};

TEST_F(AudioOptimizerTest, FourChannels) {
    set(output_channels, {4});
    EXPECT_EQ((std::vector<BatchRecord>{
                  {kTag, kAobs, {3, 4, 100, 200, 300, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}}),
              run(mTranslator));
}

TEST_F(AudioOptimizerTest, TwoChannelsLeaveTheSurroundRowsOut) {
    set(output_channels, {2});
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kAobs, {3, 2, 100, 200, 300, 1, 2, 3, 4, 5, 6}}}),
              run(mTranslator));
}

TEST_F(AudioOptimizerTest, FiveBandsStereoCarrySeventeenValues) {
    set(audio_optimizer_frequency, {1, 2, 3, 4, 5});
    set(audio_optimizer_gain_l, {6, 7, 8, 9, 10});
    set(audio_optimizer_gain_r, {11, 12, 13, 14, 15});
    set(output_channels, {2});
    auto records = run(mTranslator);
    ASSERT_EQ(1u, records.size());
    ASSERT_EQ(17u, records[0].values.size());
    EXPECT_EQ(5, records[0].values[0]);
    EXPECT_EQ(2, records[0].values[1]);
}

TEST_F(AudioOptimizerTest, OtherChannelCountsSendNothing) {
    for (const V& channels : {V{6}, V{1}, V{}, V{0}}) {
        set(output_channels, channels);
        EXPECT_TRUE(run(mTranslator).empty()) << "channels " << channels.size();
    }
}

TEST_F(AudioOptimizerTest, EmptyTablesStillCarryTheCounts) {
    Tuning empty("empty", ENDPOINT_SPEAKER, false);
    empty.set(output_channels, {2});
    mValues = empty;
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kAobs, {0, 2}}}), run(mTranslator));
}

// Complex equalizer: channel count first, then the tuning length, rows left, right, left
// surround, right surround; only while enabled.
class ComplexEqualizerTest : public SpecialTranslatorTest {
  protected:
    void SetUp() override {
        set(complex_equalizer_enable, {1});
        set(complex_equalizer_tuning_left, {1, 2});
        set(complex_equalizer_tuning_left_surround, {5, 6});
        set(complex_equalizer_tuning_right, {3, 4});
        set(complex_equalizer_tuning_right_surround, {7, 8});
    }
    ComplexEqualizerTranslator mTranslator;
};

TEST_F(ComplexEqualizerTest, FourChannels) {
    set(output_channels, {4});
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kCeqt, {4, 2, 1, 2, 3, 4, 5, 6, 7, 8}}}),
              run(mTranslator));
}

TEST_F(ComplexEqualizerTest, TwoChannels) {
    set(output_channels, {2});
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kCeqt, {2, 2, 1, 2, 3, 4}}}), run(mTranslator));
}

TEST_F(ComplexEqualizerTest, DisabledOrUnknownChannelsSendNothing) {
    set(output_channels, {6});
    EXPECT_TRUE(run(mTranslator).empty());
    set(output_channels, {2});
    for (const V& enable : {V{0}, V{}, V{2}}) {
        set(complex_equalizer_enable, enable);
        EXPECT_TRUE(run(mTranslator).empty());
    }
}

TEST_F(ComplexEqualizerTest, EmptyTuningsStereo) {
    Tuning empty("empty", ENDPOINT_SPEAKER, false);
    empty.set(complex_equalizer_enable, {1});
    empty.set(output_channels, {2});
    mValues = empty;
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kCeqt, {2, 0}}}), run(mTranslator));
}

// Regulator: "ARSA" and "ARBS" always; "RSSA" while sibilance suppression is on.
class AudioRegulatorTest : public SpecialTranslatorTest {
  protected:
    void SetUp() override {
        set(regulator_stress_amount, {7});
        set(regulator_frequency, {100, 200});
        set(regulator_isolated_band, {0, 1});
        set(regulator_threshold_high, {-1, -2});
        set(regulator_threshold_low, {-10, -20});
        set(regulator_sibilance_suppress_amounts_left, {11});
        set(regulator_sibilance_suppress_amounts_left_surround, {12});
        set(regulator_sibilance_suppress_amounts_right, {13});
        set(regulator_sibilance_suppress_amounts_right_surround, {14});
        set(regulator_sibilance_suppress_enable, {1});
    }
    AudioRegulatorTranslator mTranslator;
};

TEST_F(AudioRegulatorTest, FourChannelsWithSuppression) {
    set(output_channels, {4});
    EXPECT_EQ((std::vector<BatchRecord>{
                  {kTag, kArsa, {4, 7}},
                  {kTag, kArbs, {2, 100, 200, -10, -20, -1, -2, 0, 1}},
                  {kTag, kRssa, {4, 1, 11, 13, 12, 14}},
              }),
              run(mTranslator));
}

TEST_F(AudioRegulatorTest, TwoChannelsWithSuppression) {
    set(output_channels, {2});
    EXPECT_EQ((std::vector<BatchRecord>{
                  {kTag, kArsa, {2, 7}},
                  {kTag, kArbs, {2, 100, 200, -10, -20, -1, -2, 0, 1}},
                  {kTag, kRssa, {2, 1, 11, 13}},
              }),
              run(mTranslator));
}

TEST_F(AudioRegulatorTest, WithoutSuppressionOrKnownLayoutOnlyStressAndBands) {
    set(output_channels, {6});
    auto records = run(mTranslator);
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ((BatchRecord{kTag, kArsa, {6, 7}}), records[0]);
    EXPECT_EQ(kArbs, records[1].id);

    set(output_channels, {2});
    set(regulator_sibilance_suppress_enable, {0});
    records = run(mTranslator);
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(kArsa, records[0].id);
    EXPECT_EQ(kArbs, records[1].id);
}

TEST_F(AudioRegulatorTest, EmptyViewStillSendsStressAndBandCount) {
    mValues = Tuning("empty", ENDPOINT_SPEAKER, false);
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kArsa, {}}, {kTag, kArbs, {0}}}), run(mTranslator));
}

// Output mode: virtualizer, endpoint, orientation, and the mix matrix on the speaker only.
class OutputModeTest : public SpecialTranslatorTest {
  protected:
    void SetUp() override {
        set(virtualizer_enable, {1});
        set(orientation, {0});
        set(output_mix_matrix, {9, 8, 7, 6});
        set(output_channels, {2});
    }
    OutputModeTranslator mTranslator;
};

TEST_F(OutputModeTest, HeadphoneAndOtherNeverCarryTheMatrix) {
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {1, 1, 0}}}),
              run(mTranslator, ENDPOINT_HEADPHONE));
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {1, 2, 0}}}),
              run(mTranslator, ENDPOINT_OTHER));
    // Mono plays no part away from the speaker.
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {1, 1, 0}}}),
              run(mTranslator, ENDPOINT_HEADPHONE, /*mono=*/true));
}

TEST_F(OutputModeTest, StereoSpeakerSendsTheViewAsItIs) {
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {1, 0, 0, 9, 8, 7, 6}}}),
              run(mTranslator, ENDPOINT_SPEAKER, /*mono=*/false));
    EXPECT_EQ((V{1}), mValues.lookup(virtualizer_enable));
    EXPECT_EQ((V{0}), mValues.lookup(orientation));
}

TEST_F(OutputModeTest, MonoSpeakerForcesVirtualizerOffAndOrientationOneInTheView) {
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {0, 0, 1, 9, 8, 7, 6}}}),
              run(mTranslator, ENDPOINT_SPEAKER, /*mono=*/true));
    EXPECT_EQ((V{0}), mValues.lookup(virtualizer_enable));
    EXPECT_EQ((V{1}), mValues.lookup(orientation));
    EXPECT_EQ((V{9, 8, 7, 6}), mValues.lookup(output_mix_matrix));
}

TEST_F(OutputModeTest, EmptyViewSendsTheEndpointAlone) {
    mValues = Tuning("empty", ENDPOINT_SPEAKER, false);
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {1}}}), run(mTranslator, ENDPOINT_HEADPHONE));
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDom, {0}}}), run(mTranslator, ENDPOINT_SPEAKER));
    // Missing sources are entered empty in the view.
    EXPECT_TRUE(mValues.has(virtualizer_enable));
    EXPECT_TRUE(mValues.has(orientation));
}

TEST_F(SpecialTranslatorTest, GeqSendsBandTableThenFrequencies) {
    set(geq_frequency, {60, 230, 910});
    set(geq_gain, {1, -2, 3});
    GeqTranslator translator;
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kGebs, {3, 60, 230, 910, 1, -2, 3}},
                                        {kTag, kVcbf, {60, 230, 910}}}),
              run(translator));
    mValues = Tuning("empty", ENDPOINT_SPEAKER, false);
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kGebs, {0}}, {kTag, kVcbf, {}}}), run(translator));
}

TEST_F(SpecialTranslatorTest, IeqSendsBandCountFrequenciesTargets) {
    set(ieq_frequency, {100, 1000});
    set(ieq_target, {-3, 4});
    set(ieq_id, {2});
    IeqTranslator translator;
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kIebs, {2, 100, 1000, -3, 4}}}), run(translator));
}

TEST_F(SpecialTranslatorTest, VirtualBassSendsLowThenHighOfEachRange) {
    set(virtual_bass_src_freq_low, {40});
    set(virtual_bass_src_freq_high, {150});
    set(virtual_bass_mix_freq_low, {100});
    set(virtual_bass_mix_freq_high, {250});
    VirtualBassTranslator translator;
    const std::vector<BatchRecord> expected{{kTag, kVbsf, {40, 150}}, {kTag, kVbmf, {100, 250}}};
    EXPECT_EQ(expected, run(translator, ENDPOINT_SPEAKER, true));
    EXPECT_EQ(expected, run(translator, ENDPOINT_HEADPHONE, false));
}

TEST_F(SpecialTranslatorTest, WholeVectorTranslatorsCopyAsTheyAre) {
    set(bass_mbdrc_tuning, {1, 2, 3, 4, 5});
    set(custom_drc_metadata, {-1, 0, 1});
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kBmdt, {1, 2, 3, 4, 5}}}),
              run(BassMbdrcTranslator()));
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDrcm, {-1, 0, 1}}}), run(CustomDRCTranslator()));
}

TEST_F(SpecialTranslatorTest, SimpleTranslatorCopiesItsOneParameterEvenWhenEmpty) {
    SimpleTranslator translator(DVLA, volume_leveler_amount);
    EXPECT_EQ((std::vector<Parameter>{volume_leveler_amount}), translator.getSrcParams());
    set(volume_leveler_amount, {5});
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDvla, {5}}}), run(translator));
    mValues = Tuning("empty", ENDPOINT_SPEAKER, false);
    EXPECT_EQ((std::vector<BatchRecord>{{kTag, kDvla, {}}}), run(translator));
    EXPECT_TRUE(mValues.has(volume_leveler_amount));
}

// The write-back of a mono speaker reaches the merged view the translator reads, and the
// view then judges later changes against the forced values.
TEST(OutputModeViewTest, MonoSpeakerWriteBackStaysInTheDeviceView) {
    ParameterTranslator observer;
    DeviceParameters view(&observer);
    Tuning mono("mono", ENDPOINT_SPEAKER, /*mono=*/true);
    mono.set(virtualizer_enable, {1});
    mono.set(orientation, {0});
    mono.set(output_mix_matrix, {1, 0, 0, 1});
    view.setTuning(mono);

    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    observer.translatePending(command);
    auto dom = decode_batch(command.getBuffer()).withId(kDom);
    ASSERT_EQ(1u, dom.size());
    EXPECT_EQ((V{0, 0, 1, 1, 0, 0, 1}), dom[0].values);
    EXPECT_EQ((V{0}), view.lookup(virtualizer_enable));
    EXPECT_EQ((V{1}), view.lookup(orientation));

    // The tuning set again with its own values is a change against the forced ones.
    view.setTuning(mono);
    EXPECT_EQ(1u, observer.getPending().size());
}

}  // namespace
}  // namespace velora
