/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/Parameter.h"

namespace velora {

// Plain arrays of constants: initialised at compile time, so safe to read from any static
// initialiser, however early.

const char* const kParameterNames[kParameterCount] = {
    "audio_optimizer_enable",
    "audio_optimizer_frequency",
    "audio_optimizer_gain_l",
    "audio_optimizer_gain_ls",
    "audio_optimizer_gain_r",
    "audio_optimizer_gain_rs",
    "bass_enhancer_boost",
    "bass_enhancer_cutoff_frequency",
    "bass_enhancer_enable",
    "bass_enhancer_width",
    "bass_extraction_cutoff_frequency",
    "bass_extraction_enable",
    "bass_mbdrc_enable",
    "bass_mbdrc_tuning",
    "calibration_boost",
    "complex_equalizer_enable",
    "complex_equalizer_tuning_left",
    "complex_equalizer_tuning_left_surround",
    "complex_equalizer_tuning_right",
    "complex_equalizer_tuning_right_surround",
    "custom_drc_metadata",
    "dialog_enhancer_amount",
    "dialog_enhancer_ducking",
    "dialog_enhancer_enable",
    "geq_frequency",
    "geq_gain",
    "graphic_equalizer_enable",
    "hearing_protection_attenuation_attack_time",
    "hearing_protection_attenuation_release_time",
    "hearing_protection_enable",
    "hearing_protection_rms_attenuation_target",
    "hearing_protection_rms_averaging_time_win_len",
    "height_filter_mode",
    "ieq_amount",
    "ieq_enable",
    "ieq_frequency",
    "ieq_id",
    "ieq_target",
    "mi_adaptive_virtualizer_steering_enable",
    "mi_dv_leveler_steering_enable",
    "mi_ieq_steering_enable",
    "mi_surround_compressor_steering_enable",
    "mi_virtualizer_binaural_steering_enable",
    "orientation",
    "output_channels",
    "output_mix_matrix",
    "peak_value",
    "regulator_distortion_slope",
    "regulator_enable",
    "regulator_frequency",
    "regulator_isolated_band",
    "regulator_overdrive",
    "regulator_sibilance_suppress_amounts_left",
    "regulator_sibilance_suppress_amounts_left_surround",
    "regulator_sibilance_suppress_amounts_right",
    "regulator_sibilance_suppress_amounts_right_surround",
    "regulator_sibilance_suppress_enable",
    "regulator_speaker_dist_enable",
    "regulator_stress_amount",
    "regulator_threshold_high",
    "regulator_threshold_low",
    "regulator_timbre_preservation",
    "surround_boost",
    "surround_decoder_enable",
    "virtual_bass_enable",
    "virtual_bass_mix_freq_high",
    "virtual_bass_mix_freq_low",
    "virtual_bass_mode",
    "virtual_bass_overall_gain",
    "virtual_bass_slope_gain",
    "virtual_bass_src_freq_high",
    "virtual_bass_src_freq_low",
    "virtual_bass_subgains",
    "virtualizer_enable",
    "virtualizer_front_speaker_angle",
    "virtualizer_height_speaker_angle",
    "virtualizer_start_band",
    "virtualizer_surround_speaker_angle",
    "volmax_boost",
    "volume_leveler_amount",
    "volume_leveler_compressor_enable",
    "volume_leveler_enable",
    "volume_leveler_in_target",
    "volume_leveler_out_target",
    "volume_modeler_calibration",
    "volume_modeler_enable",
};

const char* const kParameterTuningKeys[kParameterCount] = {
    "audio-optimizer-enable",            // audio_optimizer_enable
    nullptr,                             // audio_optimizer_frequency: audio-optimizer band table
    nullptr,                             // audio_optimizer_gain_l: audio-optimizer band table
    nullptr,                             // audio_optimizer_gain_ls: audio-optimizer band table
    nullptr,                             // audio_optimizer_gain_r: audio-optimizer band table
    nullptr,                             // audio_optimizer_gain_rs: audio-optimizer band table
    "bass-enhancer-boost",               // bass_enhancer_boost
    "bass-enhancer-cutoff-frequency",    // bass_enhancer_cutoff_frequency
    "bass-enhancer-enable",              // bass_enhancer_enable
    "bass-enhancer-width",               // bass_enhancer_width
    "bass-extraction-cutoff-frequency",  // bass_extraction_cutoff_frequency
    "bass-extraction-enable",            // bass_extraction_enable
    "bass-mbdrc-enable",                 // bass_mbdrc_enable
    "bass-mbdrc-tuning",                 // bass_mbdrc_tuning
    "calibration-boost",                 // calibration_boost
    "complex-equalizer-enable",          // complex_equalizer_enable
    "complex-equalizer-tuning-left",     // complex_equalizer_tuning_left
    "complex-equalizer-tuning-left-surround",       // complex_equalizer_tuning_left_surround
    "complex-equalizer-tuning-right",               // complex_equalizer_tuning_right
    "complex-equalizer-tuning-right-surround",      // complex_equalizer_tuning_right_surround
    "drc-metadata",                                 // custom_drc_metadata
    "dialog-enhancer-amount",                       // dialog_enhancer_amount
    "dialog-enhancer-ducking",                      // dialog_enhancer_ducking
    "dialog-enhancer-enable",                       // dialog_enhancer_enable
    nullptr,                                        // geq_frequency: graphic-equalizer preset bands
    nullptr,                                        // geq_gain: graphic-equalizer preset bands
    "graphic-equalizer-enable",                     // graphic_equalizer_enable
    "hearing-protection-attenuation-attack-time",   // hearing_protection_attenuation_attack_time
    "hearing-protection-attenuation-release-time",  // hearing_protection_attenuation_release_time
    "hearing-protection-enable",                    // hearing_protection_enable
    "hearing-protection-rms-attenuation-target",    // hearing_protection_rms_attenuation_target
    "hearing-protection-rms-averaging-time-win-len",  // hearing_protection_rms_averaging_time_win_len
    "height-filter-mode",                             // height_filter_mode
    "ieq-amount",                                     // ieq_amount
    "ieq-enable",                                     // ieq_enable
    nullptr,                                    // ieq_frequency: intelligent-equalizer preset bands
    nullptr,                                    // ieq_id: the preset's own type
    nullptr,                                    // ieq_target: intelligent-equalizer preset bands
    "mi-adaptive-virtualizer-steering-enable",  // mi_adaptive_virtualizer_steering_enable
    "mi-dv-leveler-steering-enable",            // mi_dv_leveler_steering_enable
    "mi-ieq-steering-enable",                   // mi_ieq_steering_enable
    "mi-surround-compressor-steering-enable",   // mi_surround_compressor_steering_enable
    "mi-virtualizer-binaural-steering-enable",  // mi_virtualizer_binaural_steering_enable
    nullptr,                                    // orientation: attribute of the tuning element
    nullptr,                                    // output_channels: attribute of the tuning element
    nullptr,                                    // output_mix_matrix: "output-mode" mix matrix
    "peak-value",                               // peak_value
    "regulator-distortion-slope",               // regulator_distortion_slope
    "regulator-enable",                         // regulator_enable
    nullptr,                // regulator_frequency: regulator audio-optimizer band table
    nullptr,                // regulator_isolated_band: regulator band table
    "regulator-overdrive",  // regulator_overdrive
    "regulator-sibilance-suppress-amounts-left",  // regulator_sibilance_suppress_amounts_left
    "regulator-sibilance-suppress-amounts-left-surround",  // regulator_sibilance_suppress_amounts_left_surround
    "regulator-sibilance-suppress-amounts-right",  // regulator_sibilance_suppress_amounts_right
    "regulator-sibilance-suppress-amounts-right-surround",  // regulator_sibilance_suppress_amounts_right_surround
    "regulator-sibilance-suppress-enable",                  // regulator_sibilance_suppress_enable
    "regulator-speaker-dist-enable",                        // regulator_speaker_dist_enable
    "regulator-stress-amount",                              // regulator_stress_amount
    nullptr,                               // regulator_threshold_high: regulator band table
    nullptr,                               // regulator_threshold_low: regulator band table
    "regulator-timbre-preservation",       // regulator_timbre_preservation
    "surround-boost",                      // surround_boost
    "surround-decoder-enable",             // surround_decoder_enable
    "virtual-bass-process-enable",         // virtual_bass_enable
    "virtual-bass-mix-freqs",              // virtual_bass_mix_freq_high
    "virtual-bass-mix-freqs",              // virtual_bass_mix_freq_low
    "virtual-bass-mode",                   // virtual_bass_mode
    "virtual-bass-overall-gain",           // virtual_bass_overall_gain
    "virtual-bass-slope-gain",             // virtual_bass_slope_gain
    "virtual-bass-src-freqs",              // virtual_bass_src_freq_high
    "virtual-bass-src-freqs",              // virtual_bass_src_freq_low
    "virtual-bass-subgains",               // virtual_bass_subgains
    "virtualizer-enable",                  // virtualizer_enable
    "virtualizer-front-speaker-angle",     // virtualizer_front_speaker_angle
    "virtualizer-height-speaker-angle",    // virtualizer_height_speaker_angle
    "virtualizer-start-band",              // virtualizer_start_band
    "virtualizer-surround-speaker-angle",  // virtualizer_surround_speaker_angle
    "volmax-boost",                        // volmax_boost
    "volume-leveler-amount",               // volume_leveler_amount
    "volume-leveler-compressor-enable",    // volume_leveler_compressor_enable
    "volume-leveler-enable",               // volume_leveler_enable
    "volume-leveler-in-target",            // volume_leveler_in_target
    "volume-leveler-out-target",           // volume_leveler_out_target
    "volume-modeler-calibration",          // volume_modeler_calibration
    "volume-modeler-enable",               // volume_modeler_enable
};

const char* const kParameterTuningAttributes[kParameterCount] = {
    nullptr,                // audio_optimizer_enable
    "frequency",            // audio_optimizer_frequency
    "gain_left",            // audio_optimizer_gain_l
    "gain_left_surround",   // audio_optimizer_gain_ls
    "gain_right",           // audio_optimizer_gain_r
    "gain_right_surround",  // audio_optimizer_gain_rs
    nullptr,                // bass_enhancer_boost
    nullptr,                // bass_enhancer_cutoff_frequency
    nullptr,                // bass_enhancer_enable
    nullptr,                // bass_enhancer_width
    nullptr,                // bass_extraction_cutoff_frequency
    nullptr,                // bass_extraction_enable
    nullptr,                // bass_mbdrc_enable
    nullptr,                // bass_mbdrc_tuning
    nullptr,                // calibration_boost
    nullptr,                // complex_equalizer_enable
    nullptr,                // complex_equalizer_tuning_left
    nullptr,                // complex_equalizer_tuning_left_surround
    nullptr,                // complex_equalizer_tuning_right
    nullptr,                // complex_equalizer_tuning_right_surround
    nullptr,                // custom_drc_metadata
    nullptr,                // dialog_enhancer_amount
    nullptr,                // dialog_enhancer_ducking
    nullptr,                // dialog_enhancer_enable
    nullptr,                // geq_frequency
    nullptr,                // geq_gain
    nullptr,                // graphic_equalizer_enable
    nullptr,                // hearing_protection_attenuation_attack_time
    nullptr,                // hearing_protection_attenuation_release_time
    nullptr,                // hearing_protection_enable
    nullptr,                // hearing_protection_rms_attenuation_target
    nullptr,                // hearing_protection_rms_averaging_time_win_len
    nullptr,                // height_filter_mode
    nullptr,                // ieq_amount
    nullptr,                // ieq_enable
    nullptr,                // ieq_frequency
    nullptr,                // ieq_id
    nullptr,                // ieq_target
    nullptr,                // mi_adaptive_virtualizer_steering_enable
    nullptr,                // mi_dv_leveler_steering_enable
    nullptr,                // mi_ieq_steering_enable
    nullptr,                // mi_surround_compressor_steering_enable
    nullptr,                // mi_virtualizer_binaural_steering_enable
    nullptr,                // orientation
    nullptr,                // output_channels
    nullptr,                // output_mix_matrix
    nullptr,                // peak_value
    nullptr,                // regulator_distortion_slope
    nullptr,                // regulator_enable
    "frequency",            // regulator_frequency
    "isolated_band",        // regulator_isolated_band
    nullptr,                // regulator_overdrive
    nullptr,                // regulator_sibilance_suppress_amounts_left
    nullptr,                // regulator_sibilance_suppress_amounts_left_surround
    nullptr,                // regulator_sibilance_suppress_amounts_right
    nullptr,                // regulator_sibilance_suppress_amounts_right_surround
    nullptr,                // regulator_sibilance_suppress_enable
    nullptr,                // regulator_speaker_dist_enable
    nullptr,                // regulator_stress_amount
    "threshold_high",       // regulator_threshold_high
    "threshold_low",        // regulator_threshold_low
    nullptr,                // regulator_timbre_preservation
    nullptr,                // surround_boost
    nullptr,                // surround_decoder_enable
    nullptr,                // virtual_bass_enable
    "frequency_high",       // virtual_bass_mix_freq_high
    "frequency_low",        // virtual_bass_mix_freq_low
    nullptr,                // virtual_bass_mode
    nullptr,                // virtual_bass_overall_gain
    nullptr,                // virtual_bass_slope_gain
    "frequency_high",       // virtual_bass_src_freq_high
    "frequency_low",        // virtual_bass_src_freq_low
    nullptr,                // virtual_bass_subgains
    nullptr,                // virtualizer_enable
    nullptr,                // virtualizer_front_speaker_angle
    nullptr,                // virtualizer_height_speaker_angle
    nullptr,                // virtualizer_start_band
    nullptr,                // virtualizer_surround_speaker_angle
    nullptr,                // volmax_boost
    nullptr,                // volume_leveler_amount
    nullptr,                // volume_leveler_compressor_enable
    nullptr,                // volume_leveler_enable
    nullptr,                // volume_leveler_in_target
    nullptr,                // volume_leveler_out_target
    nullptr,                // volume_modeler_calibration
    nullptr,                // volume_modeler_enable
};

const RecordKind kParameterRecordKinds[kParameterCount] = {
    RecordKind::Tuning,           // 0 audio_optimizer_enable
    RecordKind::Tuning,           // 1 audio_optimizer_frequency
    RecordKind::Tuning,           // 2 audio_optimizer_gain_l
    RecordKind::Tuning,           // 3 audio_optimizer_gain_ls
    RecordKind::Tuning,           // 4 audio_optimizer_gain_r
    RecordKind::Tuning,           // 5 audio_optimizer_gain_rs
    RecordKind::Tuning,           // 6 bass_enhancer_boost
    RecordKind::Tuning,           // 7 bass_enhancer_cutoff_frequency
    RecordKind::ProfileEndpoint,  // 8 bass_enhancer_enable
    RecordKind::Tuning,           // 9 bass_enhancer_width
    RecordKind::Tuning,           // 10 bass_extraction_cutoff_frequency
    RecordKind::Tuning,           // 11 bass_extraction_enable
    RecordKind::Tuning,           // 12 bass_mbdrc_enable
    RecordKind::Tuning,           // 13 bass_mbdrc_tuning
    RecordKind::ProfileEndpoint,  // 14 calibration_boost
    RecordKind::Tuning,           // 15 complex_equalizer_enable
    RecordKind::Tuning,           // 16 complex_equalizer_tuning_left
    RecordKind::Tuning,           // 17 complex_equalizer_tuning_left_surround
    RecordKind::Tuning,           // 18 complex_equalizer_tuning_right
    RecordKind::Tuning,           // 19 complex_equalizer_tuning_right_surround
    RecordKind::Profile,          // 20 custom_drc_metadata
    RecordKind::ProfileEndpoint,  // 21 dialog_enhancer_amount
    RecordKind::ProfileEndpoint,  // 22 dialog_enhancer_ducking
    RecordKind::ProfileEndpoint,  // 23 dialog_enhancer_enable
    RecordKind::GeqPreset,        // 24 geq_frequency
    RecordKind::GeqPreset,        // 25 geq_gain
    RecordKind::ProfileEndpoint,  // 26 graphic_equalizer_enable
    RecordKind::ProfileEndpoint,  // 27 hearing_protection_attenuation_attack_time
    RecordKind::ProfileEndpoint,  // 28 hearing_protection_attenuation_release_time
    RecordKind::ProfileEndpoint,  // 29 hearing_protection_enable
    RecordKind::ProfileEndpoint,  // 30 hearing_protection_rms_attenuation_target
    RecordKind::ProfileEndpoint,  // 31 hearing_protection_rms_averaging_time_win_len
    RecordKind::Tuning,           // 32 height_filter_mode
    RecordKind::Profile,          // 33 ieq_amount
    RecordKind::Profile,          // 34 ieq_enable
    RecordKind::IeqPreset,        // 35 ieq_frequency
    RecordKind::IeqPreset,        // 36 ieq_id
    RecordKind::IeqPreset,        // 37 ieq_target
    RecordKind::Profile,          // 38 mi_adaptive_virtualizer_steering_enable
    RecordKind::Profile,          // 39 mi_dv_leveler_steering_enable
    RecordKind::Profile,          // 40 mi_ieq_steering_enable
    RecordKind::Profile,          // 41 mi_surround_compressor_steering_enable
    RecordKind::ProfileEndpoint,  // 42 mi_virtualizer_binaural_steering_enable
    RecordKind::Tuning,           // 43 orientation
    RecordKind::Tuning,           // 44 output_channels
    RecordKind::Tuning,           // 45 output_mix_matrix
    RecordKind::ProfileEndpoint,  // 46 peak_value
    RecordKind::Tuning,           // 47 regulator_distortion_slope
    RecordKind::Tuning,           // 48 regulator_enable
    RecordKind::Tuning,           // 49 regulator_frequency
    RecordKind::Tuning,           // 50 regulator_isolated_band
    RecordKind::Tuning,           // 51 regulator_overdrive
    RecordKind::Tuning,           // 52 regulator_sibilance_suppress_amounts_left
    RecordKind::Tuning,           // 53 regulator_sibilance_suppress_amounts_left_surround
    RecordKind::Tuning,           // 54 regulator_sibilance_suppress_amounts_right
    RecordKind::Tuning,           // 55 regulator_sibilance_suppress_amounts_right_surround
    RecordKind::Tuning,           // 56 regulator_sibilance_suppress_enable
    RecordKind::Tuning,           // 57 regulator_speaker_dist_enable
    RecordKind::Tuning,           // 58 regulator_stress_amount
    RecordKind::Tuning,           // 59 regulator_threshold_high
    RecordKind::Tuning,           // 60 regulator_threshold_low
    RecordKind::Tuning,           // 61 regulator_timbre_preservation
    RecordKind::ProfileEndpoint,  // 62 surround_boost
    RecordKind::ProfileEndpoint,  // 63 surround_decoder_enable
    RecordKind::ProfileEndpoint,  // 64 virtual_bass_enable
    RecordKind::Tuning,           // 65 virtual_bass_mix_freq_high
    RecordKind::Tuning,           // 66 virtual_bass_mix_freq_low
    RecordKind::Tuning,           // 67 virtual_bass_mode
    RecordKind::Tuning,           // 68 virtual_bass_overall_gain
    RecordKind::Tuning,           // 69 virtual_bass_slope_gain
    RecordKind::Tuning,           // 70 virtual_bass_src_freq_high
    RecordKind::Tuning,           // 71 virtual_bass_src_freq_low
    RecordKind::Tuning,           // 72 virtual_bass_subgains
    RecordKind::ProfileEndpoint,  // 73 virtualizer_enable
    RecordKind::Tuning,           // 74 virtualizer_front_speaker_angle
    RecordKind::Tuning,           // 75 virtualizer_height_speaker_angle
    RecordKind::ProfileEndpoint,  // 76 virtualizer_start_band
    RecordKind::Tuning,           // 77 virtualizer_surround_speaker_angle
    RecordKind::ProfileEndpoint,  // 78 volmax_boost
    RecordKind::ProfileEndpoint,  // 79 volume_leveler_amount
    RecordKind::Tuning,           // 80 volume_leveler_compressor_enable
    RecordKind::ProfileEndpoint,  // 81 volume_leveler_enable
    RecordKind::ProfileEndpoint,  // 82 volume_leveler_in_target
    RecordKind::ProfileEndpoint,  // 83 volume_leveler_out_target
    RecordKind::Tuning,           // 84 volume_modeler_calibration
    RecordKind::Profile,          // 85 volume_modeler_enable
};

std::set<Parameter> parameters_of_kinds(std::initializer_list<RecordKind> kinds) {
    std::set<Parameter> result;
    for (int value = 0; value < kParameterCount; ++value) {
        for (RecordKind kind : kinds) {
            if (kParameterRecordKinds[value] == kind) {
                result.insert(static_cast<Parameter>(value));
            }
        }
    }
    return result;
}

const char* parameter_name(Parameter parameter) {
    if (parameter < 0 || parameter >= kParameterCount) {
        return nullptr;
    }
    return kParameterNames[parameter];
}

}  // namespace velora
