/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "DatabaseHelper"

#include "store/DatabaseHelper.h"

#include <log/log.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "common/SystemPaths.h"
#include "model/Endpoint.h"
#include "model/PresetType.h"
#include "store/SqliteStatement.h"
#include "store/TextHelpers.h"

namespace velora {

namespace {

constexpr const char* kDefaultCustomName = "default";

// Long enough for another process's short write (a backup, an inspection) to finish, short
// enough that a client's call does not seem to hang while a lock is held for good.
std::atomic<int> gBusyTimeoutMs{1000};

// What stands at the database path when it is neither absent nor a regular file (directly or
// through a symbolic link); empty when SQLite may open or create it. A link to nothing would
// make SQLite create the database wherever the link points.
std::string path_problem(const std::string& path, bool* exists) {
    struct stat info;
    *exists = false;
    if (lstat(path.c_str(), &info) != 0) return std::string();
    *exists = true;
    if (S_ISLNK(info.st_mode)) {
        struct stat target;
        if (stat(path.c_str(), &target) != 0) {
            return std::string("a symbolic link to nothing (") + std::strerror(errno) + ")";
        }
        info = target;
    }
    if (S_ISDIR(info.st_mode)) return "a folder";
    if (!S_ISREG(info.st_mode)) return "not a regular file";
    return std::string();
}

// The cause of a failed statement as a negative errno. SQLite names a full disk and a lock
// itself; for a failed read, write, sync or open the system's own error says more than
// SQLite's class of it.
int errno_of(sqlite3* db, int rc) {
    const int system = db == nullptr ? 0 : sqlite3_system_errno(db);
    switch (rc & 0xff) {
        case SQLITE_FULL:
            return -ENOSPC;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return -EBUSY;
        case SQLITE_READONLY:
            return -EROFS;
        case SQLITE_NOMEM:
            return -ENOMEM;
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return -EACCES;
        case SQLITE_IOERR:
        case SQLITE_CANTOPEN:
            return system > 0 ? -system : -EIO;
        default:
            return -EIO;
    }
}

// The layout of one table: the record's own fields (column name and the key of the line of
// the record's storage text that fills it), then one column per parameter of the record's
// valid set. The set is ordered by parameter value, which is the alphabetical order of the
// column names, so the columns come out exactly in the order the storage text lists the
// values. The configuration and device-tuning tables hold no parameters.
struct TableLayout {
    std::vector<std::pair<const char*, const char*>> ownColumns;
    const std::set<Parameter>* parameters;
};

// An IEQ preset's ieq_id is its own type, which the storage text leaves out and the
// preset_type column holds; it has no column of its own.
bool has_column(Parameter parameter) { return parameter != ieq_id; }

const TableLayout& layout_of(TableType type) {
    static const TableLayout kLayouts[kTableCount] = {
        // configuration
        {{}, nullptr},
        // ieq_presets
        {{{"preset_type", "type"}}, &IeqPreset::kValidParams},
        // geq_presets
        {{{"profile_id", "profileId"}}, &GeqPreset::kValidParams},
        // profiles
        {{{"profile_id", "profileId"},
          {"name", "name"},
          {"selected_ieq_preset_type", "selectedIeqPreset"},
          {"selected_geq_preset_id", "selectedGeqPreset"}},
         &Profile::kValidParams},
        // profile_endpoints
        {{{"profile_id", "profileId"}, {"endpoint", "endpoint"}}, &ProfileEndpoint::kValidParams},
        // tunings
        {{{"name", "name"},
          {"endpoint", "endpoint"},
          {"is_mono", "mono"},
          {"is_readonly", "readonly"}},
         &Tuning::kValidParams},
        // device_tunings
        {{{"device", "device"}, {"port", "port"}, {"tuning_id", "tuning"}}, nullptr},
    };
    return kLayouts[type];
}

// The text of column i of the current row, valid until the statement steps; *present is
// false when SQLite has no text for it (NULL).
std::string_view column_view(const SqliteStatement& statement, int i, bool* present) {
    const unsigned char* text = sqlite3_column_text(statement.get(), i);
    *present = text != nullptr;
    if (text == nullptr) return {};
    return std::string_view(reinterpret_cast<const char*>(text),
                            static_cast<size_t>(sqlite3_column_bytes(statement.get(), i)));
}

}  // namespace

// One column of the current row of statement, as a record read takes it.
DatabaseHelper::StoredCell DatabaseHelper::read_cell(const SqliteStatement& statement, int i) {
    StoredCell cell{statement.columnType(i), 0, {}};
    if (cell.type == SQLITE_NULL) return cell;
    bool present = false;
    cell.text = column_view(statement, i, &present);
    if (cell.type == SQLITE_INTEGER) cell.integer = sqlite3_column_int64(statement.get(), i);
    return cell;
}

const char* const DatabaseHelper::kTableNames[kTableCount] = {
    "configuration",     "ieq_presets", "geq_presets",    "profiles",
    "profile_endpoints", "tunings",     "device_tunings",
};

DatabaseHelper::DatabaseHelper(const std::string& dbName)
    : mDbName(dbName), mDirectory(SystemPaths::resolve(SystemPaths::kDatabaseDir)) {
    mPath = mDirectory + mDbName;
    for (int i = 0; i < kParameterCount; ++i) {
        mColumnNameMap.emplace(kParameterNames[i], static_cast<Parameter>(i));
    }
    open();
    mSnapshot = std::make_unique<TableSnapshot>(mDb, mColumnNameMap);
    mReadStatements = std::make_unique<StatementCache>(mDb);
    mWriteStatements = std::make_unique<StatementCache>(mDb);
}

void DatabaseHelper::open() {
    // A fresh device (or a wiped data partition) has no database folder yet; without it
    // the service would run with no stored settings at all.
    std::error_code error;
    std::filesystem::create_directories(mDirectory, error);
    if (error) {
        ALOGW("cannot create the database folder %s: %s", mDirectory.c_str(),
              error.message().c_str());
    }
    mPathProblem = path_problem(mPath, &mExistedBeforeOpen);
    if (!mPathProblem.empty()) return;
    int rc = sqlite3_open_v2(mPath.c_str(), &mDb,
                             SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                             nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_close_v2(mDb);
        mDb = nullptr;
        return;
    }
    // Without it a statement fails at once when another process reads the file, and a save
    // that meets a reader would be lost.
    sqlite3_busy_timeout(mDb, gBusyTimeoutMs.load());
    // A commit is acknowledged to the client as saved, so it must survive a power cut at any
    // later moment. With the rollback journal, a commit ends by deleting the journal; unless
    // the folder is synced after that, a power cut can bring the journal back and the next
    // open rolls the acknowledged commit back. This level syncs the folder.
    sqlite3_exec(mDb, "PRAGMA synchronous=EXTRA", nullptr, nullptr, nullptr);
}

void DatabaseHelper::setBusyTimeout(int milliseconds) { gBusyTimeoutMs.store(milliseconds); }

int DatabaseHelper::getBusyTimeout() { return gBusyTimeoutMs.load(); }

DatabaseHelper::~DatabaseHelper() {
    // The statements kept go before the connection.
    forgetStoredRows();
    mWriteStatements->clear();
    if (mDb != nullptr) {
        sqlite3_close_v2(mDb);
        mDb = nullptr;
    }
}

int DatabaseHelper::init() {
    int failed = 0;
    failed |= createTable(TABLE_CONFIGURATION);
    for (int type = TABLE_IEQ_PRESETS; type <= TABLE_TUNINGS; ++type) {
        failed |= createTable(static_cast<TableType>(type));
    }
    failed |= createTable(TABLE_DEVICE_TUNINGS);
    return failed;
}

int DatabaseHelper::createTable(TableType type) {
    return execSQL(std::string("CREATE TABLE ") + kTableNames[type] + buildColumnString(type));
}

std::vector<std::string> DatabaseHelper::getColumnNames(TableType type) {
    std::vector<std::string> names{"_id"};
    if (type == TABLE_CONFIGURATION) {
        names.push_back("key");
        names.push_back("value");
        return names;
    }
    names.push_back("custom_name");
    const TableLayout& table = layout_of(type);
    for (const auto& own : table.ownColumns) names.push_back(own.first);
    if (table.parameters != nullptr) {
        for (Parameter parameter : *table.parameters) {
            if (has_column(parameter)) names.push_back(kParameterNames[parameter]);
        }
    }
    return names;
}

std::string DatabaseHelper::buildColumnString(TableType type) {
    std::string columns = " (";
    bool first = true;
    for (const std::string& name : getColumnNames(type)) {
        if (!first) columns += ", ";
        first = false;
        columns += name;
        columns += name == "_id" ? " INTEGER" : " TEXT";
    }
    columns += ")";
    return columns;
}

void DatabaseHelper::clear() {
    static const TableType kDropOrder[kTableCount] = {
        TABLE_IEQ_PRESETS, TABLE_GEQ_PRESETS,    TABLE_PROFILES,      TABLE_PROFILE_ENDPOINTS,
        TABLE_TUNINGS,     TABLE_DEVICE_TUNINGS, TABLE_CONFIGURATION,
    };
    for (TableType type : kDropOrder) {
        execSQL(std::string("DROP TABLE IF EXISTS ") + kTableNames[type]);
    }
}

bool DatabaseHelper::hasTables() {
    if (mDb == nullptr) return true;
    SqliteStatement statement;
    if (statement.prepare(mDb, "SELECT 1 FROM sqlite_master LIMIT 1") != SQLITE_OK) return true;
    return statement.step() != SQLITE_DONE;
}

int DatabaseHelper::beginTransaction() { return execSQL("BEGIN EXCLUSIVE"); }

int DatabaseHelper::commitTransaction() { return execSQL("COMMIT"); }

int DatabaseHelper::rollbackTransaction() {
    // Runs even after a failure has stopped the transaction's statements: it ends them.
    const bool failed = mTransactionFailed;
    mTransactionFailed = false;
    const int result = execSQL("ROLLBACK");
    mTransactionFailed = failed;
    return result;
}

void DatabaseHelper::leaveTransaction() {
    if (--mTransactionDepth == 0) mTransactionFailed = false;
}

bool DatabaseHelper::noteFailure(int rc) {
    ++mFailures;
    mLastError = rc == 0 ? -EIO : errno_of(mDb, rc);
    bool first = true;
    if (mTransactionDepth > 0) {
        first = !mTransactionFailed;
        mTransactionFailed = true;
    }
    return first && !mQuietFailures;
}

bool DatabaseHelper::transactionFailed() {
    if (!mTransactionFailed) return false;
    ++mFailures;
    return true;
}

int DatabaseHelper::getRowCount(const std::string& table) {
    if (mDb == nullptr) {
        if (!mQuietFailures) ALOGE("the db is not open...");
        return -1;
    }
    std::string sql = "SELECT COUNT(*) FROM " + table;
    SqliteStatement statement;
    if (statement.prepare(mDb, sql) != SQLITE_OK) {
        if (!mQuietFailures) ALOGE("failed to prepare SQL: %s", sql.c_str());
        return -1;
    }
    int count = -1;
    while (statement.step() == SQLITE_ROW) {
        count = statement.columnInt(0);
    }
    return count;
}

int DatabaseHelper::execSQL(const std::string& sql) {
    // Every change but the inserts made here goes through here.
    forgetStoredRows();
    mRowCounts.clear();
    if (transactionFailed()) return 1;
    if (mDb == nullptr) {
        if (noteFailure(0)) ALOGE("the db is not open...");
        mLastError = -ENODEV;
        return 1;
    }
    SqliteStatement statement;
    int rc = statement.prepare(mDb, sql);
    if (rc != SQLITE_OK) {
        if (noteFailure(rc)) ALOGD("failed to prepare SQL : %s", sql.c_str());
        return 1;
    }
    rc = statement.step();
    if (rc != SQLITE_DONE) {
        if (noteFailure(rc)) ALOGE("failed to exec SQL: %s", sql.c_str());
        return 1;
    }
    return 0;
}

namespace {

// The text the parameter was read from, while it still reads as the record's value. The
// check guards against a value changed in place, past the record's setters.
std::optional<std::string> unchangedStoredText(const ParameterValues* record, Parameter parameter) {
    std::string text;
    if (record == nullptr || !record->getStoredText(parameter, &text)) return std::nullopt;
    auto value = record->getValues().find(parameter);
    if (value == record->getValues().end() || value->second != string_2_int_vector(text)) {
        return std::nullopt;
    }
    return text;
}

}  // namespace

long long DatabaseHelper::newRowId(TableType table) {
    // Inside a transaction no one else writes, so a table's count, once asked, is kept and
    // counted up by every insert made here; anything else that changes a table forgets it.
    const bool inTransaction = mDb != nullptr && sqlite3_get_autocommit(mDb) == 0;
    auto known = mRowCounts.find(table);
    if (inTransaction && known != mRowCounts.end()) return known->second + 1;
    int count = getRowCount(kTableNames[table]);
    if (inTransaction && count >= 0) mRowCounts[table] = count;
    return static_cast<long long>(count) + 1;
}

void DatabaseHelper::applyColumnText(ParameterValues& record, Parameter parameter,
                                     std::string_view text) {
    std::vector<int> values;
    // A text this service wrote is known again from the value; only another text is kept.
    if (read_list_text(text.data(), text.size(), &values)) {
        record.setStoredAsWritten(parameter, std::move(values));
    } else {
        record.setStored(parameter, std::move(values), std::string(text));
    }
}

void DatabaseHelper::insertRecord(TableType table, const ParameterValues* record,
                                  const std::string& recordText, const std::string& customName,
                                  long long id) {
    insertRow(table, id, rowValues(table, record, recordText, customName));
}

std::vector<std::optional<std::string>> DatabaseHelper::rowValues(TableType table,
                                                                  const ParameterValues* record,
                                                                  const std::string& recordText,
                                                                  const std::string& customName) {
    // The storage text is one key=value line per field; the first line is the record's id,
    // which the row does not take from the text. Keying the values by their line lets a
    // field the record lacks be written as NULL in its own column instead of shifting
    // every later value into the wrong column.
    std::vector<std::pair<std::string, std::string>> lines;
    size_t begin = recordText.find('\n');
    while (begin != std::string::npos) {
        ++begin;
        size_t end = recordText.find('\n', begin);
        std::string line = recordText.substr(begin, end == std::string::npos ? end : end - begin);
        begin = end;
        if (line.empty()) continue;  // the text ends with a newline
        std::string key = line.substr(0, line.find('='));
        lines.emplace_back(std::move(key), get_string_values(line));
    }

    const TableLayout& columns = layout_of(table);
    std::vector<const char*> keys;
    // Per key, the text a parameter was read from while it is still the record's value.
    std::vector<std::optional<std::string>> storedTexts;
    for (const auto& own : columns.ownColumns) {
        keys.push_back(own.second);
        storedTexts.emplace_back();
    }
    if (columns.parameters != nullptr) {
        for (Parameter parameter : *columns.parameters) {
            if (!has_column(parameter)) continue;
            keys.push_back(kParameterNames[parameter]);
            storedTexts.push_back(unchangedStoredText(record, parameter));
        }
    }
    std::vector<std::optional<std::string>> values{customName};
    int missing = 0;
    // A record's text lists its fields in the order of the table's columns; taking them in
    // one walk gives what looking each one up gives, as long as every line is taken once.
    size_t next = 0;
    for (const char* key : keys) {
        if (next < lines.size() && lines[next].first == key) ++next;
    }
    std::map<std::string, std::string> fields;
    if (next == lines.size()) {
        next = 0;
        for (size_t k = 0; k < keys.size(); ++k) {
            if (next < lines.size() && lines[next].first == keys[k]) {
                std::string& text = lines[next++].second;
                values.emplace_back(storedTexts[k] ? std::move(*storedTexts[k]) : std::move(text));
            } else {
                values.emplace_back();
                ++missing;
            }
        }
    } else {
        for (auto& line : lines) fields[line.first] = std::move(line.second);
        for (size_t k = 0; k < keys.size(); ++k) {
            auto field = fields.find(keys[k]);
            if (field == fields.end()) {
                values.emplace_back();
                ++missing;
                continue;
            }
            values.emplace_back(storedTexts[k] ? std::move(*storedTexts[k])
                                               : std::move(field->second));
            fields.erase(field);
        }
    }

    if (missing > 0) {
        ALOGD("%s row %s lacks %d values, stored as NULL", kTableNames[table], customName.c_str(),
              missing);
    }
    // A value the table has no column for cannot be stored; it is named so that the fault
    // of whoever put it into the record can be found, and the rest of the record is kept.
    for (const auto& extra : fields) {
        ALOGW("%s has no column %s, value not stored", kTableNames[table], extra.first.c_str());
    }
    return values;
}

std::string DatabaseHelper::insertText(TableType table, long long id,
                                       const std::vector<std::optional<std::string>>& values) {
    std::string sql =
        std::string("INSERT INTO ") + kTableNames[table] + " VALUES(" + std::to_string(id) + ",";
    for (const auto& value : values) {
        sql += value ? "'" + escape_sql_quotes(*value) + "'," : std::string("NULL,");
    }
    sql.back() = ')';
    // The configuration's own statement has always ended with a newline.
    if (table == TABLE_CONFIGURATION) sql += "\n";
    return sql;
}

void DatabaseHelper::insertRow(TableType table, long long id,
                               const std::vector<std::optional<std::string>>& values) {
    if (transactionFailed()) return;
    // Inside a transaction (a rebuild, a merge, a save) the INSERT is prepared once per table
    // and run with the values bound: SQLite stores exactly what the statement text would
    // store. A zero byte would cut the text short, so such a row keeps the text; so does a
    // row whose prepared run fails, whose text then runs and reports as it always did.
    bool bound = mDb != nullptr && sqlite3_get_autocommit(mDb) == 0;
    for (const auto& value : values) {
        bound = bound && (!value || value->find('\0') == std::string::npos);
    }
    std::string sql;
    SqliteStatement* statement = nullptr;
    if (bound) {
        sql = std::string("INSERT INTO ") + kTableNames[table] + " VALUES(?";
        for (size_t i = 0; i < values.size(); ++i) sql += ",?";
        sql += ")";
        statement = mWriteStatements->get(sql);
    }
    if (statement != nullptr) {
        sqlite3_stmt* raw = statement->get();
        bool ok = sqlite3_bind_int64(raw, 1, id) == SQLITE_OK;
        for (size_t i = 0; ok && i < values.size(); ++i) {
            const int at = static_cast<int>(i) + 2;
            ok = (values[i] ? sqlite3_bind_text(raw, at, values[i]->data(),
                                                static_cast<int>(values[i]->size()), SQLITE_STATIC)
                            : sqlite3_bind_null(raw, at)) == SQLITE_OK;
        }
        ok = ok && statement->step() == SQLITE_DONE;
        sqlite3_reset(raw);
        sqlite3_clear_bindings(raw);
        if (ok) {
            forgetStoredRows();
            auto count = mRowCounts.find(table);
            if (count != mRowCounts.end()) ++count->second;
            return;
        }
        mWriteStatements->forget(sql);
    }
    execSQL(insertText(table, id, values));
}

void DatabaseHelper::insertValue(IeqPreset* preset, const std::string& customName) {
    if (preset == nullptr) {
        ALOGE("invalide value");
        return;
    }
    insertRecord(TABLE_IEQ_PRESETS, preset, preset->toString(), customName,
                 newRowId(TABLE_IEQ_PRESETS));
}

void DatabaseHelper::insertValue(GeqPreset* preset, const std::string& customName, long long id) {
    if (preset == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (id <= 0) {
        id = newRowId(TABLE_GEQ_PRESETS);
        preset->setId(id);
    }
    insertRecord(TABLE_GEQ_PRESETS, preset, preset->toString(), customName, id);
}

void DatabaseHelper::insertValue(Profile* profile, const std::string& customName, long long id) {
    if (profile == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (id <= 0) {
        id = newRowId(TABLE_PROFILES);
        profile->setId(id);
    }
    insertRecord(TABLE_PROFILES, profile, profile->toString(), customName, id);
}

void DatabaseHelper::insertValue(ProfileEndpoint* endpoint, const std::string& customName,
                                 long long id) {
    if (endpoint == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (id <= 0) {
        id = newRowId(TABLE_PROFILE_ENDPOINTS);
        endpoint->setId(id);
    }
    insertRecord(TABLE_PROFILE_ENDPOINTS, endpoint, endpoint->toString(), customName, id);
}

void DatabaseHelper::insertValue(Tuning* tuning, const std::string& customName) {
    if (tuning == nullptr) {
        ALOGE("invalid value");
        return;
    }
    insertRecord(TABLE_TUNINGS, tuning, tuning->toString(), customName, newRowId(TABLE_TUNINGS));
}

void DatabaseHelper::insertValue(DeviceTuning* deviceTuning, const std::string& customName) {
    if (deviceTuning == nullptr) {
        ALOGE("invalid value");
        return;
    }
    insertRecord(TABLE_DEVICE_TUNINGS, nullptr, deviceTuning->toString(), customName,
                 newRowId(TABLE_DEVICE_TUNINGS));
}

void DatabaseHelper::insertConfigurationValue(const std::string& key, const std::string& value) {
    if (mDb == nullptr) {
        ALOGE("db is not connected");
        return;
    }
    insertRow(TABLE_CONFIGURATION, newRowId(TABLE_CONFIGURATION), {key, value});
}

DatabaseHelper::ColumnRole DatabaseHelper::roleOf(const std::string& column,
                                                  const std::set<std::string>& keyColumns) const {
    ColumnRole role;
    role.name = column;
    role.skipped = column == "_id" || column == "custom_name" || keyColumns.count(column) != 0;
    auto parameter = mColumnNameMap.find(column);
    if (parameter != mColumnNameMap.end()) role.parameter = parameter->second;
    return role;
}

void DatabaseHelper::applyColumn(ParameterValues* record, const ColumnRole& role,
                                 const StoredCell& cell, const OwnColumnReader& ownColumn) {
    if (role.skipped) return;
    if (cell.type == SQLITE_NULL) return;  // a value the stored record did not have
    // No column of a record's own fields is named like a parameter.
    if (role.parameter && cell.type != SQLITE_INTEGER) {
        applyColumnText(*record, *role.parameter, cell.text);
        return;
    }
    std::vector<int> values;
    if (cell.type == SQLITE_INTEGER) {
        values.push_back(static_cast<int>(cell.integer));
    } else {
        read_list_text(cell.text.data(), cell.text.size(), &values);
    }
    // An integer is no stored text to write back: the value is written as it reads.
    if (role.parameter) {
        record->set(*role.parameter, std::move(values));
    } else if (ownColumn) {
        ownColumn(role.name, std::string(cell.text), values);
    }
}

void DatabaseHelper::readRecord(TableType table, const KeyValues& keys,
                                const std::set<std::string>& keyColumns, ParameterValues* record,
                                const OwnColumnReader& ownColumn, bool reportPrepareResult) {
    if (mDb == nullptr || record == nullptr) {
        ALOGE("the database is not connected");
        return;
    }
    std::vector<ColumnRole>* roles = nullptr;
    bool read = mSnapshot->forEachRow(table, keys, [&](TableSnapshot::Rows& stored, size_t row) {
        if (roles == nullptr) {
            roles = &mSnapshotRoles[{table, keyColumns}];
            if (roles->empty()) {
                for (const std::string& column : stored.columns) {
                    roles->push_back(roleOf(column, keyColumns));
                }
            }
        }
        for (size_t i = 0; i < stored.columns.size(); ++i) {
            applyColumn(record, (*roles)[i], stored.cell(row, i), ownColumn);
        }
    });
    if (read || readBound(table, keys, keyColumns, record, ownColumn)) return;

    std::string sql = std::string("SELECT * FROM ") + kTableNames[table] + " WHERE ";
    for (size_t i = 0; i < keys.size(); ++i) {
        if (i > 0) sql += " AND ";
        sql += keys[i].first + "='" + escape_sql_quotes(keys[i].second) + "'";
    }
    SqliteStatement statement;
    int rc = statement.prepare(mDb, sql);
    if (rc != SQLITE_OK) {
        if (reportPrepareResult) {
            ALOGE("failed to prepare sql: %s, ret = %d, line %d", sql.c_str(), rc, __LINE__);
        } else {
            ALOGE("failed to prepare sql: %s, line %d", sql.c_str(), __LINE__);
        }
        return;
    }
    while ((rc = statement.step()) == SQLITE_ROW) {
        int count = statement.columnCount();
        for (int i = 0; i < count; ++i) {
            applyColumn(record, roleOf(statement.columnName(i), keyColumns),
                        read_cell(statement, i), ownColumn);
        }
    }
    if (rc != SQLITE_DONE) {
        ALOGE("Unknow error... %d", __LINE__);
    }
}

void DatabaseHelper::forgetStoredRows() {
    mSnapshot->forget();
    mSnapshotRoles.clear();
    mReadStatements->clear();
    mBoundRoles.clear();
}

bool DatabaseHelper::readBound(TableType table, const KeyValues& keys,
                               const std::set<std::string>& keyColumns, ParameterValues* record,
                               const OwnColumnReader& ownColumn) {
    if (!mSnapshot->isEnabled() || !mSnapshot->tableAsCreated(table)) return false;
    for (const auto& key : keys) {
        if (key.second.find('\0') != std::string::npos) return false;
    }
    std::string sql = std::string("SELECT * FROM ") + kTableNames[table] + " WHERE ";
    for (size_t i = 0; i < keys.size(); ++i) sql += (i > 0 ? " AND " : "") + keys[i].first + "=?";
    SqliteStatement* statement = mReadStatements->get(sql);
    if (statement == nullptr) return false;
    sqlite3_stmt* raw = statement->get();
    for (size_t i = 0; i < keys.size(); ++i) {
        if (sqlite3_bind_text(raw, static_cast<int>(i) + 1, keys[i].second.data(),
                              static_cast<int>(keys[i].second.size()),
                              SQLITE_TRANSIENT) != SQLITE_OK) {
            return false;
        }
    }
    std::vector<ColumnRole>& roles = mBoundRoles[table];
    if (roles.empty()) {
        for (int i = 0; i < statement->columnCount(); ++i) {
            roles.push_back(roleOf(statement->columnName(i), keyColumns));
        }
    }
    int rc;
    while ((rc = statement->step()) == SQLITE_ROW) {
        for (size_t i = 0; i < roles.size(); ++i) {
            // As in the snapshot: bound reads, too, run only while the state is loaded.
            sqlite3_value* value = sqlite3_column_value(raw, static_cast<int>(i));
            applyColumn(record, roles[i], TableSnapshot::cellOf(value), ownColumn);
        }
    }
    if (rc != SQLITE_DONE) {
        ALOGE("Unknow error... %d", __LINE__);
    }
    sqlite3_reset(raw);
    return true;
}

void DatabaseHelper::queryIeqValue(const std::string& presetType, const std::string& customName,
                                   IeqPreset* preset) {
    static const std::set<std::string> kKeyColumns{"preset_type"};
    readRecord(TABLE_IEQ_PRESETS, {{"preset_type", presetType}, {"custom_name", customName}},
               kKeyColumns, preset, nullptr, /*reportPrepareResult=*/true);
}

void DatabaseHelper::queryGeqValue(const std::string& profileId, const std::string& customName,
                                   GeqPreset* preset) {
    static const std::set<std::string> kKeyColumns{"profile_id"};
    readRecord(TABLE_GEQ_PRESETS, {{"profile_id", profileId}, {"custom_name", customName}},
               kKeyColumns, preset, nullptr, /*reportPrepareResult=*/false);
}

void DatabaseHelper::queryProfileNames(std::vector<std::string>& names,
                                       const std::string& customName) {
    if (mDb == nullptr) {
        ALOGE("the database is not connected");
        return;
    }
    auto found = [&names](const std::string& name) {
        names.push_back(name);
        ALOGD("%s(): Profile %s found", "queryProfileNames", name.c_str());
    };
    bool read = mSnapshot->forEachRow(TABLE_PROFILES, {{"custom_name", customName}},
                                      [&](TableSnapshot::Rows& stored, size_t row) {
                                          for (size_t i = 0; i < stored.columns.size(); ++i) {
                                              if (stored.columns[i] == "name")
                                                  found(std::string(stored.cell(row, i).text));
                                          }
                                      });
    if (read) return;
    std::string sql = std::string("SELECT * FROM ") + kTableNames[TABLE_PROFILES] + " WHERE " +
                      "custom_name='" + escape_sql_quotes(customName) + "'";
    SqliteStatement statement;
    if (statement.prepare(mDb, sql) != SQLITE_OK) {
        ALOGE("failed to prepare sql: %s, line %d", sql.c_str(), __LINE__);
        return;
    }
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        int count = statement.columnCount();
        for (int i = 0; i < count; ++i) {
            if (statement.columnName(i) != "name") continue;
            // A row without a name is still a profile: leaving it out would shift the count
            // that the profile ids are taken from.
            found(statement.columnText(i));
        }
    }
    if (rc != SQLITE_DONE) {
        ALOGE("Unknow error... %d", __LINE__);
    }
}

void DatabaseHelper::queryProfileValue(const std::string& profileId, const std::string& customName,
                                       Profile* profile) {
    static const std::set<std::string> kKeyColumns{"profile_id"};
    readRecord(
        TABLE_PROFILES, {{"profile_id", profileId}, {"custom_name", customName}}, kKeyColumns,
        profile,
        [profile](const std::string& column, const std::string& text,
                  const std::vector<int>& values) {
            if (column == "name") {
                profile->setName(text);
                return true;
            }
            if (column == "selected_ieq_preset_type") {
                for (int type = 0; type < kPresetTypeCount; ++type) {
                    if (text == kPresetTypeNames[type]) {
                        profile->setSelectedIeqPreset(static_cast<PresetType>(type));
                    }
                }
                return true;
            }
            if (column == "selected_geq_preset_id") {
                profile->setSelectedGeqPreset(values.empty() ? 0 : values[0]);
                return true;
            }
            return false;
        },
        /*reportPrepareResult=*/false);
}

void DatabaseHelper::queryEndpointValue(const std::string& profileId, const std::string& endpoint,
                                        const std::string& customName,
                                        ProfileEndpoint* profileEndpoint) {
    static const std::set<std::string> kKeyColumns{"profile_id", "endpoint"};
    readRecord(TABLE_PROFILE_ENDPOINTS,
               {{"profile_id", profileId}, {"endpoint", endpoint}, {"custom_name", customName}},
               kKeyColumns, profileEndpoint, nullptr,
               /*reportPrepareResult=*/false);
}

void DatabaseHelper::queryTuning(const std::string& name, Tuning* tuning) {
    static const std::set<std::string> kKeyColumns{"name", "is_readonly"};
    // is_readonly is not read back: every stored tuning comes from a tuning file and is
    // read-only, which the record loaded for a device already says.
    readRecord(
        TABLE_TUNINGS, {{"name", name}}, kKeyColumns, tuning,
        [tuning](const std::string& column, const std::string& text,
                 const std::vector<int>& values) {
            if (column == "is_mono") {
                tuning->setMono(!values.empty() && values[0] != 0);
                return true;
            }
            if (column == "endpoint") {
                tuning->setEndpoint(text);
                return true;
            }
            return false;
        },
        /*reportPrepareResult=*/false);
}

std::set<DeviceTuning*> DatabaseHelper::queryDeviceTunings(const std::string& port) {
    std::set<DeviceTuning*> result;
    if (mDb == nullptr) {
        ALOGE("the database is not connected");
        return result;
    }
    bool read = mSnapshot->forEachRow(TABLE_DEVICE_TUNINGS, {{"port", port}},
                                      [&result](TableSnapshot::Rows& stored, size_t row) {
                                          std::string device;
                                          std::string rowPort;
                                          std::string tuning;
                                          for (size_t i = 0; i < stored.columns.size(); ++i) {
                                              const std::string& column = stored.columns[i];
                                              if (column == "device") {
                                                  device = stored.cell(row, i).text;
                                              } else if (column == "port") {
                                                  rowPort = stored.cell(row, i).text;
                                              } else if (column == "tuning_id") {
                                                  tuning = stored.cell(row, i).text;
                                              }
                                          }
                                          result.insert(new DeviceTuning(device, rowPort, tuning));
                                      });
    if (read) return result;
    std::string sql = std::string("SELECT * FROM ") + kTableNames[TABLE_DEVICE_TUNINGS] +
                      " WHERE " + "port='" + escape_sql_quotes(port) + "'";
    SqliteStatement statement;
    if (statement.prepare(mDb, sql) != SQLITE_OK) {
        ALOGE("failed to prepare sql: %s, line %d", sql.c_str(), __LINE__);
        return result;
    }
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        std::string device;
        std::string rowPort;
        std::string tuning;
        int count = statement.columnCount();
        for (int i = 0; i < count; ++i) {
            std::string column = statement.columnName(i);
            if (column == "device") {
                device = statement.columnText(i);
            } else if (column == "port") {
                rowPort = statement.columnText(i);
            } else if (column == "tuning_id") {
                tuning = statement.columnText(i);
            }
        }
        result.insert(new DeviceTuning(device, rowPort, tuning));
    }
    if (rc != SQLITE_DONE) {
        ALOGE("Unknow error... %d", __LINE__);
    }
    return result;
}

bool DatabaseHelper::forEachConfigurationValue(
    const std::string& key, const std::function<void(const std::string&)>& visit) {
    if (mDb == nullptr) {
        ALOGE("the database is not connected");
        return false;
    }
    bool read = mSnapshot->forEachRow(TABLE_CONFIGURATION, {{"key", key}},
                                      [&visit](TableSnapshot::Rows& stored, size_t row) {
                                          for (size_t i = 0; i < stored.columns.size(); ++i) {
                                              if (stored.columns[i] == "value") {
                                                  visit(std::string(stored.cell(row, i).text));
                                              }
                                          }
                                      });
    if (read) return true;
    std::string sql = std::string("SELECT value FROM ") + kTableNames[TABLE_CONFIGURATION] +
                      " WHERE key='" + escape_sql_quotes(key) + "'";
    SqliteStatement statement;
    if (statement.prepare(mDb, sql) != SQLITE_OK) {
        ALOGE("failed to prepare sql: %s, line %d", sql.c_str(), __LINE__);
        return false;
    }
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        visit(statement.columnText(0));
    }
    if (rc != SQLITE_DONE) {
        ALOGE("Unknow error... %d", __LINE__);
        return false;
    }
    return true;
}

bool DatabaseHelper::queryPexStatus(const std::string& key) {
    if (mDb == nullptr) {
        ALOGE("the database is not connected");
        return false;
    }
    // On unless a row says otherwise; texts other than "true" and "false" change nothing.
    // State that cannot be read is off, as without a connection: "on" would be a guess.
    bool on = true;
    bool read = forEachConfigurationValue(key, [&on](const std::string& value) {
        if (value == "false") on = false;
        if (value == "true") on = true;
    });
    return read && on;
}

std::string DatabaseHelper::querySelectedProfile(const std::string& key) {
    return queryConfigurationValue(key);
}

std::string DatabaseHelper::queryConfigurationValue(const std::string& key) {
    // A key inserted twice answers with its last row.
    std::string last;
    forEachConfigurationValue(key, [&last](const std::string& value) { last = value; });
    return last;
}

void DatabaseHelper::updateGeqValue(GeqPreset* preset, const std::string& customName) {
    if (preset == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (customName == kDefaultCustomName) {
        ALOGE("the default value can't be updated, %d", __LINE__);
        return;
    }
    const std::string profileId = int2string(preset->getProfileId());
    replaceRow(TABLE_GEQ_PRESETS, preset, preset->toString(), customName, preset->getId(),
               {{"custom_name", customName}, {"profile_id", profileId}},
               std::string("DELETE FROM ") + kTableNames[TABLE_GEQ_PRESETS] +
                   " WHERE custom_name='" + escape_sql_quotes(customName) + "' AND profile_id='" +
                   profileId + "'");
}

void DatabaseHelper::updateProfileValue(Profile* profile, const std::string& customName) {
    if (profile == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (customName == kDefaultCustomName) {
        ALOGE("the default value can't be updated, %d", __LINE__);
        return;
    }
    const std::string profileId = int2string(profile->getProfileId());
    replaceRow(TABLE_PROFILES, profile, profile->toString(), customName, profile->getId(),
               {{"custom_name", customName}, {"profile_id", profileId}},
               std::string("DELETE FROM ") + kTableNames[TABLE_PROFILES] + " WHERE custom_name='" +
                   escape_sql_quotes(customName) + "' AND profile_id='" + profileId + "'");
}

void DatabaseHelper::updateProfileEndpointValue(ProfileEndpoint* endpoint,
                                                const std::string& customName) {
    if (endpoint == nullptr) {
        ALOGE("invalid value");
        return;
    }
    if (customName == kDefaultCustomName) {
        ALOGE("the default value can't be updated, %d", __LINE__);
        return;
    }
    const std::string profileId = int2string(endpoint->getProfileId());
    const std::string endpointName = endpoint_name(endpoint->getEndpoint());
    replaceRow(TABLE_PROFILE_ENDPOINTS, endpoint, endpoint->toString(), customName,
               endpoint->getId(),
               {{"custom_name", customName}, {"profile_id", profileId}, {"endpoint", endpointName}},
               std::string("DELETE FROM ") + kTableNames[TABLE_PROFILE_ENDPOINTS] +
                   " WHERE custom_name='" + escape_sql_quotes(customName) + "' AND profile_id='" +
                   profileId + "' AND endpoint='" + escape_sql_quotes(endpointName) + "'");
}

void DatabaseHelper::replaceRow(TableType table, ParameterValues* record,
                                const std::string& recordText, const std::string& customName,
                                long long id, KeyValues keys, std::string deleteSql) {
    // A row without an _id of its own gets a new one, which goes back into the record at
    // once: it cannot wait for the end of the save.
    if (!mKeepReplacements || id <= 0) {
        makeReplacements(table);
        execSQL(deleteSql);
        if (id <= 0) {
            id = newRowId(table);
            record->setId(id);
        }
        insertRecord(table, record, recordText, customName, id);
        return;
    }
    mReplacements.add(table, {std::move(keys), std::move(deleteSql), id,
                              rowValues(table, record, recordText, customName)});
}

void DatabaseHelper::makeReplacements(TableType table) {
    std::vector<RowReplacements::Replacement> replacements = mReplacements.take(table);
    if (replacements.empty() || mTransactionFailed) return;
    if (RowReplacements::alreadyHeld(mDb, table, replacements)) return;
    for (const auto& replacement : replacements) {
        execSQL(replacement.deleteSql);
        insertRow(table, replacement.id, replacement.values);
    }
}

void DatabaseHelper::setKeepReplacements(bool on) {
    if (!on) {
        for (TableType table : mReplacements.tables()) makeReplacements(table);
    }
    mKeepReplacements = on;
}

void DatabaseHelper::updateConfiguration(const std::string& key, const std::string& value) {
    // An UPDATE writes its rows even when they hold the value already; a save that changes
    // nothing must write nothing.
    if (mDb != nullptr && !mTransactionFailed) {
        SqliteStatement* held = mWriteStatements->get(
            std::string("SELECT value FROM ") + kTableNames[TABLE_CONFIGURATION] + " WHERE key=?");
        if (held != nullptr && key.find('\0') == std::string::npos &&
            sqlite3_bind_text(held->get(), 1, key.data(), static_cast<int>(key.size()),
                              SQLITE_STATIC) == SQLITE_OK) {
            bool same = true;
            int rc = SQLITE_DONE;
            while (same && (rc = held->step()) == SQLITE_ROW) {
                same = held->columnType(0) == SQLITE_TEXT && held->columnText(0) == value;
            }
            const bool unchanged = same && rc == SQLITE_DONE;
            sqlite3_reset(held->get());
            if (unchanged) return;
        }
    }
    execSQL(std::string("UPDATE ") + kTableNames[TABLE_CONFIGURATION] + " SET value='" +
            escape_sql_quotes(value) + "' WHERE key='" + escape_sql_quotes(key) + "'");
}

void DatabaseHelper::updatePexStatus(const std::string& key, bool on) {
    updateConfiguration(key, on ? "true" : "false");
}

void DatabaseHelper::updateTuningDevice(const std::string& key, const std::string& value) {
    updateConfiguration(key, value);
}

void DatabaseHelper::updateSelectedProfile(const std::string& key, const std::string& value) {
    updateConfiguration(key, value);
}

void DatabaseHelper::clearOemTunings() {
    std::string sql = std::string("DELETE from ") + kTableNames[TABLE_TUNINGS] +
                      " WHERE custom_name = '" + "oem" + "'";
    ALOGD("Delete existing tuning with SQL [%s]", sql.c_str());
    execSQL(sql);
}

void DatabaseHelper::clearOemDeviceTunings() {
    std::string sql = std::string("DELETE from ") + kTableNames[TABLE_DEVICE_TUNINGS] +
                      " WHERE custom_name = '" + "oem" + "'";
    ALOGD("Delete existing device tuning with SQL [%s]", sql.c_str());
    execSQL(sql);
}

}  // namespace velora
