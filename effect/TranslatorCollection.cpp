/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/TranslatorCollection.h"

#include "effect/AudioOptimizerTranslator.h"
#include "effect/AudioRegulatorTranslator.h"
#include "effect/BassMbdrcTranslator.h"
#include "effect/ComplexEqualizerTranslator.h"
#include "effect/CustomDRCTranslator.h"
#include "effect/GeqTranslator.h"
#include "effect/IeqTranslator.h"
#include "effect/OutputModeTranslator.h"
#include "effect/SimpleTranslator.h"
#include "effect/VirtualBassTranslator.h"

namespace velora {

namespace {

// Static initialisation order of the translator tables, across files:
//   101  the settings model's tables
//   102  the translators themselves and their source lists (kSrcParams)
//   103  kAllTranslators, which lists them
//   104  ParameterTranslator::sTranslatorCollection, which asks each for its sources
// The objects are never freed while the library is loaded.

__attribute__((init_priority(102))) SimpleTranslator sSimpleTranslators[] = {
    {GEON, graphic_equalizer_enable},
    {IEON, ieq_enable},
    {IEA, ieq_amount},
    {IEID, ieq_id},
    {MDLE, mi_dv_leveler_steering_enable},
    {MIEE, mi_ieq_steering_enable},
    {MSCE, mi_surround_compressor_steering_enable},
    {MAVE, mi_adaptive_virtualizer_steering_enable},
    {MVBE, mi_virtualizer_binaural_steering_enable},
    {AOON, audio_optimizer_enable},
    {BEON, bass_enhancer_enable},
    {BEB, bass_enhancer_boost},
    {BECF, bass_enhancer_cutoff_frequency},
    {BEW, bass_enhancer_width},
    {PLB, calibration_boost},
    {DEA, dialog_enhancer_amount},
    {DED, dialog_enhancer_ducking},
    {DEON, dialog_enhancer_enable},
    {ARDS, regulator_distortion_slope},
    {ARON, regulator_enable},
    {ARDE, regulator_speaker_dist_enable},
    {AROD, regulator_overdrive},
    {ARTP, regulator_timbre_preservation},
    {RSSE, regulator_sibilance_suppress_enable},
    {NGON, surround_decoder_enable},
    {DSB, surround_boost},
    {VBON, virtual_bass_enable},
    {VBM, virtual_bass_mode},
    {VBOG, virtual_bass_overall_gain},
    {VBSG, virtual_bass_slope_gain},
    {VBHG, virtual_bass_subgains},
    {VMB, volmax_boost},
    {DVLA, volume_leveler_amount},
    {DVLC, volume_leveler_compressor_enable},
    {DVLE, volume_leveler_enable},
    {DVLI, volume_leveler_in_target},
    {DVLO, volume_leveler_out_target},
    {DVME, volume_modeler_enable},
    {DVMC, volume_modeler_calibration},
    {DHFM, height_filter_mode},
    {DFSA, virtualizer_front_speaker_angle},
    {DSA, virtualizer_surround_speaker_angle},
    {DHSA, virtualizer_height_speaker_angle},
    {SVSB, virtualizer_start_band},
    {CEON, complex_equalizer_enable},
    {DPLP, peak_value},
    {HPON, hearing_protection_enable},
    {HPTW, hearing_protection_rms_averaging_time_win_len},
    {HPAT, hearing_protection_rms_attenuation_target},
    {HPAA, hearing_protection_attenuation_attack_time},
    {HPAR, hearing_protection_attenuation_release_time},
    {BMDE, bass_mbdrc_enable},
};

// The special translators have no fields; plain static objects, never destroyed in use.
AudioOptimizerTranslator sAudioOptimizerTranslator;
AudioRegulatorTranslator sAudioRegulatorTranslator;
GeqTranslator sGeqTranslator;
IeqTranslator sIeqTranslator;
OutputModeTranslator sOutputModeTranslator;
VirtualBassTranslator sVirtualBassTranslator;
ComplexEqualizerTranslator sComplexEqualizerTranslator;
CustomDRCTranslator sCustomDRCTranslator;
BassMbdrcTranslator sBassMbdrcTranslator;

std::set<Translator*> all_translators() {
    std::set<Translator*> all;
    for (SimpleTranslator& translator : sSimpleTranslators) {
        all.insert(&translator);
    }
    all.insert(&sAudioOptimizerTranslator);
    all.insert(&sAudioRegulatorTranslator);
    all.insert(&sGeqTranslator);
    all.insert(&sIeqTranslator);
    all.insert(&sOutputModeTranslator);
    all.insert(&sVirtualBassTranslator);
    all.insert(&sComplexEqualizerTranslator);
    all.insert(&sCustomDRCTranslator);
    all.insert(&sBassMbdrcTranslator);
    return all;
}

}  // namespace

__attribute__((init_priority(103))) const std::set<Translator*>
    TranslatorCollection::kAllTranslators = all_translators();

TranslatorCollection::TranslatorCollection() {
    // Every parameter has an entry, null where no translator reads it, so that lookups never
    // need to insert and the map stays read-only once built.
    for (int p = 0; p < kParameterCount; ++p) {
        mTranslators[static_cast<Parameter>(p)] = nullptr;
    }
    for (Translator* translator : kAllTranslators) {
        for (Parameter parameter : translator->getSrcParams()) {
            mTranslators[parameter] = translator;
        }
    }
}

Translator* TranslatorCollection::getTranslator(Parameter parameter) const {
    auto it = mTranslators.find(parameter);
    return it == mTranslators.end() ? nullptr : it->second;
}

}  // namespace velora
