/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/GeqPreset.h"

#include <sstream>

namespace velora {

const std::set<Parameter> GeqPreset::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::GeqPreset});

GeqPreset::GeqPreset(int profileId) : ParameterValues(-1, /*dirty=*/true), mProfileId(profileId) {}

GeqPreset::GeqPreset(long long id, int profileId)
    : ParameterValues(static_cast<int64_t>(id), /*dirty=*/false), mProfileId(profileId) {}

GeqPreset::~GeqPreset() = default;

bool GeqPreset::equals(const GeqPreset& other) const {
    if (this == &other) {
        return true;
    }
    if (mProfileId != other.mProfileId) {
        return false;
    }
    return ParameterValues::equals(other);
}

std::string GeqPreset::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "profileId=" << mProfileId << "\n"
        << valuesToString();
    return out.str();
}

}  // namespace velora
