/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "BatchReader.h"
#include "ExpectedCodes.h"
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
using testing::kOneToOne;
using testing::OneToOne;
using V = std::vector<int>;

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
