/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "model/DeviceParameters.h"
#include "model/Endpoint.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Parameter.h"
#include "model/Port.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

// What a static table of another subsystem sees while it is built. These objects live in the
// test binary, which is linked before the model archive, so without an early init priority
// they would be built before the model's tables exist.
const std::vector<size_t> gEarlySizes = {
    kPortNameToEndpoint.size(), Tuning::kEndpNameToEndpoint.size(), Tuning::kValidParams.size(),
    DeviceParameters::kValidParams.size(), ProfileParameters::kValidParams.size()};
const Endpoint gEarlyBluetooth =
    kPortNameToEndpoint.count("bluetooth") ? kPortNameToEndpoint.at("bluetooth") : ENDPOINT_OTHER;

TEST(StaticTablesTest, ModelTablesAreBuiltBeforeOtherStaticObjects) {
    EXPECT_EQ((std::vector<size_t>{7, 3, 50, 73, 13}), gEarlySizes);
    EXPECT_EQ(ENDPOINT_HEADPHONE, gEarlyBluetooth);
}

// The enumerator identifiers must spell the column names, so that code and database speak of
// the same parameter; listed in column order.
#define N(p) std::make_pair(p, #p)

TEST(ParameterCatalogueTest, EnumeratorsSpellTheirColumnNamesInSortedOrder) {
    // clang-format off
    const std::pair<Parameter, const char*> all[] = {
        N(audio_optimizer_enable), N(audio_optimizer_frequency), N(audio_optimizer_gain_l),
        N(audio_optimizer_gain_ls), N(audio_optimizer_gain_r), N(audio_optimizer_gain_rs),
        N(bass_enhancer_boost), N(bass_enhancer_cutoff_frequency), N(bass_enhancer_enable),
        N(bass_enhancer_width), N(bass_extraction_cutoff_frequency), N(bass_extraction_enable),
        N(bass_mbdrc_enable), N(bass_mbdrc_tuning), N(calibration_boost),
        N(complex_equalizer_enable), N(complex_equalizer_tuning_left),
        N(complex_equalizer_tuning_left_surround), N(complex_equalizer_tuning_right),
        N(complex_equalizer_tuning_right_surround), N(custom_drc_metadata),
        N(dialog_enhancer_amount), N(dialog_enhancer_ducking), N(dialog_enhancer_enable),
        N(geq_frequency), N(geq_gain), N(graphic_equalizer_enable),
        N(hearing_protection_attenuation_attack_time),
        N(hearing_protection_attenuation_release_time), N(hearing_protection_enable),
        N(hearing_protection_rms_attenuation_target),
        N(hearing_protection_rms_averaging_time_win_len), N(height_filter_mode), N(ieq_amount),
        N(ieq_enable), N(ieq_frequency), N(ieq_id), N(ieq_target),
        N(mi_adaptive_virtualizer_steering_enable), N(mi_dv_leveler_steering_enable),
        N(mi_ieq_steering_enable), N(mi_surround_compressor_steering_enable),
        N(mi_virtualizer_binaural_steering_enable), N(orientation), N(output_channels),
        N(output_mix_matrix), N(peak_value), N(regulator_distortion_slope), N(regulator_enable),
        N(regulator_frequency), N(regulator_isolated_band), N(regulator_overdrive),
        N(regulator_sibilance_suppress_amounts_left),
        N(regulator_sibilance_suppress_amounts_left_surround),
        N(regulator_sibilance_suppress_amounts_right),
        N(regulator_sibilance_suppress_amounts_right_surround),
        N(regulator_sibilance_suppress_enable), N(regulator_speaker_dist_enable),
        N(regulator_stress_amount), N(regulator_threshold_high), N(regulator_threshold_low),
        N(regulator_timbre_preservation), N(surround_boost), N(surround_decoder_enable),
        N(virtual_bass_enable), N(virtual_bass_mix_freq_high), N(virtual_bass_mix_freq_low),
        N(virtual_bass_mode), N(virtual_bass_overall_gain), N(virtual_bass_slope_gain),
        N(virtual_bass_src_freq_high), N(virtual_bass_src_freq_low), N(virtual_bass_subgains),
        N(virtualizer_enable), N(virtualizer_front_speaker_angle),
        N(virtualizer_height_speaker_angle), N(virtualizer_start_band),
        N(virtualizer_surround_speaker_angle), N(volmax_boost), N(volume_leveler_amount),
        N(volume_leveler_compressor_enable), N(volume_leveler_enable), N(volume_leveler_in_target),
        N(volume_leveler_out_target), N(volume_modeler_calibration), N(volume_modeler_enable),
    };
    // clang-format on
    ASSERT_EQ(static_cast<size_t>(kParameterCount), std::size(all));
    for (size_t i = 0; i < std::size(all); ++i) {
        EXPECT_EQ(static_cast<int>(i), all[i].first) << all[i].second;
        EXPECT_STREQ(all[i].second, kParameterNames[all[i].first]);
        // Sorted strictly, so the column list and the enum order agree.
        if (i > 0) {
            EXPECT_LT(strcmp(all[i - 1].second, all[i].second), 0) << all[i].second;
        }
    }
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(kParameterCount)));
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(-1)));
    EXPECT_STREQ("geq_gain", parameter_name(geq_gain));
}

