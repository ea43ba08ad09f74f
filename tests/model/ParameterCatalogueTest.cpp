/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
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

std::set<Parameter> range(int first, int last) {
    std::set<Parameter> out;
    for (int v = first; v <= last; ++v) out.insert(static_cast<Parameter>(v));
    return out;
}

std::set<Parameter> join(std::initializer_list<std::set<Parameter>> parts) {
    std::set<Parameter> out;
    for (const auto& part : parts) out.insert(part.begin(), part.end());
    return out;
}

std::string dashed(std::string name) {
    std::replace(name.begin(), name.end(), '_', '-');
    return name;
}

// The enumerator identifiers must spell the column names, so that code and database speak of
// the same parameter.
#define NAMED(p) std::make_pair(p, #p)

TEST(ParameterCatalogueTest, EnumeratorsSpellTheirColumnNames) {
    const std::vector<std::pair<Parameter, const char*>> all = {
        NAMED(audio_optimizer_enable),
        NAMED(audio_optimizer_frequency),
        NAMED(audio_optimizer_gain_l),
        NAMED(audio_optimizer_gain_ls),
        NAMED(audio_optimizer_gain_r),
        NAMED(audio_optimizer_gain_rs),
        NAMED(bass_enhancer_boost),
        NAMED(bass_enhancer_cutoff_frequency),
        NAMED(bass_enhancer_enable),
        NAMED(bass_enhancer_width),
        NAMED(bass_extraction_cutoff_frequency),
        NAMED(bass_extraction_enable),
        NAMED(bass_mbdrc_enable),
        NAMED(bass_mbdrc_tuning),
        NAMED(calibration_boost),
        NAMED(complex_equalizer_enable),
        NAMED(complex_equalizer_tuning_left),
        NAMED(complex_equalizer_tuning_left_surround),
        NAMED(complex_equalizer_tuning_right),
        NAMED(complex_equalizer_tuning_right_surround),
        NAMED(custom_drc_metadata),
        NAMED(dialog_enhancer_amount),
        NAMED(dialog_enhancer_ducking),
        NAMED(dialog_enhancer_enable),
        NAMED(geq_frequency),
        NAMED(geq_gain),
        NAMED(graphic_equalizer_enable),
        NAMED(hearing_protection_attenuation_attack_time),
        NAMED(hearing_protection_attenuation_release_time),
        NAMED(hearing_protection_enable),
        NAMED(hearing_protection_rms_attenuation_target),
        NAMED(hearing_protection_rms_averaging_time_win_len),
        NAMED(height_filter_mode),
        NAMED(ieq_amount),
        NAMED(ieq_enable),
        NAMED(ieq_frequency),
        NAMED(ieq_id),
        NAMED(ieq_target),
        NAMED(mi_adaptive_virtualizer_steering_enable),
        NAMED(mi_dv_leveler_steering_enable),
        NAMED(mi_ieq_steering_enable),
        NAMED(mi_surround_compressor_steering_enable),
        NAMED(mi_virtualizer_binaural_steering_enable),
        NAMED(orientation),
        NAMED(output_channels),
        NAMED(output_mix_matrix),
        NAMED(peak_value),
        NAMED(regulator_distortion_slope),
        NAMED(regulator_enable),
        NAMED(regulator_frequency),
        NAMED(regulator_isolated_band),
        NAMED(regulator_overdrive),
        NAMED(regulator_sibilance_suppress_amounts_left),
        NAMED(regulator_sibilance_suppress_amounts_left_surround),
        NAMED(regulator_sibilance_suppress_amounts_right),
        NAMED(regulator_sibilance_suppress_amounts_right_surround),
        NAMED(regulator_sibilance_suppress_enable),
        NAMED(regulator_speaker_dist_enable),
        NAMED(regulator_stress_amount),
        NAMED(regulator_threshold_high),
        NAMED(regulator_threshold_low),
        NAMED(regulator_timbre_preservation),
        NAMED(surround_boost),
        NAMED(surround_decoder_enable),
        NAMED(virtual_bass_enable),
        NAMED(virtual_bass_mix_freq_high),
        NAMED(virtual_bass_mix_freq_low),
        NAMED(virtual_bass_mode),
        NAMED(virtual_bass_overall_gain),
        NAMED(virtual_bass_slope_gain),
        NAMED(virtual_bass_src_freq_high),
        NAMED(virtual_bass_src_freq_low),
        NAMED(virtual_bass_subgains),
        NAMED(virtualizer_enable),
        NAMED(virtualizer_front_speaker_angle),
        NAMED(virtualizer_height_speaker_angle),
        NAMED(virtualizer_start_band),
        NAMED(virtualizer_surround_speaker_angle),
        NAMED(volmax_boost),
        NAMED(volume_leveler_amount),
        NAMED(volume_leveler_compressor_enable),
        NAMED(volume_leveler_enable),
        NAMED(volume_leveler_in_target),
        NAMED(volume_leveler_out_target),
        NAMED(volume_modeler_calibration),
        NAMED(volume_modeler_enable),
    };
    ASSERT_EQ(static_cast<size_t>(kParameterCount), all.size());
    for (size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(static_cast<int>(i), all[i].first) << all[i].second;
        EXPECT_STREQ(all[i].second, kParameterNames[all[i].first]);
    }
}

