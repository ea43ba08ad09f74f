/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <set>

#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/ParamChangeObserver.h"
#include "model/ParameterValues.h"
#include "model/Profile.h"

namespace velora {

// The profile-wide settings of one output device, merged from the selected profile and its
// selected intelligent- and graphic-equalizer presets. Holds copies of their values and tells
// the observer of every parameter whose value really changed, one at a time, in Parameter
// order. The records are not owned: whoever replaces or frees one hands the view its
// successor before the view is used again.
//
// Threading: none of its own; used from the thread that delivers state changes.
class ProfileParameters : public ParameterValues {
  public:
    // The observer (not owned) is told at once to read this view as endpoint "other", not
    // mono: profile-wide settings do not depend on the output.
    explicit ProfileParameters(ParamChangeObserver* observer);
    ProfileParameters(const ProfileParameters&) = delete;
    ProfileParameters& operator=(const ProfileParameters&) = delete;
    ~ProfileParameters() override;

    // A view is never stored.
    int64_t getId() const override { return -1; }
    const std::set<Parameter>& getValidParams() const override { return kValidParams; }

    void setProfile(Profile& profile);
    void setIeqPreset(IeqPreset& preset);
    void setGeqPreset(GeqPreset& preset);

    Profile* getProfile() const { return mProfile; }
    IeqPreset* getIeqPreset() const { return mIeqPreset; }
    GeqPreset* getGeqPreset() const { return mGeqPreset; }

    // Takes every value of source that this view accepts, in Parameter order, and reports
    // each one that changed before looking at the next.
    void updateParams(const ParameterValues& source);
    // Empties every value that previous, the record being replaced, gave the view and
    // source, its replacement, does not hold.
    void dropMissing(const ParameterValues* previous, const ParameterValues& source);

    // The parameters of Profile, IeqPreset and GeqPreset (13).
    static const std::set<Parameter> kValidParams;

  private:
    Profile* mProfile = nullptr;
    IeqPreset* mIeqPreset = nullptr;
    GeqPreset* mGeqPreset = nullptr;
    ParamChangeObserver* mObserver;
};

}  // namespace velora
