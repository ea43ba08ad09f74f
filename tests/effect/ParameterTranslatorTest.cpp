/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "BatchReader.h"
#include "effect/ParameterTranslator.h"
#include "effect/SetParamCommand.h"
#include "effect/TranslatorCollection.h"
#include "model/DeviceParameters.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

using testing::BatchRecord;
using testing::decode_batch;
using testing::DecodedBatch;
using V = std::vector<int>;

struct OneToOne {
    Parameter parameter;
    uint32_t id;
    const char* code;
};

// The one-to-one translators, with the wire ids written out by hand.
const OneToOne kOneToOne[] = {
        {graphic_equalizer_enable, 0x6E6F6567, "GEON"},
        {ieq_enable, 0x6E6F6569, "IEON"},
        {ieq_amount, 0x00616569, "IEA"},
        {ieq_id, 0x64696569, "IEID"},
        {mi_dv_leveler_steering_enable, 0x656C646D, "MDLE"},
        {mi_ieq_steering_enable, 0x6565696D, "MIEE"},
        {mi_surround_compressor_steering_enable, 0x6563736D, "MSCE"},
        {mi_adaptive_virtualizer_steering_enable, 0x6576616D, "MAVE"},
        {mi_virtualizer_binaural_steering_enable, 0x6562766D, "MVBE"},
        {audio_optimizer_enable, 0x6E6F6F61, "AOON"},
        {bass_enhancer_enable, 0x6E6F6562, "BEON"},
        {bass_enhancer_boost, 0x00626562, "BEB"},
        {bass_enhancer_cutoff_frequency, 0x66636562, "BECF"},
        {bass_enhancer_width, 0x00776562, "BEW"},
        {calibration_boost, 0x00626C70, "PLB"},
        {dialog_enhancer_amount, 0x00616564, "DEA"},
        {dialog_enhancer_ducking, 0x00646564, "DED"},
        {dialog_enhancer_enable, 0x6E6F6564, "DEON"},
        {regulator_distortion_slope, 0x73647261, "ARDS"},
        {regulator_enable, 0x6E6F7261, "ARON"},
        {regulator_speaker_dist_enable, 0x65647261, "ARDE"},
        {regulator_overdrive, 0x646F7261, "AROD"},
        {regulator_timbre_preservation, 0x70747261, "ARTP"},
        {regulator_sibilance_suppress_enable, 0x65737372, "RSSE"},
        {surround_decoder_enable, 0x6E6F676E, "NGON"},
        {surround_boost, 0x00627364, "DSB"},
        {virtual_bass_enable, 0x6E6F6276, "VBON"},
        {virtual_bass_mode, 0x006D6276, "VBM"},
        {virtual_bass_overall_gain, 0x676F6276, "VBOG"},
        {virtual_bass_slope_gain, 0x67736276, "VBSG"},
        {virtual_bass_subgains, 0x67686276, "VBHG"},
        {volmax_boost, 0x00626D76, "VMB"},
        {volume_leveler_amount, 0x616C7664, "DVLA"},
        {volume_leveler_compressor_enable, 0x636C7664, "DVLC"},
        {volume_leveler_enable, 0x656C7664, "DVLE"},
        {volume_leveler_in_target, 0x696C7664, "DVLI"},
        {volume_leveler_out_target, 0x6F6C7664, "DVLO"},
        {volume_modeler_enable, 0x656D7664, "DVME"},
        {volume_modeler_calibration, 0x636D7664, "DVMC"},
        {height_filter_mode, 0x6D666864, "DHFM"},
        {virtualizer_front_speaker_angle, 0x61736664, "DFSA"},
        {virtualizer_surround_speaker_angle, 0x00617364, "DSA"},
        {virtualizer_height_speaker_angle, 0x61736864, "DHSA"},
        {virtualizer_start_band, 0x62737673, "SVSB"},
        {complex_equalizer_enable, 0x6E6F6563, "CEON"},
        {peak_value, 0x706C7064, "DPLP"},
        {hearing_protection_enable, 0x6E6F7068, "HPON"},
        {hearing_protection_rms_averaging_time_win_len, 0x77747068, "HPTW"},
        {hearing_protection_rms_attenuation_target, 0x74617068, "HPAT"},
        {hearing_protection_attenuation_attack_time, 0x61617068, "HPAA"},
        {hearing_protection_attenuation_release_time, 0x72617068, "HPAR"},
        {bass_mbdrc_enable, 0x65646D62, "BMDE"},
};

