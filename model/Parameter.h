/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <initializer_list>
#include <set>

namespace velora {

// The semantic audio-processing parameters. Every value is a vector of 32-bit signed integers
// (a scalar is a vector of one element). The numbers follow the alphabetical order of the
// database column names, so kParameterNames, indexed by value, is sorted; records, the
// database mapping and the translators all use the same numbers, so they never change.
enum Parameter : int {
    audio_optimizer_enable = 0,
    audio_optimizer_frequency = 1,
    audio_optimizer_gain_l = 2,
    audio_optimizer_gain_ls = 3,
    audio_optimizer_gain_r = 4,
    audio_optimizer_gain_rs = 5,
    bass_enhancer_boost = 6,
    bass_enhancer_cutoff_frequency = 7,
    bass_enhancer_enable = 8,
    bass_enhancer_width = 9,
    bass_extraction_cutoff_frequency = 10,
    bass_extraction_enable = 11,
    bass_mbdrc_enable = 12,
    bass_mbdrc_tuning = 13,
    calibration_boost = 14,
    complex_equalizer_enable = 15,
    complex_equalizer_tuning_left = 16,
    complex_equalizer_tuning_left_surround = 17,
    complex_equalizer_tuning_right = 18,
    complex_equalizer_tuning_right_surround = 19,
    custom_drc_metadata = 20,
    dialog_enhancer_amount = 21,
    dialog_enhancer_ducking = 22,
    dialog_enhancer_enable = 23,
    geq_frequency = 24,
    geq_gain = 25,
    graphic_equalizer_enable = 26,
    hearing_protection_attenuation_attack_time = 27,
    hearing_protection_attenuation_release_time = 28,
    hearing_protection_enable = 29,
    hearing_protection_rms_attenuation_target = 30,
    hearing_protection_rms_averaging_time_win_len = 31,
    height_filter_mode = 32,
    ieq_amount = 33,
    ieq_enable = 34,
    ieq_frequency = 35,
    ieq_id = 36,
    ieq_target = 37,
    mi_adaptive_virtualizer_steering_enable = 38,
    mi_dv_leveler_steering_enable = 39,
    mi_ieq_steering_enable = 40,
    mi_surround_compressor_steering_enable = 41,
    mi_virtualizer_binaural_steering_enable = 42,
    orientation = 43,
    output_channels = 44,
    output_mix_matrix = 45,
    peak_value = 46,
    regulator_distortion_slope = 47,
    regulator_enable = 48,
    regulator_frequency = 49,
    regulator_isolated_band = 50,
    regulator_overdrive = 51,
    regulator_sibilance_suppress_amounts_left = 52,
    regulator_sibilance_suppress_amounts_left_surround = 53,
    regulator_sibilance_suppress_amounts_right = 54,
    regulator_sibilance_suppress_amounts_right_surround = 55,
    regulator_sibilance_suppress_enable = 56,
    regulator_speaker_dist_enable = 57,
    regulator_stress_amount = 58,
    regulator_threshold_high = 59,
    regulator_threshold_low = 60,
    regulator_timbre_preservation = 61,
    surround_boost = 62,
    surround_decoder_enable = 63,
    virtual_bass_enable = 64,
    virtual_bass_mix_freq_high = 65,
    virtual_bass_mix_freq_low = 66,
    virtual_bass_mode = 67,
    virtual_bass_overall_gain = 68,
    virtual_bass_slope_gain = 69,
    virtual_bass_src_freq_high = 70,
    virtual_bass_src_freq_low = 71,
    virtual_bass_subgains = 72,
    virtualizer_enable = 73,
    virtualizer_front_speaker_angle = 74,
    virtualizer_height_speaker_angle = 75,
    virtualizer_start_band = 76,
    virtualizer_surround_speaker_angle = 77,
    volmax_boost = 78,
    volume_leveler_amount = 79,
    volume_leveler_compressor_enable = 80,
    volume_leveler_enable = 81,
    volume_leveler_in_target = 82,
    volume_leveler_out_target = 83,
    volume_modeler_calibration = 84,
    volume_modeler_enable = 85,
};

constexpr int kParameterCount = 86;

// The one record class whose valid-parameter set holds a parameter.
enum class RecordKind { Tuning, ProfileEndpoint, Profile, IeqPreset, GeqPreset };

// Database column name of each parameter, indexed by value ("volume_leveler_amount").
extern const char* const kParameterNames[kParameterCount];

// Name of the tuning-file element the reader takes a parameter from, indexed by value.
// Normally the column name with "_" turned into "-"; a few are spelt differently and are kept
// so because shipped tuning files use them: "virtual-bass-process-enable" (virtual_bass_enable),
// "drc-metadata" (custom_drc_metadata), and "virtual-bass-mix-freqs"/"virtual-bass-src-freqs",
// each of which carries two parameters told apart by kParameterTuningAttributes.
// nullptr for the parameters that the reader assembles from structured data (band tables,
// presets, the tuning element's own attributes, the output-mode matrix).
extern const char* const kParameterTuningKeys[kParameterCount];

// The attribute that holds a parameter's value where the tuning file keeps it in an
// attribute of a band or of a shared element ("gain_left", "frequency_high"); nullptr
// otherwise. Indexed by value.
extern const char* const kParameterTuningAttributes[kParameterCount];

// Record kind of each parameter, indexed by value.
extern const RecordKind kParameterRecordKinds[kParameterCount];

// The parameters held by the given record kinds, in value order. Reads only constant arrays,
// so the valid-parameter sets may be built from it however early.
std::set<Parameter> parameters_of_kinds(std::initializer_list<RecordKind> kinds);

// The column name of a parameter; a value outside the catalogue gives nullptr.
const char* parameter_name(Parameter parameter);

}  // namespace velora
