/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>
#include <string>

#include "model/Endpoint.h"
#include "model/ParameterValues.h"

namespace velora {

// The settings a profile keeps per endpoint: enables, leveler, dialog enhancer, hearing
// protection, surround, volmax.
class ProfileEndpoint : public ParameterValues {
  public:
    ProfileEndpoint(int profileId, Endpoint endpoint);
    // Read from the database: clean.
    ProfileEndpoint(long id, int profileId, Endpoint endpoint);
    ProfileEndpoint(const ProfileEndpoint&) = default;
    ProfileEndpoint& operator=(const ProfileEndpoint&) = default;
    ~ProfileEndpoint() override;

    int64_t getId() const override { return mId; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    int getProfileId() const { return mProfileId; }
    Endpoint getEndpoint() const { return mEndpoint; }

    std::string toString() const;

    using ParameterValues::equals;
    // Same profile id, same endpoint and the same values.
    bool equals(const ProfileEndpoint& other) const;

    static const std::set<Parameter> kValidParams;

  private:
    int mProfileId;
    Endpoint mEndpoint;
};

}  // namespace velora
