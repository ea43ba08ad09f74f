/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/ProfileEndpoint.h"

#include <sstream>

namespace velora {

const std::set<Parameter> ProfileEndpoint::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::ProfileEndpoint});

ProfileEndpoint::ProfileEndpoint(int profileId, Endpoint endpoint)
    : ParameterValues(-1, /*dirty=*/true), mProfileId(profileId), mEndpoint(endpoint) {}

ProfileEndpoint::ProfileEndpoint(long id, int profileId, Endpoint endpoint)
    : ParameterValues(static_cast<int64_t>(id), /*dirty=*/false),
      mProfileId(profileId),
      mEndpoint(endpoint) {}

ProfileEndpoint::~ProfileEndpoint() = default;

bool ProfileEndpoint::equals(const ProfileEndpoint& other) const {
    if (this == &other) {
        return true;
    }
    if (mEndpoint != other.mEndpoint || mProfileId != other.mProfileId) {
        return false;
    }
    return ParameterValues::equals(other);
}

std::string ProfileEndpoint::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "profileId=" << mProfileId << "\n"
        << "endpoint=" << endpoint_name(mEndpoint) << "\n"
        << valuesToString();
    return out.str();
}

}  // namespace velora
