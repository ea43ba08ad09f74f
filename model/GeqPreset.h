/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>
#include <string>

#include "model/ParameterValues.h"

namespace velora {

// A graphic-equalizer preset: its band table (geq_frequency, geq_gain). Each profile has
// its own, told apart by the profile id.
class GeqPreset : public ParameterValues {
  public:
    explicit GeqPreset(int profileId);
    // Read from the database: clean.
    GeqPreset(long long id, int profileId);
    GeqPreset(const GeqPreset&) = default;
    GeqPreset& operator=(const GeqPreset&) = default;
    ~GeqPreset() override;

    int64_t getId() const override { return mId; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }

    std::string toString() const;

    using ParameterValues::equals;
    // Same profile id and the same values.
    bool equals(const GeqPreset& other) const;

    static const std::set<Parameter> kValidParams;

  private:
    int mProfileId;
};

}  // namespace velora
