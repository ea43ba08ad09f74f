/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "model/DeviceTuning.h"
#include "model/Endpoint.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Port.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/DatabaseHelper.h"
#include "store/Transaction.h"

namespace velora {

class DeviceData;

// The data-access layer between the runtime state and the settings database. It keeps one
// record object per profile, profile endpoint and GEQ preset in a "default" and a "custom"
// copy, the four IEQ presets, a working profile endpoint per profile, and caches of the
// tunings and of the per-port device-to-tuning mappings; loading reads the database into
// these objects and returns them.
//
// Ownership: the provider owns its DatabaseHelper and every record it hands out; callers get
// raw pointers and never delete them. Pointers stay valid until the provider is destroyed,
// except the cached tunings and device tunings, which reloadCachedDeviceTunings() replaces.
// Threading: no lock of its own; callers serialise access (the runtime state's lock, the
// start-up mutex). The SQLite connection itself is full-mutex.
class Provider {
  public:
    static const char* const kDefaultName;       // "default": rows from the tuning file
    static const char* const kCustomName;        // "custom": the user's copies
    static const char* const kOemName;           // "oem": rows from the OEM extra file
    static const char* const kSignature;         // configuration key of the file signature
    static const char* const kFormatVersion;     // configuration key of the format version
    static const char* const kDigest;            // configuration key of the content digest
    static const char* const kSelectedProfile;   // configuration key of the selected profile
    static const char* const kPexState;          // configuration key of the effect state
    static const char* const kDatabaseFileName;  // "kiv_sqlite3.db"

    // Opens the settings database "kiv_sqlite3.db" in the database folder under the
    // filesystem root. No record exists until init().
    Provider();
    virtual ~Provider();
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

    virtual int getSelectedProfile();
    virtual int getNumOfProfiles();
    virtual bool isPexOn();
    // The tuning selected by a device of any port, loaded once and then served from the
    // cache; null when no cached port lists the device.
    virtual Tuning* loadTuningForDevice(const std::string& device);
    // The device tunings of a port (a copy of the cached set; the records stay the cache's).
    virtual std::set<DeviceTuning*> loadDeviceTuningsForPort(Port port);
    virtual void initDatabase();
    virtual void setPexOn(bool on);
    virtual void updateDeviceTuning(const std::string& key, const std::string& value);
    virtual Profile* loadDefaultProfile(int id);
    virtual void setSelectedProfile(int id);
    virtual std::set<ProfileEndpoint*> loadDefaultProfileEndpoints(int id);
    virtual std::set<ProfileEndpoint*> loadProfileEndpoints(int id);
    virtual Profile* loadProfile(int id);
    // Reads the custom row of (id, e) into the profile's one working record; the record's
    // own endpoint field is left as it is.
    virtual ProfileEndpoint* loadProfileEndpoint(int id, Endpoint e);
    virtual void save(Profile* profile);
    virtual void save(ProfileEndpoint* endpoint);
    virtual void save(GeqPreset* preset);
    virtual Profile* reset(Profile* profile);
    virtual ProfileEndpoint* reset(ProfileEndpoint* endpoint);
    virtual GeqPreset* reset(GeqPreset* preset);
    virtual void create(IeqPreset* preset);
    virtual void create(GeqPreset* preset);
    virtual void create(Profile* profile);
    virtual void create(ProfileEndpoint* endpoint);
    virtual void create(Tuning* tuning, const std::string& customName);
    virtual void create(DeviceTuning* deviceTuning, const std::string& customName);
    virtual void clearOemTunings();
    virtual void clearOemDeviceTunings();
    virtual void reloadCachedDeviceTunings();
    virtual void clear();
    // "BEGIN EXCLUSIVE" and COMMIT: 0, or the negative errno of the failure. Writers group
    // their writes with a Transaction on getDatabaseHelper() instead; these remain for
    // callers that only need the statements.
    virtual int beginTransaction();
    virtual int commitTransaction();
    virtual void setDefaultXmlSignature(const std::string& signature);
    virtual std::string getDefaultXmlSignature();
    virtual void setDefaultXmlFormatVersion(const std::string& version);
    virtual std::string getDefaultXmlFormatVersion();
    virtual void setDeviceTuning(const std::string& key, const std::string& value);
    virtual std::string getDeviceTuning(const std::string& key);
    virtual IeqPreset* loadIeqPreset(PresetType type);