TEST(ParameterCatalogueTest, ColumnNamesAreStrictlySortedLowerSnakeCase) {
    for (int v = 0; v < kParameterCount; ++v) {
        ASSERT_NE(nullptr, kParameterNames[v]) << v;
        EXPECT_TRUE(std::all_of(kParameterNames[v], kParameterNames[v] + strlen(kParameterNames[v]),
                                [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; }))
            << kParameterNames[v];
        if (v > 0) {
            EXPECT_LT(strcmp(kParameterNames[v - 1], kParameterNames[v]), 0)
                << kParameterNames[v - 1] << " / " << kParameterNames[v];
        }
    }
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(kParameterCount)));
    EXPECT_STREQ(nullptr, parameter_name(static_cast<Parameter>(-1)));
    EXPECT_STREQ("geq_gain", parameter_name(geq_gain));
}

TEST(ParameterCatalogueTest, TuningKeysAreDashedColumnNamesExceptTheShippedSpellings) {
    const std::map<Parameter, std::string> exceptions = {
        {virtual_bass_enable, "virtual-bass-process-enable"},
        {custom_drc_metadata, "drc-metadata"},
        {virtual_bass_mix_freq_high, "virtual-bass-mix-freqs"},
        {virtual_bass_mix_freq_low, "virtual-bass-mix-freqs"},
        {virtual_bass_src_freq_high, "virtual-bass-src-freqs"},
        {virtual_bass_src_freq_low, "virtual-bass-src-freqs"},
    };
    // Band tables, presets, the tuning element's attributes and the output-mode matrix.
    const std::set<Parameter> structured =
        join({range(1, 5),
              {geq_frequency, geq_gain},
              range(35, 37),
              range(43, 45),
              {regulator_frequency, regulator_isolated_band, regulator_threshold_high,
               regulator_threshold_low}});
    for (int v = 0; v < kParameterCount; ++v) {
        const Parameter p = static_cast<Parameter>(v);
        const char* key = kParameterTuningKeys[v];
        if (structured.count(p)) {
            EXPECT_EQ(nullptr, key) << kParameterNames[v];
        } else if (exceptions.count(p)) {
            EXPECT_STREQ(exceptions.at(p).c_str(), key) << kParameterNames[v];
        } else {
            EXPECT_STREQ(dashed(kParameterNames[v]).c_str(), key);
        }
    }
    // The spellings that exist only in warnings must not be keys.
    for (int v = 0; v < kParameterCount; ++v) {
        if (kParameterTuningKeys[v] == nullptr) continue;
        EXPECT_STRNE("virtual-bass-enable", kParameterTuningKeys[v]);
        EXPECT_STRNE("custom-drc-metadata", kParameterTuningKeys[v]);
    }
}

TEST(ParameterCatalogueTest, SharedElementsAreToldApartByAttribute) {
    const std::map<Parameter, std::string> attributes = {
        {audio_optimizer_frequency, "frequency"},
        {audio_optimizer_gain_l, "gain_left"},
        {audio_optimizer_gain_ls, "gain_left_surround"},
        {audio_optimizer_gain_r, "gain_right"},
        {audio_optimizer_gain_rs, "gain_right_surround"},
        {regulator_frequency, "frequency"},
        {regulator_isolated_band, "isolated_band"},
        {regulator_threshold_high, "threshold_high"},
        {regulator_threshold_low, "threshold_low"},
        {virtual_bass_mix_freq_high, "frequency_high"},
        {virtual_bass_mix_freq_low, "frequency_low"},
        {virtual_bass_src_freq_high, "frequency_high"},
        {virtual_bass_src_freq_low, "frequency_low"},
    };
    for (int v = 0; v < kParameterCount; ++v) {
        auto it = attributes.find(static_cast<Parameter>(v));
        if (it == attributes.end()) {
            EXPECT_EQ(nullptr, kParameterTuningAttributes[v]) << kParameterNames[v];
        } else {
            EXPECT_STREQ(it->second.c_str(), kParameterTuningAttributes[v]);
        }
    }
    // Apart from the two shared elements, a key names exactly one parameter.
    std::map<std::string, int> uses;
    for (int v = 0; v < kParameterCount; ++v) {
        if (kParameterTuningKeys[v] != nullptr && kParameterTuningAttributes[v] == nullptr) {
            EXPECT_EQ(1, ++uses[kParameterTuningKeys[v]]) << kParameterTuningKeys[v];
        }
    }
}

