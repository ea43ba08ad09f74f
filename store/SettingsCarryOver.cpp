/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VlrDatabaseProvider"

#include "store/SettingsCarryOver.h"

#include <log/log.h>
#include <sqlite3.h>

#include <algorithm>

#include "model/Port.h"
#include "store/DatabaseHelper.h"
#include "store/Provider.h"
#include "store/SqliteStatement.h"
#include "store/TextHelpers.h"

namespace velora {

namespace {

// The tables that hold the user's own copies.
constexpr TableType kCustomTables[] = {TABLE_GEQ_PRESETS, TABLE_PROFILES, TABLE_PROFILE_ENDPOINTS};

std::vector<std::string> key_columns(TableType table) {
    if (table == TABLE_PROFILE_ENDPOINTS) return {"profile_id", "endpoint"};
    return {"profile_id"};
}

bool is_carried_key(const std::string& key) {
    if (key == Provider::kPexState || key == Provider::kSelectedProfile) return true;
    for (const char* port : kPortNames) {
        if (key == port) return true;
    }
    return false;
}

std::string quoted(const std::optional<std::string>& value) {
    return value ? "'" + escape_sql_quotes(*value) + "'" : std::string("NULL");
}

// True when sql finds a row in db.
bool exists(DatabaseHelper& db, const std::string& sql) {
    SqliteStatement statement;
    return statement.prepare(db.getConnection(), "SELECT EXISTS(" + sql + ")") == SQLITE_OK &&
           statement.step() == SQLITE_ROW && statement.columnInt(0) != 0;
}

}  // namespace

void SettingsCarryOver::readFrom(DatabaseHelper& db) {
    if (!db.isOpen()) return;
    sqlite3* connection = db.getConnection();
    // SQLite refuses every read of a file shorter than its header says unless the schema is
    // writable; this connection only reads, and it is closed right after.
    sqlite3_exec(connection, "PRAGMA writable_schema=ON", nullptr, nullptr, nullptr);
    for (TableType table : kCustomTables) {
        SqliteStatement statement;
        std::string sql = std::string("SELECT * FROM ") + DatabaseHelper::kTableNames[table] +
                          " WHERE custom_name='" + Provider::kCustomName + "'";
        if (statement.prepare(connection, sql) != SQLITE_OK) continue;
        // Rows come until the first one that cannot be read; those before it are kept.
        while (statement.step() == SQLITE_ROW) {
            Row row{table, {}};
            for (int i = 0; i < statement.columnCount(); ++i) {
                std::string column = statement.columnName(i);
                if (column == "_id" || column == "custom_name") continue;
                std::optional<std::string> value;
                if (statement.columnType(i) != SQLITE_NULL) value = statement.columnText(i);
                row.cells.emplace_back(column, value);
            }
            mRows.push_back(std::move(row));
        }
    }
    SqliteStatement statement;
    if (statement.prepare(connection, "SELECT key, value FROM configuration") != SQLITE_OK) return;
    while (statement.step() == SQLITE_ROW) {
        std::string key = statement.columnText(0);
        if (is_carried_key(key)) mConfiguration[key] = statement.columnText(1);
    }
}

SettingsCarryOver::Outcome SettingsCarryOver::applyTo(DatabaseHelper& db) const {
    Outcome outcome;
    for (const Row& row : mRows) {
        const char* table = DatabaseHelper::kTableNames[row.table];
        std::vector<std::string> keys = key_columns(row.table);
        std::vector<std::string> columns = DatabaseHelper::getColumnNames(row.table);
        std::string where = std::string(" WHERE custom_name='") + Provider::kCustomName + "'";
        std::string assignments;
        std::string keyText;
        int keysFound = 0;
        for (const auto& cell : row.cells) {
            if (std::find(keys.begin(), keys.end(), cell.first) != keys.end()) {
                if (!cell.second) continue;
                where += " AND " + cell.first + "=" + quoted(cell.second);
                keyText += (keyText.empty() ? "" : " ") + cell.first + "=" + *cell.second;
                ++keysFound;
            } else if (std::find(columns.begin(), columns.end(), cell.first) != columns.end()) {
                assignments +=
                    (assignments.empty() ? "" : ",") + cell.first + "=" + quoted(cell.second);
            }
        }
        // Only the stored texts are written back, so that values read and saved again are the
        // ones the user had, not a copy grown by reading.
        bool placed =
            keysFound == static_cast<int>(keys.size()) && !assignments.empty() &&
            db.execSQL(std::string("UPDATE ") + table + " SET " + assignments + where) == 0 &&
            sqlite3_changes(db.getConnection()) > 0;
        if (placed) {
            ++outcome.rowsCarried;
        } else {
            ++outcome.rowsDropped;
            ALOGW("%s custom row [%s] has no place in the rebuilt database, dropped", table,
                  keyText.c_str());
        }
    }

    for (const auto& entry : mConfiguration) {
        const std::string& key = entry.first;
        const std::string& value = entry.second;
        bool valid;
        if (key == Provider::kPexState) {
            valid = value == "true" || value == "false";
        } else if (key == Provider::kSelectedProfile) {
            valid = exists(db,
                           "SELECT 1 FROM profiles WHERE custom_name='default' AND "
                           "profile_id='" +
                               escape_sql_quotes(value) + "'");
        } else {
            valid =
                exists(db, "SELECT 1 FROM device_tunings WHERE port='" + escape_sql_quotes(key) +
                               "' AND device='" + escape_sql_quotes(value) + "'");
        }
        if (valid && key == Provider::kPexState) {
            db.updatePexStatus(key, value == "true");
        } else if (valid && key == Provider::kSelectedProfile) {
            db.updateSelectedProfile(key, value);
        } else if (valid) {
            db.updateTuningDevice(key, value);
        }
        if (valid) {
            ++outcome.valuesCarried;
        } else {
            ++outcome.valuesDropped;
            ALOGW("configuration %s=%s has no place in the rebuilt database, dropped", key.c_str(),
                  value.c_str());
        }
    }
    return outcome;
}

}  // namespace velora
