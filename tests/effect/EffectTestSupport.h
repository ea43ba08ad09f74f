/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <gtest/gtest.h>
#include <pexparamstorage/PexParamStore.h>

#include <cstdint>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

#include "effect/PexEffect.h"
#include "effect/PexParameter.h"
#include "model/Parameter.h"

namespace velora::testing {

using V = std::vector<int>;

// One record of a packed batch, as the parameter store receives it.
struct BatchRecord {
    int device;
    uint32_t id;
    V values;
    bool operator==(const BatchRecord& o) const {
        return device == o.device && id == o.id && values == o.values;
    }
};

inline void PrintTo(const BatchRecord& r, std::ostream* os) {
    *os << "{device 0x" << std::hex << r.device << ", id 0x" << r.id << std::dec << ", "
        << ::testing::PrintToString(r.values) << "}";
}

// A packed batch taken apart word by word, written against the layout the effect reads and
// independently of the code that builds batches: [device, count, (tag, id, n, values)...].
struct DecodedBatch {
    int device = 0;
    int count = 0;
    int command = -1;
    std::vector<BatchRecord> records;
    bool malformed = false;  // the words do not make up whole records

    std::vector<BatchRecord> withId(uint32_t id) const {
        std::vector<BatchRecord> found;
        for (const BatchRecord& r : records)
            if (r.id == id) found.push_back(r);
        return found;
    }
};

inline DecodedBatch decode_batch(const V& words) {
    DecodedBatch batch;
    batch.malformed = words.size() < 2;
    if (batch.malformed) return batch;
    batch.device = words[0];
    batch.count = words[1];
    for (size_t at = 2; at < words.size();) {
        const size_t left = words.size() - at;
        const size_t n = left >= 3 && words[at + 2] >= 0 ? words[at + 2] : left;
        if (left < 3 || n > left - 3) {
            batch.malformed = true;
            break;
        }
        batch.records.push_back({words[at], static_cast<uint32_t>(words[at + 1]),
                                 V(words.begin() + at + 3, words.begin() + at + 3 + n)});
        at += 3 + n;
    }
    return batch;
}

// Delivers to the real store and keeps a copy of every batch it was handed.
class RecordingEffect : public PexEffect {
  public:
    RecordingEffect() : PexEffect(0, "KsService") {}
    int send(int command, V& data) override {
        batches.push_back(decode_batch(data));
        batches.back().command = command;
        return PexEffect::send(command, data);
    }
    void setEnabled(bool on) override { enabled.push_back(on); }
    std::vector<DecodedBatch> batches;
    std::vector<bool> enabled;
};

// What the parameter store has committed: (device, id) -> values, and its generation (the
// number of commits made to its file).
struct StoredParams {
    int generation = -1;
    std::map<std::pair<uint32_t, uint32_t>, V> values;
    bool has(uint32_t device, uint32_t id) const { return values.count({device, id}) != 0; }
    const V& at(uint32_t device, uint32_t id) const { return values.at({device, id}); }
};

inline StoredParams read_store() {
    android::KeyedVector<uint32_t, android::PexParamCache*> caches;
    StoredParams stored;
    EXPECT_EQ(0, android::PexParamStore::getInstance().getStoredParams(&caches, false,
                                                                       &stored.generation));
    for (size_t i = 0; i < caches.size(); ++i)
        for (const auto& [id, values] : *caches.valueAt(i))
            stored.values[{caches.keyAt(i), id}] = V(values.begin(), values.end());
    android::PexParamStore::releaseStoredParams(&caches);
    return stored;
}

// The one-to-one translators: the parameter and the code it is sent under. The codes' wire
// ids are checked by hand in PexEffectTest.
struct OneToOne {
    Parameter parameter;
    PexParameter code;
    uint32_t id() const { return pex_parameter_id(code); }
    const char* text() const { return kPexParameterCodes[code]; }
};

// clang-format off
inline const OneToOne kOneToOne[] = {
    {graphic_equalizer_enable, GEON}, {ieq_enable, IEON}, {ieq_amount, IEA}, {ieq_id, IEID},
    {mi_dv_leveler_steering_enable, MDLE}, {mi_ieq_steering_enable, MIEE},
    {mi_surround_compressor_steering_enable, MSCE}, {mi_adaptive_virtualizer_steering_enable, MAVE},
    {mi_virtualizer_binaural_steering_enable, MVBE}, {audio_optimizer_enable, AOON},
    {bass_enhancer_enable, BEON}, {bass_enhancer_boost, BEB},
    {bass_enhancer_cutoff_frequency, BECF}, {bass_enhancer_width, BEW}, {calibration_boost, PLB},
    {dialog_enhancer_amount, DEA}, {dialog_enhancer_ducking, DED}, {dialog_enhancer_enable, DEON},
    {regulator_distortion_slope, ARDS}, {regulator_enable, ARON},
    {regulator_speaker_dist_enable, ARDE}, {regulator_overdrive, AROD},
    {regulator_timbre_preservation, ARTP}, {regulator_sibilance_suppress_enable, RSSE},
    {surround_decoder_enable, NGON}, {surround_boost, DSB}, {virtual_bass_enable, VBON},
    {virtual_bass_mode, VBM}, {virtual_bass_overall_gain, VBOG}, {virtual_bass_slope_gain, VBSG},
    {virtual_bass_subgains, VBHG}, {volmax_boost, VMB}, {volume_leveler_amount, DVLA},
    {volume_leveler_compressor_enable, DVLC}, {volume_leveler_enable, DVLE},
    {volume_leveler_in_target, DVLI}, {volume_leveler_out_target, DVLO},
    {volume_modeler_enable, DVME}, {volume_modeler_calibration, DVMC}, {height_filter_mode, DHFM},
    {virtualizer_front_speaker_angle, DFSA}, {virtualizer_surround_speaker_angle, DSA},
    {virtualizer_height_speaker_angle, DHSA}, {virtualizer_start_band, SVSB},
    {complex_equalizer_enable, CEON}, {peak_value, DPLP}, {hearing_protection_enable, HPON},
    {hearing_protection_rms_averaging_time_win_len, HPTW},
    {hearing_protection_rms_attenuation_target, HPAT},
    {hearing_protection_attenuation_attack_time, HPAA},
    {hearing_protection_attenuation_release_time, HPAR}, {bass_mbdrc_enable, BMDE}};
// clang-format on

}  // namespace velora::testing