Parameter keyed(const std::string& key) {
    for (int v = 0; v < kParameterCount; ++v) {
        if (kParameterTuningKeys[v] != nullptr && key == kParameterTuningKeys[v]) {
            return static_cast<Parameter>(v);
        }
    }
    ADD_FAILURE() << "no parameter for key " << key;
    return static_cast<Parameter>(-1);
}

// The element names a tuning file carries in a profile's endpoint section must lead to exactly
// the parameters a ProfileEndpoint holds, and those of a profile's data block to a Profile's.
TEST(ParameterCatalogueTest, TuningFileSectionsLeadToTheirRecordKinds) {
    const std::vector<std::string> endpointKeys = {"bass-enhancer-enable",
                                                   "calibration-boost",
                                                   "dialog-enhancer-amount",
                                                   "dialog-enhancer-ducking",
                                                   "dialog-enhancer-enable",
                                                   "graphic-equalizer-enable",
                                                   "hearing-protection-attenuation-attack-time",
                                                   "hearing-protection-attenuation-release-time",
                                                   "hearing-protection-enable",
                                                   "hearing-protection-rms-attenuation-target",
                                                   "hearing-protection-rms-averaging-time-win-len",
                                                   "mi-virtualizer-binaural-steering-enable",
                                                   "peak-value",
                                                   "surround-boost",
                                                   "surround-decoder-enable",
                                                   "virtual-bass-process-enable",
                                                   "virtualizer-enable",
                                                   "virtualizer-start-band",
                                                   "volmax-boost",
                                                   "volume-leveler-amount",
                                                   "volume-leveler-enable",
                                                   "volume-leveler-in-target",
                                                   "volume-leveler-out-target"};
    std::set<Parameter> fromEndpointKeys;
    for (const auto& key : endpointKeys) fromEndpointKeys.insert(keyed(key));
    EXPECT_EQ(ProfileEndpoint::kValidParams, fromEndpointKeys);

    const std::vector<std::string> profileKeys = {"ieq-enable",
                                                  "ieq-amount",
                                                  "mi-dv-leveler-steering-enable",
                                                  "mi-ieq-steering-enable",
                                                  "mi-surround-compressor-steering-enable",
                                                  "mi-adaptive-virtualizer-steering-enable",
                                                  "volume-modeler-enable",
                                                  "drc-metadata"};
    std::set<Parameter> fromProfileKeys;
    for (const auto& key : profileKeys) fromProfileKeys.insert(keyed(key));
    EXPECT_EQ(Profile::kValidParams, fromProfileKeys);
}

TEST(ParameterCatalogueTest, RecordSetsPartitionTheCatalogue) {
    EXPECT_EQ(join({range(0, 7),
                    range(9, 13),
                    range(15, 19),
                    {height_filter_mode},
                    range(43, 45),
                    range(47, 61),
                    range(65, 72),
                    {virtualizer_front_speaker_angle, virtualizer_height_speaker_angle,
                     virtualizer_surround_speaker_angle, volume_leveler_compressor_enable,
                     volume_modeler_calibration}}),
              Tuning::kValidParams);
    EXPECT_EQ(
        join({{bass_enhancer_enable, calibration_boost},
              range(21, 23),
              range(26, 31),
              {mi_virtualizer_binaural_steering_enable, peak_value},
              range(62, 64),
              {virtualizer_enable, virtualizer_start_band, volmax_boost, volume_leveler_amount},
              range(81, 83)}),
        ProfileEndpoint::kValidParams);
    EXPECT_EQ(join({{custom_drc_metadata, ieq_amount, ieq_enable},
                    range(38, 41),
                    {volume_modeler_enable}}),
              Profile::kValidParams);
    EXPECT_EQ(range(35, 37), IeqPreset::kValidParams);
    EXPECT_EQ(range(24, 25), GeqPreset::kValidParams);

    const std::vector<std::pair<RecordKind, const std::set<Parameter>*>> kinds = {
        {RecordKind::Tuning, &Tuning::kValidParams},
        {RecordKind::ProfileEndpoint, &ProfileEndpoint::kValidParams},
        {RecordKind::Profile, &Profile::kValidParams},
        {RecordKind::IeqPreset, &IeqPreset::kValidParams},
        {RecordKind::GeqPreset, &GeqPreset::kValidParams},
    };
    const std::vector<size_t> sizes = {50, 23, 8, 3, 2};
    for (int v = 0; v < kParameterCount; ++v) {
        int holders = 0;
        for (size_t k = 0; k < kinds.size(); ++k) {
            if (kinds[k].second->count(static_cast<Parameter>(v))) {
                ++holders;
                EXPECT_EQ(kinds[k].first, kParameterRecordKinds[v]) << kParameterNames[v];
            }
        }
        EXPECT_EQ(1, holders) << kParameterNames[v];
    }
    for (size_t k = 0; k < kinds.size(); ++k) EXPECT_EQ(sizes[k], kinds[k].second->size());
}

