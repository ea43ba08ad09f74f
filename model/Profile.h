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

// A sound profile: its profile-wide settings (intelligent-equalizer enable and amount,
// media-intelligence steering, volume modeler, custom DRC metadata) and the presets it
// selects. The selected graphic-equalizer preset is a profile id; a new profile selects its
// own.
class Profile : public ParameterValues {
  public:
    Profile(int profileId, const std::string& name, PresetType selectedIeqPreset);
    // Read from the database: clean.
    Profile(long long id, int profileId, const std::string& name, PresetType selectedIeqPreset);
    Profile(const Profile&) = default;
    Profile& operator=(const Profile&) = default;
    ~Profile() override;

    int64_t getId() const override { return mId; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }
    const std::string& getName() const { return mName; }
    void setName(const std::string& name) { mName = name; }
    PresetType getSelectedIeqPreset() const { return mSelectedIeqPreset; }
    void setSelectedIeqPreset(PresetType preset) { mSelectedIeqPreset = preset; }
    int getSelectedGeqPreset() const { return mSelectedGeqPreset; }
    void setSelectedGeqPreset(int profileId) { mSelectedGeqPreset = profileId; }

    std::string toString() const;

    using ParameterValues::equals;
    // Same profile id, same selected IEQ preset and the same values. The name and the
    // selected GEQ preset are left out on purpose: a renamed profile is the same profile.
    bool equals(const Profile& other) const;

    static const std::set<Parameter> kValidParams;

  private:
    int mProfileId;
    std::string mName;
    PresetType mSelectedIeqPreset;
    int mSelectedGeqPreset;
};

}  // namespace velora