TEST(ParameterCatalogueTest, RecordSetsPartitionTheCatalogueAndViewsSplitIt) {
    // The record kind of each parameter in column order, ten to a group: T Tuning,
    // E ProfileEndpoint, P Profile, I IeqPreset, G GeqPreset.
    // clang-format off
    const std::string expected = "TTTTTTTTET" "TTTTETTTTT" "PEEEGGEEEE" "EETPPIIIPP" "PPETTTETTT"
                                 "TTTTTTTTTT" "TTEEETTTTT" "TTTETTETEE" "TEEETP";
    // clang-format on
    struct Kind {
        char letter;
        RecordKind kind;
        const std::set<Parameter>& params;
        size_t size;
    };
    const std::vector<Kind> kinds = {
        {'T', RecordKind::Tuning, Tuning::kValidParams, 50},
        {'E', RecordKind::ProfileEndpoint, ProfileEndpoint::kValidParams, 23},
        {'P', RecordKind::Profile, Profile::kValidParams, 8},
        {'I', RecordKind::IeqPreset, IeqPreset::kValidParams, 3},
        {'G', RecordKind::GeqPreset, GeqPreset::kValidParams, 2}};
    ASSERT_EQ(static_cast<size_t>(kParameterCount), expected.size());
    for (const Kind& k : kinds) EXPECT_EQ(k.size, k.params.size());
    for (int v = 0; v < kParameterCount; ++v) {
        const Parameter p = static_cast<Parameter>(v);
        for (const Kind& k : kinds) {
            EXPECT_EQ(k.letter == expected[v], k.params.count(p) == 1)
                << k.letter << kParameterNames[v];
            if (k.letter == expected[v]) {
                EXPECT_EQ(k.kind, kParameterRecordKinds[v]) << kParameterNames[v];
            }
        }
        // The profile-wide view takes the profile and its presets; the device view the rest.
        const bool profileWide = std::string("PIG").find(expected[v]) != std::string::npos;
        EXPECT_EQ(profileWide, ProfileParameters::kValidParams.count(p) == 1) << kParameterNames[v];
        EXPECT_EQ(!profileWide, DeviceParameters::kValidParams.count(p) == 1) << kParameterNames[v];
    }
}

TEST(NameTablesTest, NamesFollowTheEnumeratorsAndPortsMapToTheirEndpoints) {
    const std::vector<std::string> ports = {"internal_speaker", "hdmi", "miracast", "headphone",
                                            "bluetooth",        "usb",  "other"};
    ASSERT_EQ(static_cast<size_t>(kPortCount), ports.size());
    for (int p = 0; p < kPortCount; ++p) EXPECT_EQ(ports[p], kPortNames[p]);
    EXPECT_EQ("7", endpoint_name(static_cast<Endpoint>(7)));
    EXPECT_EQ("-1", preset_type_name(static_cast<PresetType>(-1)));

    // Each port name uses the settings of its endpoint.
    const std::map<std::string, Endpoint> expected = {{"internal_speaker", ENDPOINT_SPEAKER},
                                                      {"headphone", ENDPOINT_HEADPHONE},
                                                      {"bluetooth", ENDPOINT_HEADPHONE},
                                                      {"bus", ENDPOINT_HEADPHONE},
                                                      {"hdmi", ENDPOINT_OTHER},
                                                      {"miracast", ENDPOINT_OTHER},
                                                      {"other", ENDPOINT_OTHER}};
    // Nothing else: "usb" is a port but has no endpoint of its own, the caller decides.
    EXPECT_EQ(expected, kPortNameToEndpoint);
}

}  // namespace
}  // namespace velora
