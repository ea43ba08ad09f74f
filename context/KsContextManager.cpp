/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KsContextManager"

#include "context/KsContextManager.h"

#include <fcntl.h>
#include <log/log.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextChangeObservable.h"
#include "context/OemMergeRules.h"
#include "context/TuningFileDigest.h"
#include "model/Port.h"
#include "store/DamagedDatabaseFiles.h"
#include "store/DatabaseCheck.h"
#include "store/Provider.h"
#include "store/SettingsCarryOver.h"
#include "store/Transaction.h"
#include "tuning/DeviceData.h"
#include "tuning/TuningFileParser.h"

ANDROID_SINGLETON_STATIC_INSTANCE(velora::KsContextManager);

namespace velora {

using android::Mutex;

namespace {

// SQLite's page check reads and checks every page, which costs about half of what reading
// every row does (docs/reliability.md): too much for every start. It runs when a journal
// beside the database says that the last write was cut off, the moment pages are most
// likely to have been left damaged.
bool page_check_wanted(const std::string& dbPath) {
    struct stat info;
    return lstat((dbPath + "-journal").c_str(), &info) == 0 ||
           lstat((dbPath + "-wal").c_str(), &info) == 0;
}

// How many records of a table's kind the parsed tuning file defines.
size_t records_of(TableType table, DeviceData& data) {
    switch (table) {
        case TABLE_IEQ_PRESETS:
            return data.getIeqPresets().size();
        case TABLE_GEQ_PRESETS:
            return data.getGeqPresets().size();
        case TABLE_PROFILES:
            return data.getProfiles().size();
        case TABLE_PROFILE_ENDPOINTS:
            return data.getProfileEndpoints().size();
        case TABLE_TUNINGS:
            return data.getTunings().size();
        case TABLE_DEVICE_TUNINGS:
            return data.getDeviceTunings().size();
        case TABLE_CONFIGURATION:
            break;
    }
    return 0;
}

// The info line that sums up what a rebuild kept of the user's settings; every item that was
// dropped has had its own warning.
void log_carried(const char* from, const SettingsCarryOver::Outcome& outcome) {
    ALOGI(
        "kept from the %s: %d custom rows with %d changed values and %d settings (%d rows, %d "
        "values and %d settings dropped)",
        from, outcome.rowsCarried, outcome.valuesCarried, outcome.settingsCarried,
        outcome.rowsDropped, outcome.valuesDropped, outcome.settingsDropped);
}

bool is_lock_error(sqlite3* db) {
    int code = db == nullptr ? SQLITE_OK : sqlite3_errcode(db) & 0xff;
    return code == SQLITE_BUSY || code == SQLITE_LOCKED;
}

}  // namespace

KsContextManager::KsContextManager() { init(); }

KsContextManager::~KsContextManager() {
    Mutex::Autolock lock(mLock);
    release_l();
}

std::string KsContextManager::chooseTuningFile() {
    std::string defaultPath = SystemPaths::resolve(SystemPaths::kDefaultTuningFile);
    std::string romUpdatePath = SystemPaths::resolve(SystemPaths::kRomUpdateTuningFile);
    if (access(romUpdatePath.c_str(), F_OK) != 0) {
        ALOGD("ROMUPDATE XML Tuning file doesn't exist, use default XML");
        return defaultPath;
    }
    struct stat defaultStat;
    struct stat romUpdateStat;
    if (lstat(defaultPath.c_str(), &defaultStat) != 0 ||
        lstat(romUpdatePath.c_str(), &romUpdateStat) != 0) {
        return defaultPath;
    }
    long defaultTime = static_cast<long>(defaultStat.st_mtime);
    long romUpdateTime = static_cast<long>(romUpdateStat.st_mtime);
    ALOGD("default XML time:%ld, romupdate XML:%ld", defaultTime, romUpdateTime);
    // The copy is an update delivered after the device was built; only a default file that
    // is strictly newer (a system update that replaced it) wins over it. Times below 1 say
    // nothing about age, so the copy is used.
    if (defaultTime >= 1 && romUpdateTime >= 1 && defaultTime > romUpdateTime) {
        ALOGD("ROMUPDATE XML Tuning file exist, but is old, use default XML");
        return defaultPath;
    }
    ALOGD("use ROMUPDATE XML");
    return romUpdatePath;
}

void KsContextManager::init() {
    Mutex::Autolock lock(mLock);
    if (mProvider != nullptr) {
        ALOGW("%s(): already started", "init");
        return;
    }
    start_l();
}

bool KsContextManager::retryStart() {
    Mutex::Autolock lock(mLock);
    if (mContext != nullptr || !mStartRetryable) return false;
    ALOGI("%s(): the last start-up met a passing fault, starting again", "retryStart");
    release_l();
    start_l();
    return mContext != nullptr;
}

std::string KsContextManager::getStartFailure() {
    Mutex::Autolock lock(mLock);
    return mStartFailure;
}

void KsContextManager::start_l() {
    mStartRetryable = false;
    mStartFailure.clear();
    std::string path = chooseTuningFile();
    struct stat fileStat;
    if (stat(path.c_str(), &fileStat) != 0) {
        ALOGE("XML Tuning file doesn't exist!!");
        mStartFailure = "the tuning file " + path + " does not exist";
        return;
    }
    const bool pageCheck = page_check_wanted(SystemPaths::resolve(SystemPaths::kDatabaseDir) +
                                             Provider::kDatabaseFileName);
    mProvider = std::make_unique<Provider>();
    if (!checkDatabase_l(path, pageCheck)) {
        mProvider.reset();
        mParser.reset();
        return;
    }
    // Loading asks for every record of every profile, each of which its own statement would
    // find by scanning its whole table; reading each table once gives the same rows.
    mProvider->setReadTablesOnce(true);
    const unsigned failuresBefore = mProvider->getDatabaseHelper().getFailureCount();
    const int built = initDatabase(mProvider.get(), path);
    // A rebuild that could not be written (a full disk, a failed write or sync) leaves the
    // database as it was; that passes, unlike a tuning file without profiles.
    const int writeError = built != 0 ? built
                           : mProvider->getDatabaseHelper().getFailureCount() != failuresBefore
                               ? mProvider->getDatabaseHelper().getLastError()
                               : 0;
    if (mProvider->init() == 0) {
        mObservable = std::make_unique<KsContextChangeObservable>();
        mContext = std::make_unique<KsContext>(mProvider.get(), mObservable.get());
        mContext->load();
    } else if (is_lock_error(mProvider->getDatabaseHelper().getConnection())) {
        ALOGE(
            "settings database %s is locked by another process; start-up is tried again with "
            "the next client",
            mProvider->getDatabaseHelper().getPath().c_str());
        mStartFailure = "the settings database " + mProvider->getDatabaseHelper().getPath() +
                        " is locked by another process; the next client tries again";
        mStartRetryable = true;
    } else if (writeError != 0) {
        ALOGE(
            "settings database %s cannot be written: %s; start-up is tried again with the next "
            "client",
            mProvider->getDatabaseHelper().getPath().c_str(), strerror(-writeError));
        mStartFailure = "the settings database " + mProvider->getDatabaseHelper().getPath() +
                        " cannot be written: " + strerror(-writeError) +
                        "; the next client tries again";
        mStartRetryable = true;
    } else {
        mStartFailure = "the settings database " + mProvider->getDatabaseHelper().getPath() +
                        " holds no profile; is " + path + " a complete tuning file?";
    }
    if (mStartRetryable) {
        mProvider.reset();
    } else {
        mProvider->setReadTablesOnce(false);
    }
    // The database holds everything the parse gave now; the records can go.
    mParser.reset();
}

bool KsContextManager::checkDatabase_l(const std::string& tuningPath, bool pageCheck) {
    DatabaseHelper& db = mProvider->getDatabaseHelper();
    DatabaseCheck::Result check = DatabaseCheck::examine(db, pageCheck);
    switch (check.verdict) {
        case DatabaseCheck::kSound:
            return true;
        case DatabaseCheck::kUnbuilt:
            // A first start opens a file that did not exist; one that existed and holds
            // nothing was left by a start that failed before it wrote anything.
            if (db.existedBeforeOpen()) {
                ALOGW("settings database %s holds no settings, it is built from the tuning file",
                      db.getPath().c_str());
            }
            return true;
        case DatabaseCheck::kUnavailable:
            ALOGE(
                "settings database %s cannot be used: %s; start-up is tried again with the "
                "next client",
                db.getPath().c_str(), check.reason.c_str());
            mStartRetryable = true;
            return false;
        case DatabaseCheck::kDamaged:
            break;
    }
    return rebuildDamaged_l(tuningPath, check);
}

bool KsContextManager::rebuildDamaged_l(const std::string& tuningPath,
                                        const DatabaseCheck::Result& check) {
    const std::string dbPath = mProvider->getDatabaseHelper().getPath();
    auto parser = std::make_unique<TuningFileParser>();
    if (parser->setTuningFile(tuningPath) != 0 || parser->getDeviceData() == nullptr) {
        // Moving the file aside would leave nothing at all to run on.
        ALOGE(
            "settings database %s is damaged (%s), and the tuning file %s cannot be read to "
            "rebuild it; the database is left as it is",
            dbPath.c_str(), check.reason.c_str(), tuningPath.c_str());
        return false;
    }
    DeviceData* data = parser->getDeviceData();
    if (!check.emptyTables.empty()) {
        bool lost = false;
        for (TableType table : check.emptyTables) lost = lost || records_of(table, *data) > 0;
        // Rows the tuning file does not define were never there; a rebuild would bring
        // nothing back.
        if (!lost) return true;
    }

    SettingsCarryOver carried;
    carried.readFrom(mProvider->getDatabaseHelper());
    mProvider.reset();
    std::string aside;
    std::string error;
    if (!DamagedDatabaseFiles::moveAside(dbPath, &aside, &error)) {
        ALOGE("settings database %s is damaged (%s) and cannot be moved aside: %s", dbPath.c_str(),
              check.reason.c_str(), error.c_str());
        mStartFailure = "the settings database " + dbPath + " is damaged (" + check.reason +
                        ") and cannot be moved aside: " + error;
        return false;
    }
    ALOGE("settings database %s is damaged (%s); moved aside as %s and rebuilt from %s",
          dbPath.c_str(), check.reason.c_str(), aside.c_str(), tuningPath.c_str());

    mProvider = std::make_unique<Provider>();
    if (!mProvider->getDatabaseHelper().isOpen()) {
        ALOGE("settings database %s cannot be created", dbPath.c_str());
        mStartFailure = "the settings database " + dbPath + " cannot be created";
        return false;
    }
    data->setSignature(getSignature(tuningPath));
    const std::string digest = TuningFileDigest::of(tuningPath);
    data->validateData();
    // As at a first start, one transaction; what was kept goes in after the OEM merge, so
    // that a device the user chose from the OEM file is found.
    Transaction transaction(mProvider->getDatabaseHelper());
    populateDatabase(data, mProvider.get(), digest);
    loadOemTuningLocked();
    SettingsCarryOver::Outcome outcome = carried.applyTo(mProvider->getDatabaseHelper());
    if (transaction.commit() != 0) {
        mStartFailure = "the settings database " + dbPath +
                        " cannot be rebuilt: " + strerror(-transaction.status());
        mStartRetryable = true;
        return false;
    }
    ALOGI("Load OEM tuning XML after default tuning XML is reloaded");
    if (!carried.empty()) log_carried("damaged database", outcome);
    mParser = std::move(parser);
    return true;
}

int KsContextManager::initDatabase(Provider* provider, const std::string& path) {
    const std::string digest = TuningFileDigest::of(path);
    DeviceData* data = loadXmlIfChanged(path, provider, digest);
    if (data == nullptr) return 0;
    // The merge checks against the shipped default file; when that is the file just parsed,
    // its names are taken now, as a parse of it gives them, before validation touches them.
    if (path == SystemPaths::resolve(SystemPaths::kDefaultTuningFile)) {
        DefaultNames names;
        for (Tuning* tuning : data->getTunings()) names.tunings.insert(tuning->getName());
        for (DeviceTuning* deviceTuning : data->getDeviceTunings()) {
            names.devices.insert(deviceTuning->getDevice());
        }
        names.log = mParser->getReadLog();
        mDefaultNames = std::move(names);
    }
    data->validateData();
    // A system update writes the tuning file anew even when its content stays; what the user
    // chose goes into the rebuilt database wherever it still has a place.
    SettingsCarryOver carried;
    if (provider->hasTables()) carried.readFrom(provider->getDatabaseHelper());
    // The rebuild, the OEM merge, the carried settings and the signature become durable
    // together: committed apart, a stop between them would leave a matching signature over a
    // database without the OEM rows or the user's settings, and no later start would bring
    // them back.
    Transaction transaction(provider->getDatabaseHelper());
    populateDatabase(data, provider, digest);
    // The OEM file is merged against the defaults it extends, so it has to follow every
    // rebuild; a failed merge leaves the rebuilt defaults in place. The carried settings come
    // after it, so that a device the user chose from the OEM file is found.
    loadOemTuningLocked();
    mDefaultNames.reset();
    SettingsCarryOver::Outcome outcome = carried.applyTo(provider->getDatabaseHelper());
    if (transaction.commit() != 0) return transaction.status();
    if (!carried.empty()) log_carried("database of the earlier tuning file", outcome);
    ALOGI("Load OEM tuning XML after default tuning XML is reloaded");
    return 0;
}

DeviceData* KsContextManager::loadXmlIfChanged(const std::string& path, Provider* provider,
                                               const std::string& digest) {
    std::string signature = getChangedSignature(path, provider, digest);
    if (signature.empty()) return nullptr;
    ALOGD("Tuning XML file has been updated");
    mParser = std::make_unique<TuningFileParser>();
    if (mParser->setTuningFile(path) != 0) {
        ALOGE("XML parses error!!");
        return nullptr;
    }
    DeviceData* data = mParser->getDeviceData();
    if (data == nullptr) {
        ALOGE("XML parses error!!");
        return nullptr;
    }
    data->setSignature(signature);
    return data;
}

std::string KsContextManager::getChangedSignature(const std::string& path, Provider* provider,
                                                  const std::string& digest) {
    std::string signature = getSignature(path);
    // A database without tables (the first start, or one whose first filling never
    // committed) has no signature yet; asking it would report a missing table as a fault.
    std::string stored = provider->hasTables() ? provider->getDefaultXmlSignature() : "";
    if (signature != stored) return signature;
    // The same time says little: a file replaced within the same second, copied with its
    // time, or from an image built with fixed times keeps it. The content decides.
    if (digest.empty()) return std::string();
    std::string storedDigest = provider->getDefaultXmlDigest();
    if (storedDigest == digest) return std::string();
    if (storedDigest.empty()) {
        // A database built before digests were kept, whose time matches: it is taken as built
        // from this file, and the digest is added to it for the next start.
        provider->setDefaultXmlDigest(digest);
        return std::string();
    }
    ALOGI("%s(): the tuning file changed under the same time %s (digest %s, stored %s)",
          "getChangedSignature", signature.c_str(), digest.c_str(), storedDigest.c_str());
    return signature;
}

std::string KsContextManager::getSignature(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return std::string();
    struct stat fileStat;
    if (fstat(fd, &fileStat) != 0) {
        close(fd);
        return std::string();
    }
    // The modification time; the content's digest is the other half of the change test.
    std::string signature = std::to_string(fileStat.st_mtime);
    ALOGD("%s(): XML file time string %s", "getSignature", signature.c_str());
    close(fd);
    return signature;
}

void KsContextManager::populateDatabase(DeviceData* data, Provider* provider,
                                        const std::string& digest) {
    // One exclusive transaction: a reader never sees a half-built database, and a crash in
    // the middle leaves the old one (with the old signature, so the next start rebuilds).
    // Within a transaction the caller opened, the rebuild becomes part of it.
    Transaction transaction(provider->getDatabaseHelper());
    provider->clear();
    provider->initDatabase();
    for (IeqPreset* preset : data->getIeqPresets()) provider->create(preset);
    for (GeqPreset* preset : data->getGeqPresets()) provider->create(preset);
    for (Profile* profile : data->getProfiles()) provider->create(profile);
    for (ProfileEndpoint* endpoint : data->getProfileEndpoints()) provider->create(endpoint);
    for (Tuning* tuning : data->getTunings()) provider->create(tuning, Provider::kDefaultName);
    for (DeviceTuning* deviceTuning : data->getDeviceTunings()) {
        provider->create(deviceTuning, Provider::kDefaultName);
    }
    for (Port port : KsContext::kSupportedPorts) {
        std::string portName = kPortNames[port];
        provider->setDeviceTuning(portName, "default_" + portName);
    }
    provider->setDefaultXmlSignature(data->getSignature());
    provider->setDefaultXmlFormatVersion(data->getFormatVersion());
    if (!digest.empty()) provider->setDefaultXmlDigest(digest);
    const int committed = transaction.commit();
    if (committed != 0) {
        ALOGE("settings database not rebuilt: %s; the database is kept as it was",
              strerror(-committed));
    }
}

int KsContextManager::loadOemTuningLocked() {
    std::string oemPath = SystemPaths::resolve(SystemPaths::kOemTuningFile);
    struct stat fileStat;
    if (stat(oemPath.c_str(), &fileStat) != 0) {
        ALOGE("OEM Tuning XML doesn't exist!");
        return -ENOENT;
    }
    ALOGD("Try to load OEM tuning XML file from %s", oemPath.c_str());
    TuningFileParser oemParser;
    if (oemParser.setTuningFile(oemPath) != 0 || oemParser.getDeviceData() == nullptr) {
        ALOGE("OEM Tuning XML parses error!");
        return -EINVAL;
    }
    DeviceData* oemData = oemParser.getDeviceData();
    ALOGD("OEM tuning XML file completed deviceData = %p", oemData);

    // OEM rows are written in the layout of the stored defaults; another format version
    // could carry parameters that mean something else.
    std::string oemVersion = oemData->getFormatVersion();
    std::string currentVersion = mProvider->getDefaultXmlFormatVersion();
    if (oemVersion != currentVersion) {
        ALOGE(
            "OEM tuning format V=%s is not consistent with current V=%s, abort loading OEM "
            "tuning XML.",
            oemVersion.c_str(), currentVersion.c_str());
        return -EINVAL;
    }

    // The duplicate checks always read the shipped default file, also when start-up chose
    // the ROMUPDATE copy: the OEM file is written against what ships on the partition. A
    // rebuild from that very file has its names already, and says again what reading it said.
    DefaultNames parsedNames;
    if (mDefaultNames) {
        mDefaultNames->log.writeAgain();
    } else {
        TuningFileParser defaultParser;
        std::string defaultPath = SystemPaths::resolve(SystemPaths::kDefaultTuningFile);
        if (defaultParser.setTuningFile(defaultPath) != 0 ||
            defaultParser.getDeviceData() == nullptr) {
            // Without the default names nothing can be checked; merging blind could let an OEM
            // row shadow a shipped one, so the merge is abandoned before anything is touched.
            ALOGE("%s(): cannot read default tuning XML %s, abort loading OEM tuning XML.",
                  "loadOemTuningLocked", defaultPath.c_str());
            return -EINVAL;
        }
        DeviceData* defaultData = defaultParser.getDeviceData();
        for (Tuning* tuning : defaultData->getTunings()) {
            parsedNames.tunings.insert(tuning->getName());
        }
        for (DeviceTuning* deviceTuning : defaultData->getDeviceTunings()) {
            parsedNames.devices.insert(deviceTuning->getDevice());
        }
    }
    const DefaultNames& names = mDefaultNames ? *mDefaultNames : parsedNames;
    OemMergeRules rules(names.tunings, names.devices);

    // A replacement, not an accumulation: rows of an earlier OEM file go first. Within the
    // transaction of a rebuild, the merge becomes part of it.
    Transaction transaction(mProvider->getDatabaseHelper());
    if (transaction.status() != 0) {
        ALOGE("OEM tuning XML not merged: %s", strerror(-transaction.status()));
        return transaction.status();
    }
    mProvider->clearOemTunings();
    ALOGD("Num of parsed OEM tuning = %zu", oemData->getTunings().size());
    for (Tuning* tuning : oemData->getTunings()) {
        const std::string& name = tuning->getName();
        if (rules.judge(*tuning) != OemMergeRules::kKeep) {
            ALOGE("Found OEM tuning [%s] already exists in the default tuning XML, drop it.",
                  name.c_str());
        } else {
            ALOGI("Add OEM Tuning %s", name.c_str());
            mProvider->create(tuning, Provider::kOemName);
        }
    }
    mProvider->clearOemDeviceTunings();
    ALOGD("Num of parsed OEM device tuning = %zu", oemData->getDeviceTunings().size());
    for (DeviceTuning* deviceTuning : oemData->getDeviceTunings()) {
        std::string tuningName = deviceTuning->getTuning();
        std::string device = deviceTuning->getDevice();
        const OemMergeRules::Verdict verdict = rules.judge(*deviceTuning);
        if (verdict == OemMergeRules::kDroppedWithTuning) {
            ALOGE("Drop OEM Device Tuning with tuning.name [%s] (duplicate in default xml)",
                  tuningName.c_str());
        } else if (verdict == OemMergeRules::kDeviceInDefaults) {
            ALOGE("Found OEM device ID [%s] already exists in the default tuning XML, drop it.",
                  device.c_str());
        } else {
            ALOGI("Add OEM Device Tuning Port[%s] : Device[%s] with tuning.name [%s]",
                  deviceTuning->getPort().c_str(), device.c_str(), tuningName.c_str());
            mProvider->create(deviceTuning, Provider::kOemName);
        }
    }
    const int committed = transaction.commit();
    if (committed != 0) {
        ALOGE("OEM tuning XML not merged: %s", strerror(-committed));
        return committed;
    }
    ALOGI("Tell database to reload cached device tuning mappings.");
    mProvider->reloadCachedDeviceTunings();
    return 0;
}

KsContext* KsContextManager::getKsContext() {
    Mutex::Autolock lock(mLock);
    return mContext.get();
}

int KsContextManager::loadOemTuning() {
    Mutex::Autolock lock(mLock);
    if (mProvider == nullptr) {
        ALOGE("%s(): no settings database, start-up failed", "loadOemTuning");
        return -ENODEV;
    }
    if (mContext == nullptr) return loadOemTuningLocked();
    // The merge rebuilds the provider's tuning caches, which the context's readers use; it
    // runs under the context's lock, and the context re-selects its tunings before anyone
    // can see the old records again.
    return mContext->refreshTunings(
        [this]() NO_THREAD_SAFETY_ANALYSIS { return loadOemTuningLocked(); });
}

std::string KsContextManager::getDefaultXmlFormatVersion() {
    Mutex::Autolock lock(mLock);
    if (mProvider == nullptr) return std::string();
    return mProvider->getDefaultXmlFormatVersion();
}

void KsContextManager::release_l() {
    mProvider.reset();
    mParser.reset();
    mObservable.reset();
    mContext.reset();
}

int KsContextManager::release() {
    Mutex::Autolock lock(mLock);
    release_l();
    return 0;
}

}  // namespace velora
