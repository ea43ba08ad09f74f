/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>

#include "model/Parameter.h"

namespace velora::testing {

struct OneToOne {
    Parameter parameter;
    uint32_t id;
    const char* code;
};

// The one-to-one translators, with the wire ids written out by hand.
inline const OneToOne kOneToOne[] = {
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

}  // namespace velora::testing
