/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/Profile.h"

#include <sstream>

namespace velora {

const std::set<Parameter> Profile::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::Profile});

Profile::Profile(int profileId, const std::string& name, PresetType selectedIeqPreset)
    : ParameterValues(-1, /*dirty=*/true),
      mProfileId(profileId),
      mName(name),
      mSelectedIeqPreset(selectedIeqPreset),
      mSelectedGeqPreset(profileId) {}

Profile::Profile(long long id, int profileId, const std::string& name, PresetType selectedIeqPreset)
    : ParameterValues(static_cast<int64_t>(id), /*dirty=*/false),
      mProfileId(profileId),
      mName(name),
      mSelectedIeqPreset(selectedIeqPreset),
      mSelectedGeqPreset(profileId) {}

Profile::~Profile() = default;

bool Profile::equals(const Profile& other) const {
    if (this == &other) {
        return true;
    }
    if (mSelectedIeqPreset != other.mSelectedIeqPreset || mProfileId != other.mProfileId) {
        return false;
    }
    return ParameterValues::equals(other);
}

std::string Profile::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "profileId=" << mProfileId << "\n"
        << "name=" << mName << "\n"
        << "selectedIeqPreset=" << preset_type_name(mSelectedIeqPreset) << "\n"
        << "selectedGeqPreset=" << mSelectedGeqPreset << "\n"
        << valuesToString();
    return out.str();
}

}  // namespace velora
