/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <set>

#include "model/ParamChangeObserver.h"
#include "model/ParameterValues.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

namespace velora {

// The output-dependent settings of one output device, merged from the selected profile's
// endpoint settings and the tuning selected for the device's port. Holds copies of their
// values and tells the observer of every parameter whose value really changed, one at a time,
// in Parameter order. The records are not owned: whoever replaces or frees one hands the view
// its successor before the view is used again.
//
// Threading: none of its own; used from the thread that delivers state changes.
class DeviceParameters : public ParameterValues {
  public:
    // The observer (not owned) is told at once to read this view as endpoint "other", not
    // mono, which holds until a tuning is set.
    explicit DeviceParameters(ParamChangeObserver* observer);
    DeviceParameters(const DeviceParameters&) = delete;
    DeviceParameters& operator=(const DeviceParameters&) = delete;
    ~DeviceParameters() override;

    // A view is never stored.
    int64_t getId() const override { return -1; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    // Only remembers the profile: none of its parameters belongs to this view.
    void setProfile(Profile& profile);
    void setProfileEndpoint(ProfileEndpoint& profileEndpoint);
    // Tells the observer the tuning's endpoint and mono flag before any changed parameter.
    void setTuning(Tuning& tuning);

    Profile* getProfile() const { return mProfile; }
    ProfileEndpoint* getProfileEndpoint() const { return mProfileEndpoint; }
    Tuning* getTuning() const { return mTuning; }

    // Takes every value of source that this view accepts, in Parameter order, and reports
    // each one that changed before looking at the next.
    void updateParams(const ParameterValues& source);

    // The parameters of Tuning and ProfileEndpoint (73).
    static const std::set<Parameter> kValidParams;

  private:
    Profile* mProfile = nullptr;
    ProfileEndpoint* mProfileEndpoint = nullptr;
    Tuning* mTuning = nullptr;
    ParamChangeObserver* mObserver;
};

}  // namespace velora