    // Creates the record objects for every profile the database holds: 0, or -ENODEV when
    // it holds no profile. Values are read later, when the records are loaded.
    int init();
    GeqPreset* loadDefaultGeqPreset(int id);
    GeqPreset* loadGeqPreset(int id);
    // The tuning file's content digest, in its own configuration row after the format
    // version; empty when absent (a database built before digests were kept).
    void setDefaultXmlDigest(const std::string& digest);
    std::string getDefaultXmlDigest();

    // Fills the database afresh from a parsed tuning file: in one exclusive transaction the
    // tables are dropped and created again, every record of data is stored ("default" and
    // "custom" copies where the user can change them), and every supported port selects its
    // "default_<port>" device; after the commit the file's signature, the seeded selected
    // profile and effect state, and the format version follow. Returns 0; -ENODEV when the
    // database is not open, -EBUSY when the transaction cannot start, -EIO when the tables
    // cannot be created or the commit fails, in which case the database is left as it was.
    int populate(DeviceData& data);

    // While on, loading reads each table once instead of once per record (see
    // DatabaseHelper::setReadTablesOnce); the records come out the same.
    void setReadTablesOnce(bool on) { mDb->setReadTablesOnce(on); }
    // A save of the current state as one unit: beginSave() opens the transaction (0, or
    // the negative errno it could not start with: -ENODEV without a database, -EBUSY when
    // another connection holds the lock, ...); endSave() commits it when every write since
    // beginSave() succeeded and otherwise rolls it back, so that a save never leaves a row
    // deleted and not written again (0, or the negative errno of the failure: -ENOSPC for a
    // full disk, -EIO, ...). Rows the save would leave as they are, it does not write: a save
    // that changes nothing writes nothing. With quietFailures the statements of the save that
    // fail are not logged (the failure was reported already).
    int beginSave(bool quietFailures = false);
    int endSave();
    // False for a database that holds no table yet (see DatabaseHelper::hasTables).
    bool hasTables() { return mDb->hasTables(); }
    // True while a transaction is open, so that a bulk write can join it instead of
    // committing on its own.
    bool inTransaction() const { return mDb->inTransaction(); }

    // The helper underneath, for diagnostics and tests.
    DatabaseHelper& getDatabaseHelper() { return *mDb; }

  private:
    // Records of one profile id, created by init().
    struct ProfileRecords {
        std::unique_ptr<Profile> defaultProfile;
        std::unique_ptr<Profile> customProfile;
        std::unique_ptr<GeqPreset> defaultGeqPreset;
        std::unique_ptr<GeqPreset> customGeqPreset;
        std::vector<std::unique_ptr<ProfileEndpoint>> defaultEndpoints;
        std::vector<std::unique_ptr<ProfileEndpoint>> customEndpoints;
        std::set<ProfileEndpoint*> defaultEndpointSet;
        std::set<ProfileEndpoint*> customEndpointSet;
        std::unique_ptr<ProfileEndpoint> workingEndpoint;
    };

    // The records of profile id, or null (logged) for an id init() did not create.
    ProfileRecords* records(int id, const char* caller);
    void loadEndpoints(int id, const std::set<ProfileEndpoint*>& endpoints,
                       const std::string& customName);
    void clearDeviceTuningCache();

    std::unique_ptr<DatabaseHelper> mDb;
    std::unique_ptr<Transaction> mSave;
    int mNumOfProfiles = 0;
    std::vector<ProfileRecords> mProfiles;
    std::unique_ptr<IeqPreset> mIeqPresets[kPresetTypeCount];
    std::set<Tuning*> mTunings;
    std::map<Port, std::set<DeviceTuning*>> mDeviceTunings;
};

}  // namespace velora
