/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

// The annotations first: utils/Mutex.h (through Singleton.h) then turns them into no-ops for
// compilers without the thread-safety analysis.
#include <android-base/thread_annotations.h>
#include <utils/Mutex.h>
#include <utils/Singleton.h>

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "store/DatabaseCheck.h"
#include "tuning/ReadLog.h"

namespace velora {

class DeviceData;
class KsContext;
class KsContextChangeObservable;
class Provider;
class TuningFileParser;

// Brings the settings system up: chooses the tuning file (the shipped default or its
// ROMUPDATE copy), rebuilds the settings database when the file's time or content changed
// (carrying the user's settings over), merges the OEM extra tunings, and creates the current
// state (KsContext) with its observer fan-out.
// It is also the entry for reloading the OEM tunings and for the stored format version.
//
// Ownership: owns the Provider, the parser of the last default-file parse (until start-up
// ends), the observable and the context; release() deletes them in that order.
//
// Threading: one process-wide instance, created on the first getInstance() under the
// singleton's static lock; that first call runs the whole start-up on the calling thread.
// One non-recursive mutex serialises start-up, getKsContext, loadOemTuning,
// getDefaultXmlFormatVersion and release. Tests construct independent instances directly
// over a temporary filesystem root.
class KsContextManager : public android::Singleton<KsContextManager> {
  public:
    // Runs init(): the whole start-up.
    KsContextManager();
    ~KsContextManager();

    // Start-up. Does nothing (but log) when the manager already holds a Provider.
    void init();
    // Starts up again when the last start-up failed for a passing reason (the database was
    // locked by another process or could not be opened); true when that brought the current
    // state up. A failure that would only repeat (no tuning file, no profile) is not retried.
    bool retryStart();
    // Why the last start-up left no current state, in words for a user; empty while running
    // or before any start-up.
    std::string getStartFailure();
    // The current state; null when start-up found no tuning file or no profile.
    KsContext* getKsContext();
    // Merges the OEM extra file into the database again and lets the current state pick up
    // the new tunings. 0; -ENOENT without an OEM file; -EINVAL when it cannot be parsed, when
    // its format version differs from the stored one, or when the default file cannot be
    // read for the duplicate checks; -ENODEV when start-up did not get a database.
    int loadOemTuning();
    // The format version stored by the last rebuild; empty without a database.
    std::string getDefaultXmlFormatVersion();
    // Deletes provider, parser, observable and context. Returns 0.
    int release();

  private:
    // The default file, or its ROMUPDATE copy when that is at least as new.
    static std::string chooseTuningFile();
    void start_l() REQUIRES(mLock);
    // Examines the database the new Provider opened and rebuilds it when it is damaged;
    // false when start-up cannot go on with it. pageCheck adds SQLite's check of every page.
    bool checkDatabase_l(const std::string& tuningPath, bool pageCheck) REQUIRES(mLock);
    // Keeps what can be read of the damaged database, moves it aside, and builds a new one
    // from the tuning file with what was kept.
    bool rebuildDamaged_l(const std::string& tuningPath, const DatabaseCheck::Result& check)
        REQUIRES(mLock);
    int initDatabase(Provider* provider, const std::string& path) REQUIRES(mLock);
    // Parses the file when its time or its content's digest differs from the stored ones.
    DeviceData* loadXmlIfChanged(const std::string& path, Provider* provider,
                                 const std::string& digest) REQUIRES(mLock);
    std::string getChangedSignature(const std::string& path, Provider* provider,
                                    const std::string& digest);
    // The file's modification time in decimal seconds; empty when it cannot be opened.
    static std::string getSignature(const std::string& path);
    // Fills the database from the parsed file in one exclusive transaction; the digest row
    // follows the format version.
    void populateDatabase(DeviceData* data, Provider* provider, const std::string& digest);
    int loadOemTuningLocked() REQUIRES(mLock);
    void release_l() REQUIRES(mLock);

    std::unique_ptr<Provider> mProvider GUARDED_BY(mLock);
    std::unique_ptr<TuningFileParser> mParser GUARDED_BY(mLock);
    std::unique_ptr<KsContextChangeObservable> mObservable GUARDED_BY(mLock);
    std::unique_ptr<KsContext> mContext GUARDED_BY(mLock);
    // The tuning and device names of the shipped default file, taken from the parse a
    // rebuild just made of it, for the OEM merge that follows; unset otherwise.
    struct DefaultNames {
        std::set<std::string> tunings;
        std::set<std::string> devices;
        ReadLog log;  // what reading the file logged, said again where the merge reads it
    };
    std::optional<DefaultNames> mDefaultNames GUARDED_BY(mLock);
    // Whether the last start-up failed for a passing reason; under mLock.
    bool mStartRetryable = false;
    std::string mStartFailure GUARDED_BY(mLock);
    android::Mutex mLock;
};

}  // namespace velora
