/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Parameter.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/RowReplacements.h"
#include "store/StatementCache.h"
#include "store/TableSnapshot.h"
#include "store/TableType.h"

namespace velora {

class SqliteStatement;

// The SQLite settings database: the tuning file's defaults ("default" rows), the user's own
// copies ("custom" rows) and the OEM extra tunings ("oem" rows), plus a key/value table for
// the effect state, the selected profile, the per-port tuning devices and the tuning file's
// signature and format version.
//
// A record is written by placing the values of its toString() text into an INSERT in the
// order of the table's columns, every value between single quotes as TEXT; it is read back
// with SELECT *, each column mapped to a Parameter through its name. A value that was read
// and not replaced since is written back as the exact text it was read from, so saving
// what was loaded never changes a row. Statements are plain
// text without bound parameters; a single quote inside a value is doubled so that names
// with apostrophes round-trip. A parameter the record does not hold is written as NULL in
// its column, and NULL columns are skipped on reading, so incomplete records are stored
// rather than refused.
//
// Ownership: owns the connection; records passed in stay the caller's, except the
// DeviceTuning objects returned by queryDeviceTunings, which the caller takes over.
// Threading: the connection is opened in full-mutex mode, so SQLite serialises access; the
// class keeps no lock of its own, and its only user (the Provider) is called serialised.
class DatabaseHelper {
  public:
    static const char* const kTableNames[kTableCount];

    // Opens (and creates when missing) dbName in the database folder under the filesystem
    // root. When opening fails the helper stays usable but every operation reports that the
    // database is not open.
    explicit DatabaseHelper(const std::string& dbName);
    ~DatabaseHelper();
    DatabaseHelper(const DatabaseHelper&) = delete;
    DatabaseHelper& operator=(const DatabaseHelper&) = delete;

    // How long a statement waits for a lock that another connection holds before it fails
    // with SQLITE_BUSY; applies to helpers constructed afterwards. Hosts and tests shorten it.
    static void setBusyTimeout(int milliseconds);
    static int getBusyTimeout();

    bool isOpen() const { return mDb != nullptr; }
    // Why the file was not opened when something other than a database file stands at its
    // path (a folder, a symbolic link to nothing); empty otherwise.
    const std::string& getPathProblem() const { return mPathProblem; }
    // True when the file existed before this helper opened it.
    bool existedBeforeOpen() const { return mExistedBeforeOpen; }
    // The host path of the database file.
    const std::string& getPath() const { return mPath; }
    // The connection, for diagnostics (statement tracing); null when not open.
    sqlite3* getConnection() const { return mDb; }

    // Creates the seven tables; 0 when every CREATE succeeded, 1 otherwise.
    int init();
    int createTable(TableType type);
    // " (" + the table's column declarations + ")".
    static std::string buildColumnString(TableType type);
    // The table's column names in order.
    static std::vector<std::string> getColumnNames(TableType type);
    // Drops every table.
    void clear();

    // Each returns execSQL's result: 0 success, 1 failure. Writers group their writes with a
    // Transaction, which calls these.
    int beginTransaction();
    int commitTransaction();
    int rollbackTransaction();
    // False only for a database known to hold no table at all: one created just now, or
    // whose first filling never committed. Whatever cannot be read counts as holding tables,
    // so that its failures are reported where it is read.
    bool hasTables();
    // True while a transaction is open on the connection.
    bool inTransaction() const { return mDb != nullptr && sqlite3_get_autocommit(mDb) == 0; }
    // The number of statements execSQL could not run since the database was opened; a
    // caller compares it before and after a series of writes to learn whether all of them
    // reached the database.
    unsigned getFailureCount() const { return mFailures; }
    // The cause of the last failed statement as a negative errno: -ENOSPC for a full disk,
    // -EBUSY for a lock another connection holds, the system's own error of a failed read,
    // write or sync (-EIO), ...; 0 before any failure.
    int getLastError() const { return mLastError; }
    // While on (a save of the whole state), row replacements are kept and made when it is
    // switched off, only for the tables whose rows they would change (see RowReplacements).
    void setKeepReplacements(bool on);
    // While on, statements that fail are counted but not logged: a save retried while its
    // cause lasts would otherwise repeat the same lines every time.
    void setQuietFailures(bool quiet) { mQuietFailures = quiet; }