// Runs the pending work of one translator into a fresh batch tagged with device 8.
DecodedBatch run_pending(ParameterTranslator& translator) {
    SetParamCommand command(0x40000000);
    command.setDeviceId(8);
    translator.translatePending(command);
    auto batch = decode_batch(command.getBuffer());
    EXPECT_FALSE(batch.malformed);
    return batch;
}

DecodedBatch run_all(ParameterTranslator& translator) {
    SetParamCommand command(0x40000000);
    command.setDeviceId(8);
    translator.translateAll(command);
    auto batch = decode_batch(command.getBuffer());
    EXPECT_FALSE(batch.malformed);
    return batch;
}

class OneToOneTest : public ::testing::TestWithParam<OneToOne> {};

// Each one-to-one parameter, changed alone in a view that holds it, gives exactly its own
// code with its own value.
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

    auto batch = run_pending(translator);
    ASSERT_EQ(1u, batch.records.size()) << row.code;
    EXPECT_EQ((BatchRecord{8, row.id, {1000 + row.parameter, -1}}), batch.records[0]) << row.code;
}

INSTANTIATE_TEST_SUITE_P(AllOneToOne, OneToOneTest, ::testing::ValuesIn(kOneToOne),
                         [](const ::testing::TestParamInfo<OneToOne>& info) {
                             return std::string(info.param.code);
                         });

