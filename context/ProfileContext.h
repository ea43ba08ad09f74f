/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <memory>
#include <set>

#include "model/Endpoint.h"

namespace velora {

class GeqPreset;
class IeqPreset;
class Profile;
class ProfileEndpoint;
class Provider;

// The loaded records of one profile: the profile itself, its endpoint settings (one record
// per endpoint) and its graphic-equalizer preset, plus the profile's default records, read
// once, for the "modified" checks. The records belong to the Provider's caches; this class
// only points at them.
//
// Threading: no lock of its own. It is used under the lock of the KsContext that owns it.
class ProfileContext {
  public:
    // The tuning file's records of the profile, as the "default" rows hold them. Built on the
    // first load and never refreshed: the defaults only change when the database is rebuilt,
    // which happens before any context exists.
    class Defaults {
      public:
        Defaults(Provider* provider, int profileId);
        Defaults(const Defaults&) = delete;
        Defaults& operator=(const Defaults&) = delete;

        Profile* getProfile() const { return mProfile; }
        const std::set<ProfileEndpoint*>& getProfileEndpoints() const { return mProfileEndpoints; }
        GeqPreset* getGeqPreset() const { return mGeqPreset; }

      private:
        Profile* mProfile;
        std::set<ProfileEndpoint*> mProfileEndpoints;
        GeqPreset* mGeqPreset;
    };

    ProfileContext(Provider* provider, int profileId);
    ~ProfileContext();
    ProfileContext(const ProfileContext&) = delete;
    ProfileContext& operator=(const ProfileContext&) = delete;

    int getId() const { return mProfileId; }

    // Reads the user's copies ("custom" rows) of the profile, its endpoints and its preset,
    // and builds the defaults the first time.
    void load();
    // Writes the profile, each endpoint, then the preset to their "custom" rows.
    void save();
    // Reads the defaults back into the profile, each endpoint, then the preset.
    void reset();
    // Reads the default graphic-equalizer preset back into the profile's preset.
    void resetGeq();

    // Any difference from the defaults: profile values, selected IEQ preset, any endpoint,
    // the GEQ preset (tested in that order).
    bool isModified();
    // The GEQ preset against a fresh read of its default row.
    bool isGeqModified();
    // The profile and its endpoints only, not the presets.
    bool isProfileSpecificSettingsModified();

    Profile* getProfile() const { return mProfile; }
    const std::set<ProfileEndpoint*>& getProfileEndpoints() const { return mProfileEndpoints; }
    // The profile's record for the endpoint. A profile without that record is an
    // inconsistency the service cannot run on: it is logged and the process ends.
    ProfileEndpoint* getProfileEndpoint(Endpoint endpoint) const;
    GeqPreset* getSelectedGeqPreset() const { return mGeqPreset; }
    // The selected preset while "ieq-enable" is on, else the "off" preset.
    IeqPreset* getSelectedIeqPreset() const;
    // The defaults, built now if no load has built them yet.
    Defaults* getDefaults();

  private:
    bool isProfileModified(const Defaults& defaults) const;
    bool areEndpointsModified(const Defaults& defaults) const;

    Provider* const mProvider;
    const int mProfileId;
    Profile* mProfile = nullptr;
    std::set<ProfileEndpoint*> mProfileEndpoints;
    GeqPreset* mGeqPreset = nullptr;
    std::unique_ptr<Defaults> mDefaults;
};

}  // namespace velora
