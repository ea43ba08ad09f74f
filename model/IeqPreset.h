/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>
#include <string>

#include "model/ParameterValues.h"
#include "model/PresetType.h"

namespace velora {

// An intelligent-equalizer preset: its band table (ieq_frequency, ieq_target). The preset
// also keeps its own type as the one-element value of ieq_id, so that the type travels with
// the values into the merged views and the effect.
class IeqPreset : public ParameterValues {
  public:
    explicit IeqPreset(PresetType type);
    // Read from the database. Dirty all the same, because storing the type as ieq_id is a
    // set() like any other.
    IeqPreset(long long id, PresetType type);
    IeqPreset(const IeqPreset&) = default;
    IeqPreset& operator=(const IeqPreset&) = default;
    ~IeqPreset() override;

    int64_t getId() const override { return mId; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    PresetType getType() const { return mType; }

    std::string toString() const;

    static const std::set<Parameter> kValidParams;

  private:
    PresetType mType;
};

}  // namespace velora
