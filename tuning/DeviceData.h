/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <set>
#include <string>

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"

namespace velora {

// What one tuning file gave: its format and tool versions, the signature the start-up code
// assigns to it, and the six sets of records read from it.
//
// Ownership: the sets are views. The records, and this object itself, belong to the
// TuningFileParser that read the file, so a DeviceData must not outlive its parser. The sets
// are ordered by pointer value; whoever needs a stable order sorts by the records' own keys.
//
// Threading: none of its own; used by the thread that runs the parser.
class DeviceData {
  public:
    DeviceData();
    DeviceData(const DeviceData&) = delete;
    DeviceData& operator=(const DeviceData&) = delete;
    virtual ~DeviceData();

    virtual std::string getFormatVersion();
    virtual std::string getToolVersion();
    virtual std::set<IeqPreset*>& getIeqPresets();
    virtual std::set<GeqPreset*>& getGeqPresets();
    virtual std::set<Profile*>& getProfiles();
    virtual std::set<ProfileEndpoint*>& getProfileEndpoints();
    virtual std::set<Tuning*>& getTunings();
    virtual std::set<DeviceTuning*>& getDeviceTunings();
    virtual void setFormatVersion(const std::string& version);
    virtual void setToolVersion(const std::string& version);
    virtual void setIeqPresets(const std::set<IeqPreset*>& presets);
    virtual void setGeqPresets(const std::set<GeqPreset*>& presets);
    virtual void setProfiles(const std::set<Profile*>& profiles);
    virtual void setProfileEndPoints(const std::set<ProfileEndpoint*>& endpoints);
    virtual void setTunings(const std::set<Tuning*>& tunings);
    virtual void setDeviceTunings(const std::set<DeviceTuning*>& deviceTunings);
    virtual std::string getSignature();
    virtual void setSignature(const std::string& signature);

    // A profile whose ieq_enable is off (or has no value at all) selects the "off" IEQ
    // preset, whatever its include element named: the effect must not be handed a preset
    // for an equalizer that is switched off. Profiles with the equalizer on are left alone.
    // A profile without ieq_enable keeps an empty entry for it afterwards.
    virtual void validateData();

  private:
    std::string mFormatVersion;
    std::string mToolVersion;
    std::string mSignature;
    std::set<IeqPreset*> mIeqPresets;
    std::set<GeqPreset*> mGeqPresets;
    std::set<Profile*> mProfiles;
    std::set<ProfileEndpoint*> mProfileEndpoints;
    std::set<Tuning*> mTunings;
    std::set<DeviceTuning*> mDeviceTunings;
};

}  // namespace velora