    // Number of rows of table, -1 on any failure (missing table, no connection).
    int getRowCount(const std::string& table);
    // Prepares, steps once and finalizes sql: 0 when SQLite reports done, 1 otherwise.
    int execSQL(const std::string& sql);

    void insertValue(IeqPreset* preset, const std::string& customName);
    // For GEQ presets, profiles and profile endpoints a positive id is kept as the row's _id;
    // otherwise a new _id is chosen and stored into the record.
    void insertValue(GeqPreset* preset, const std::string& customName, long long id);
    void insertValue(Profile* profile, const std::string& customName, long long id);
    void insertValue(ProfileEndpoint* endpoint, const std::string& customName, long long id);
    void insertValue(Tuning* tuning, const std::string& customName);
    void insertValue(DeviceTuning* deviceTuning, const std::string& customName);
    void insertConfigurationValue(const std::string& key, const std::string& value);

    // The query* operations read every matching row into the record; values found replace
    // the record's, nothing else is cleared, and a query that finds no row leaves the record
    // as it was.
    void queryIeqValue(const std::string& presetType, const std::string& customName,
                       IeqPreset* preset);
    void queryGeqValue(const std::string& profileId, const std::string& customName,
                       GeqPreset* preset);
    void queryProfileNames(std::vector<std::string>& names, const std::string& customName);
    void queryProfileValue(const std::string& profileId, const std::string& customName,
                           Profile* profile);
    void queryEndpointValue(const std::string& profileId, const std::string& endpoint,
                            const std::string& customName, ProfileEndpoint* profileEndpoint);
    void queryTuning(const std::string& name, Tuning* tuning);
    // New records, owned by the caller.
    std::set<DeviceTuning*> queryDeviceTunings(const std::string& port);
    // True unless a stored value of key is "false" (the last "true"/"false" row wins).
    bool queryPexStatus(const std::string& key);
    std::string querySelectedProfile(const std::string& key);
    std::string queryConfigurationValue(const std::string& key);

    // Replace the customName row of the record (never a "default" row) by its current values,
    // keeping the row's _id.
    void updateGeqValue(GeqPreset* preset, const std::string& customName);
    void updateProfileValue(Profile* profile, const std::string& customName);
    void updateProfileEndpointValue(ProfileEndpoint* endpoint, const std::string& customName);
    // Configuration updates change an existing key only.
    void updatePexStatus(const std::string& key, bool on);
    void updateTuningDevice(const std::string& key, const std::string& value);
    void updateSelectedProfile(const std::string& key, const std::string& value);

    void clearOemTunings();
    void clearOemDeviceTunings();

    // While on, the first query of a table reads the whole table once, and every query of it
    // is answered from those rows: the rows its own statement would find, in the order it
    // would find them. Only a table whose layout is exactly the one init() creates, with no
    // index, is read so (any other keeps its statements, and their messages); any write
    // forgets what was read. Loading the whole state at start-up asks for this.
    void setReadTablesOnce(bool on) {
        mSnapshot->setEnabled(on);
        forgetStoredRows();
    }

    // Reads one parameter column's stored text into record: the value as the text reads
    // (a list with its trailing element) and the text itself, which a later save of the
    // record writes back unchanged while the value stays the one read.
    static void applyColumnText(ParameterValues& record, Parameter parameter,
                                std::string_view text);

  private:
    friend class Transaction;

    // Handles a column of the record's own (non-parameter) fields; true when it was one.
    using OwnColumnReader = std::function<bool(const std::string& column, const std::string& text,
                                               const std::vector<int>& values)>;
    using StoredCell = TableSnapshot::Cell;
    // What a column of a record row is to the record: skipped (its id, copy and keys), one
    // of its parameters, or one of its own fields.
    struct ColumnRole {
        std::string name;
        bool skipped = false;
        std::optional<Parameter> parameter;
    };
    using KeyValues = TableSnapshot::KeyValues;

