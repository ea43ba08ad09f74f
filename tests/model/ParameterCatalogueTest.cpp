/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <algorithm>
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
#define NAMED(p) std::make_pair(p, #p)

TEST(ParameterCatalogueTest, EnumeratorsSpellTheirColumnNamesInSortedOrder) {
    // clang-format off
    const std::vector<std::pair<Parameter, const char*>> all = {
        NAMED(audio_optimizer_enable), NAMED(audio_optimizer_frequency),
        NAMED(audio_optimizer_gain_l), NAMED(audio_optimizer_gain_ls),
        NAMED(audio_optimizer_gain_r), NAMED(audio_optimizer_gain_rs),
        NAMED(bass_enhancer_boost), NAMED(bass_enhancer_cutoff_frequency),
        NAMED(bass_enhancer_enable), NAMED(bass_enhancer_width),
        NAMED(bass_extraction_cutoff_frequency), NAMED(bass_extraction_enable),
        NAMED(bass_mbdrc_enable), NAMED(bass_mbdrc_tuning), NAMED(calibration_boost),
        NAMED(complex_equalizer_enable), NAMED(complex_equalizer_tuning_left),
        NAMED(complex_equalizer_tuning_left_surround), NAMED(complex_equalizer_tuning_right),
        NAMED(complex_equalizer_tuning_right_surround), NAMED(custom_drc_metadata),
        NAMED(dialog_enhancer_amount), NAMED(dialog_enhancer_ducking),
        NAMED(dialog_enhancer_enable), NAMED(geq_frequency), NAMED(geq_gain),
        NAMED(graphic_equalizer_enable), NAMED(hearing_protection_attenuation_attack_time),
        NAMED(hearing_protection_attenuation_release_time), NAMED(hearing_protection_enable),
        NAMED(hearing_protection_rms_attenuation_target),
        NAMED(hearing_protection_rms_averaging_time_win_len), NAMED(height_filter_mode),
        NAMED(ieq_amount), NAMED(ieq_enable), NAMED(ieq_frequency), NAMED(ieq_id),
        NAMED(ieq_target), NAMED(mi_adaptive_virtualizer_steering_enable),
        NAMED(mi_dv_leveler_steering_enable), NAMED(mi_ieq_steering_enable),
        NAMED(mi_surround_compressor_steering_enable),
        NAMED(mi_virtualizer_binaural_steering_enable), NAMED(orientation),
        NAMED(output_channels), NAMED(output_mix_matrix), NAMED(peak_value),
        NAMED(regulator_distortion_slope), NAMED(regulator_enable), NAMED(regulator_frequency),
        NAMED(regulator_isolated_band), NAMED(regulator_overdrive),
        NAMED(regulator_sibilance_suppress_amounts_left),
        NAMED(regulator_sibilance_suppress_amounts_left_surround),
        NAMED(regulator_sibilance_suppress_amounts_right),
        NAMED(regulator_sibilance_suppress_amounts_right_surround),
        NAMED(regulator_sibilance_suppress_enable), NAMED(regulator_speaker_dist_enable),
        NAMED(regulator_stress_amount), NAMED(regulator_threshold_high),
        NAMED(regulator_threshold_low), NAMED(regulator_timbre_preservation),
        NAMED(surround_boost), NAMED(surround_decoder_enable), NAMED(virtual_bass_enable),
        NAMED(virtual_bass_mix_freq_high), NAMED(virtual_bass_mix_freq_low),
        NAMED(virtual_bass_mode), NAMED(virtual_bass_overall_gain), NAMED(virtual_bass_slope_gain),
        NAMED(virtual_bass_src_freq_high), NAMED(virtual_bass_src_freq_low),
        NAMED(virtual_bass_subgains), NAMED(virtualizer_enable),
        NAMED(virtualizer_front_speaker_angle), NAMED(virtualizer_height_speaker_angle),
        NAMED(virtualizer_start_band), NAMED(virtualizer_surround_speaker_angle),
        NAMED(volmax_boost), NAMED(volume_leveler_amount), NAMED(volume_leveler_compressor_enable),
        NAMED(volume_leveler_enable), NAMED(volume_leveler_in_target),
        NAMED(volume_leveler_out_target), NAMED(volume_modeler_calibration),
        NAMED(volume_modeler_enable),
    };
    // clang-format on
    ASSERT_EQ(static_cast<size_t>(kParameterCount), all.size());
    for (size_t i = 0; i < all.size(); ++i) {
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

TEST(ParameterCatalogueTest, TuningKeysAreDashedColumnNamesExceptTheShippedSpellings) {
    // No key where the reader assembles the value from structured data: band tables, presets,
    // the tuning element's attributes, the output-mode matrix.
    const std::set<Parameter> unkeyed = {geq_frequency,   geq_gain,         ieq_frequency,
                                         ieq_id,          ieq_target,       orientation,
                                         output_channels, output_mix_matrix};
    // {key, attribute}: the spellings of shipped files, and an attribute where one element
    // carries several parameters.
    const std::map<Parameter, std::pair<const char*, const char*>> exceptions = {
        {audio_optimizer_frequency, {nullptr, "frequency"}},
        {audio_optimizer_gain_l, {nullptr, "gain_left"}},
        {audio_optimizer_gain_ls, {nullptr, "gain_left_surround"}},
        {audio_optimizer_gain_r, {nullptr, "gain_right"}},
        {audio_optimizer_gain_rs, {nullptr, "gain_right_surround"}},
        {custom_drc_metadata, {"drc-metadata", nullptr}},
        {regulator_frequency, {nullptr, "frequency"}},
        {regulator_isolated_band, {nullptr, "isolated_band"}},
        {regulator_threshold_high, {nullptr, "threshold_high"}},
        {regulator_threshold_low, {nullptr, "threshold_low"}},
        {virtual_bass_enable, {"virtual-bass-process-enable", nullptr}},
        {virtual_bass_mix_freq_high, {"virtual-bass-mix-freqs", "frequency_high"}},
        {virtual_bass_mix_freq_low, {"virtual-bass-mix-freqs", "frequency_low"}},
        {virtual_bass_src_freq_high, {"virtual-bass-src-freqs", "frequency_high"}},
        {virtual_bass_src_freq_low, {"virtual-bass-src-freqs", "frequency_low"}},
    };
    for (int v = 0; v < kParameterCount; ++v) {
        const Parameter p = static_cast<Parameter>(v);
        std::string dashed = kParameterNames[v];
        std::replace(dashed.begin(), dashed.end(), '_', '-');
        auto it = exceptions.find(p);
        const char* key = it != exceptions.end() ? it->second.first : dashed.c_str();
        EXPECT_STREQ(unkeyed.count(p) ? nullptr : key, kParameterTuningKeys[v]) << dashed;
        EXPECT_STREQ(it != exceptions.end() ? it->second.second : nullptr,
                     kParameterTuningAttributes[v])
            << kParameterNames[v];
    }
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