TEST(TranslatorCollectionTest, EverySentParameterHasExactlyOneTranslator) {
    ASSERT_EQ(52u, std::size(kOneToOne));
    EXPECT_EQ(61u, TranslatorCollection::kAllTranslators.size());

    // No parameter is read as a source by two translators: the collection would keep one.
    std::set<Parameter> sources;
    size_t sourceCount = 0;
    for (Translator* translator : TranslatorCollection::kAllTranslators) {
        for (Parameter parameter : translator->getSrcParams()) {
            sources.insert(parameter);
            ++sourceCount;
        }
    }
    EXPECT_EQ(sourceCount, sources.size());

    const std::set<Parameter> neverSent{bass_extraction_enable, bass_extraction_cutoff_frequency,
                                        output_channels};
    const TranslatorCollection& collection = ParameterTranslator::sTranslatorCollection;
    for (int p = 0; p < kParameterCount; ++p) {
        const Parameter parameter = static_cast<Parameter>(p);
        Translator* translator = collection.getTranslator(parameter);
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

TEST(ParameterTranslatorTest, ParameterChangedTwiceIsSentOnceWithItsLastValue) {
    ParameterTranslator translator;
    DeviceParameters view(&translator);
    ProfileEndpoint endpoint(0, ENDPOINT_SPEAKER);
    endpoint.set(volume_leveler_amount, {3});
    view.setProfileEndpoint(endpoint);
    endpoint.set(volume_leveler_amount, {9});
    view.setProfileEndpoint(endpoint);

    auto batch = run_pending(translator);
    ASSERT_EQ(1u, batch.records.size());
    EXPECT_EQ((BatchRecord{8, 0x616C7664, {9}}), batch.records[0]);
    // The work is done: nothing is sent twice.
    EXPECT_TRUE(translator.getPending().empty());
    EXPECT_TRUE(run_pending(translator).records.empty());
}

TEST(ParameterTranslatorTest, GeqFrequencyAndGainTogetherRunTheEqualizerOnce) {
    ParameterTranslator translator;
    ProfileParameters view(&translator);
    GeqPreset geq(0);
    geq.set(geq_frequency, {60, 230});
    geq.set(geq_gain, {1, 2});
    view.setGeqPreset(geq);

    auto batch = run_pending(translator);
    EXPECT_EQ(2u, batch.records.size());
    EXPECT_EQ(1u, batch.withId(0x73626567).size());  // GEBS
    EXPECT_EQ(1u, batch.withId(0x66626376).size());  // VCBF
}

TEST(ParameterTranslatorTest, OnlyChangedValuesReachTheBatch) {
    ParameterTranslator translator;
    ProfileParameters view(&translator);
    Profile profile(0, "Dynamic", PRESET_BALANCED);
    profile.set(ieq_enable, {1});
    profile.set(ieq_amount, {5});
    view.setProfile(profile);
    run_pending(translator);

    // Same values again, in a different record object: nothing to send.
    Profile same(profile);
    view.setProfile(same);
    EXPECT_TRUE(translator.getPending().empty());

    // One element of a vector differs: that parameter alone.
    same.set(ieq_amount, {6});
    view.setProfile(same);
    auto batch = run_pending(translator);
    ASSERT_EQ(1u, batch.records.size());
    EXPECT_EQ((BatchRecord{8, 0x00616569, {6}}), batch.records[0]);

    // A longer vector with the same beginning is a change too.
    same.set(ieq_amount, {6, 0});
    view.setProfile(same);
    EXPECT_EQ(1u, run_pending(translator).records.size());
}

TEST(ParameterTranslatorTest, OutputChannelsAloneSendNothing) {
    ParameterTranslator translator;
    DeviceParameters view(&translator);
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(output_channels, {2});
    tuning.set(bass_extraction_enable, {1});
    tuning.set(bass_extraction_cutoff_frequency, {80});
    view.setTuning(tuning);
    EXPECT_TRUE(translator.getPending().empty());
    EXPECT_TRUE(run_pending(translator).records.empty());
}

TEST(ParameterTranslatorTest, CeqtFollowsTheTuningsNotTheSwitch) {
    ParameterTranslator translator;
    DeviceParameters view(&translator);
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(output_channels, {2});
    tuning.set(complex_equalizer_enable, {1});
    tuning.set(complex_equalizer_tuning_left, {1});
    tuning.set(complex_equalizer_tuning_right, {2});
    view.setTuning(tuning);
    auto first = run_pending(translator);
    EXPECT_EQ(1u, first.withId(0x74716563).size());  // CEQT
    EXPECT_EQ(1u, first.withId(0x6E6F6563).size());  // CEON

    // The switch alone sends only its own record.
    tuning.set(complex_equalizer_enable, {0});
    view.setTuning(tuning);
    tuning.set(complex_equalizer_enable, {1});
    view.setTuning(tuning);
    auto second = run_pending(translator);
    ASSERT_EQ(1u, second.records.size());
    EXPECT_EQ((BatchRecord{8, 0x6E6F6563, {1}}), second.records[0]);
}

TEST(ParameterTranslatorTest, TranslateAllSendsEveryTranslatorOfTheView) {
    ParameterTranslator deviceTranslator;
    DeviceParameters deviceView(&deviceTranslator);
    // An empty device view: 44 one-to-one records, "ARSA", "ARBS", "DOM", "VBSF", "VBMF" and
    // "BMDT"; no "AOBS", "CEQT" or "RSSA" without a channel layout and the switches.
    auto device = run_all(deviceTranslator);
    EXPECT_EQ(50u, device.records.size());
    std::set<uint32_t> deviceIds;
    for (const auto& record : device.records) deviceIds.insert(record.id);
    EXPECT_EQ(50u, deviceIds.size());
    EXPECT_EQ(1u, deviceIds.count(0x006D6F64));  // DOM
    EXPECT_EQ(0u, deviceIds.count(0x656D7664));  // DVME is profile-wide

    // With a stereo layout and both switches on, the three tables join.
    Tuning tuning("t", ENDPOINT_SPEAKER, false);
    tuning.set(output_channels, {2});
    tuning.set(complex_equalizer_enable, {1});
    tuning.set(regulator_sibilance_suppress_enable, {1});
    deviceView.setTuning(tuning);
    EXPECT_EQ(53u, run_all(deviceTranslator).records.size());

    ParameterTranslator profileTranslator;
    ProfileParameters profileView(&profileTranslator);
    // 8 one-to-one records, "GEBS", "VCBF", "IEBS", "DRCM".
    auto profile = run_all(profileTranslator);
    EXPECT_EQ(12u, profile.records.size());
    EXPECT_TRUE(profileTranslator.getPending().empty());
}

TEST(ParameterTranslatorTest, ViewsTellTheirEndpointBeforeTheirChanges) {
    ParameterTranslator translator;
    DeviceParameters view(&translator);
    EXPECT_EQ(&view, translator.getSource());
    EXPECT_EQ(ENDPOINT_OTHER, translator.getEndpoint());
    EXPECT_FALSE(translator.isMono());

    Tuning headphone("h", ENDPOINT_HEADPHONE, false);
    headphone.set(virtualizer_enable, {1});
    headphone.set(orientation, {0});
    headphone.set(output_mix_matrix, {5});
    view.setTuning(headphone);
    auto dom = run_pending(translator).withId(0x006D6F64);
    ASSERT_EQ(1u, dom.size());
    EXPECT_EQ((V{1, 1, 0}), dom[0].values);
}

}  // namespace
}  // namespace velora