TEST(ParameterCatalogueTest, ViewSetsSplitTheCatalogueByProfileAndOutput) {
    const std::set<Parameter> profileWide = join(
        {{custom_drc_metadata, geq_frequency, geq_gain}, range(33, 41), {volume_modeler_enable}});
    EXPECT_EQ(profileWide, ProfileParameters::kValidParams);
    EXPECT_EQ(13u, ProfileParameters::kValidParams.size());
    EXPECT_EQ(73u, DeviceParameters::kValidParams.size());
    EXPECT_EQ(join({Tuning::kValidParams, ProfileEndpoint::kValidParams}),
              DeviceParameters::kValidParams);
    EXPECT_EQ(range(0, kParameterCount - 1),
              join({ProfileParameters::kValidParams, DeviceParameters::kValidParams}));
}

TEST(NameTablesTest, NamesFollowTheEnumerators) {
    EXPECT_STREQ("speaker", kEndpointNames[ENDPOINT_SPEAKER]);
    EXPECT_STREQ("headphone", kEndpointNames[ENDPOINT_HEADPHONE]);
    EXPECT_STREQ("other", kEndpointNames[ENDPOINT_OTHER]);
    EXPECT_EQ("7", endpoint_name(static_cast<Endpoint>(7)));

    const std::vector<std::pair<Port, std::string>> ports = {
        {PORT_INTERNAL_SPEAKER, "internal_speaker"},
        {PORT_HDMI, "hdmi"},
        {PORT_MIRACAST, "miracast"},
        {PORT_HEADPHONE, "headphone"},
        {PORT_BLUETOOTH, "bluetooth"},
        {PORT_USB, "usb"},
        {PORT_OTHER, "other"}};
    ASSERT_EQ(static_cast<size_t>(kPortCount), ports.size());
    for (const auto& [port, name] : ports) EXPECT_EQ(name, kPortNames[port]);

    const std::vector<std::pair<PresetType, std::string>> presets = {{PRESET_OFF, "off"},
                                                                     {PRESET_DETAILED, "detailed"},
                                                                     {PRESET_BALANCED, "balanced"},
                                                                     {PRESET_WARM, "warm"}};
    ASSERT_EQ(static_cast<size_t>(kPresetTypeCount), presets.size());
    for (const auto& [type, name] : presets) EXPECT_EQ(name, kPresetTypeNames[type]);
    EXPECT_EQ("-1", preset_type_name(static_cast<PresetType>(-1)));
}

TEST(NameTablesTest, EndpointNamesMapOnlyThePrintableNames) {
    ASSERT_EQ(3u, Tuning::kEndpNameToEndpoint.size());
    for (int e = 0; e < kEndpointCount; ++e) {
        EXPECT_EQ(e, Tuning::kEndpNameToEndpoint.at(kEndpointNames[e]));
    }
}

class PortNameToEndpointTest : public ::testing::TestWithParam<std::pair<std::string, Endpoint>> {};

TEST_P(PortNameToEndpointTest, PortUsesTheSettingsOfItsEndpoint) {
    auto it = kPortNameToEndpoint.find(GetParam().first);
    ASSERT_NE(kPortNameToEndpoint.end(), it);
    EXPECT_EQ(GetParam().second, it->second);
}

INSTANTIATE_TEST_SUITE_P(AllSeven, PortNameToEndpointTest,
                         ::testing::Values(std::make_pair("internal_speaker", ENDPOINT_SPEAKER),
                                           std::make_pair("headphone", ENDPOINT_HEADPHONE),
                                           std::make_pair("bluetooth", ENDPOINT_HEADPHONE),
                                           std::make_pair("bus", ENDPOINT_HEADPHONE),
                                           std::make_pair("hdmi", ENDPOINT_OTHER),
                                           std::make_pair("miracast", ENDPOINT_OTHER),
                                           std::make_pair("other", ENDPOINT_OTHER)));

TEST(PortNameToEndpointTest, HoldsNoOtherNames) {
    EXPECT_EQ(7u, kPortNameToEndpoint.size());
    // "usb" is a port but has no endpoint of its own: the caller decides.
    EXPECT_EQ(0u, kPortNameToEndpoint.count("usb"));
    EXPECT_EQ(0u, kPortNameToEndpoint.count("speaker"));
    EXPECT_EQ(0u, kPortNameToEndpoint.count("Bluetooth"));
}

}  // namespace
}  // namespace velora