    // Applies one stored column of a row to record: key and NULL columns are skipped, own
    // columns go to ownColumn, every other column is set as the parameter of its name.
    // Every read of a record row comes through here.
    void applyColumn(ParameterValues* record, const ColumnRole& role, const StoredCell& cell,
                     const OwnColumnReader& ownColumn);
    ColumnRole roleOf(const std::string& column, const std::set<std::string>& keyColumns) const;
    void forgetStoredRows();
    // Runs the record query as a statement prepared once per table with the keys bound;
    // false when it cannot (the statement text then runs).
    bool readBound(TableType table, const KeyValues& keys, const std::set<std::string>& keyColumns,
                   ParameterValues* record, const OwnColumnReader& ownColumn);
    static StoredCell read_cell(const SqliteStatement& statement, int i);

    // Runs a SELECT * and reads every row into record: key and NULL columns are skipped,
    // own columns go to ownColumn, every other column is set as the parameter of its name.
    // The statement is SELECT * FROM the table WHERE each key column='its text', joined by AND.
    void readRecord(TableType table, const KeyValues& keys, const std::set<std::string>& keyColumns,
                    ParameterValues* record, const OwnColumnReader& ownColumn,
                    bool reportPrepareResult);
    // The values of a record's row after _id, in column order: its storage text, except that
    // a parameter still holding the value it was read with is written as the text it was
    // read from, and a value the record lacks is NULL.
    std::vector<std::optional<std::string>> rowValues(TableType table,
                                                      const ParameterValues* record,
                                                      const std::string& recordText,
                                                      const std::string& customName);
    void insertRecord(TableType table, const ParameterValues* record, const std::string& recordText,
                      const std::string& customName, long long id);
    // Replaces the row that keys find by the record's values (DELETE, then INSERT with id);
    // during a save the replacement is kept until the save ends.
    void replaceRow(TableType table, ParameterValues* record, const std::string& recordText,
                    const std::string& customName, long long id, KeyValues keys,
                    std::string deleteSql);
    void makeReplacements(TableType table);
    long long newRowId(TableType table);
    // The INSERT of a row: _id, then the text (or NULL) of every other column in order.
    void insertRow(TableType table, long long id,
                   const std::vector<std::optional<std::string>>& values);
    static std::string insertText(TableType table, long long id,
                                  const std::vector<std::optional<std::string>>& values);
    // Calls visit with the value of every row of key, in row order; false when the rows
    // could not all be read.
    bool forEachConfigurationValue(const std::string& key,
                                   const std::function<void(const std::string&)>& visit);
    void updateConfiguration(const std::string& key, const std::string& value);
    // Opens the file at mPath unless something else stands there.
    void open();

    // Notes a failed statement (its SQLite result, or 0 for one that never ran) and tells
    // whether to log it: inside a transaction only the first failure is logged.
    bool noteFailure(int rc);
    // True while statements are not run: a statement of the open transaction failed.
    bool transactionFailed();
    // Transaction guards open and close their scope here.
    void enterTransaction() { ++mTransactionDepth; }
    void leaveTransaction();

    std::string mDbName;
    std::string mDirectory;
    std::string mPath;
    std::string mPathProblem;
    bool mExistedBeforeOpen = false;
    sqlite3* mDb = nullptr;
    std::map<std::string, Parameter> mColumnNameMap;
    std::unique_ptr<TableSnapshot> mSnapshot;
    // What each column of the snapshot's rows is to a record, per table and key columns.
    std::map<std::pair<TableType, std::set<std::string>>, std::vector<ColumnRole>> mSnapshotRoles;
    // Bound record reads, valid while the tables are as created; forgotten with the snapshot.
    std::unique_ptr<StatementCache> mReadStatements;
    std::map<TableType, std::vector<ColumnRole>> mBoundRoles;
    // Bound inserts, kept while only the inserts made here change the database.
    std::unique_ptr<StatementCache> mWriteStatements;
    std::map<TableType, int> mRowCounts;
    bool mKeepReplacements = false;
    RowReplacements mReplacements;
    unsigned mFailures = 0;
    int mLastError = 0;
    bool mQuietFailures = false;
    int mTransactionDepth = 0;
    bool mTransactionFailed = false;
};

}  // namespace velora
