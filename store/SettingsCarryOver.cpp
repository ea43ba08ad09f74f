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

// How many elements a stored text holds: a list is written with a separator after every
// element, a single value without one.
size_t element_count(const std::string& text) {
    size_t separators = static_cast<size_t>(std::count(text.begin(), text.end(), ','));
    return !text.empty() && text.back() == ',' ? separators : separators + 1;
}

// The same value, written with or without the separator after its last element.
bool same_value(const std::optional<std::string>& a, const std::optional<std::string>& b) {
    if (!a || !b) return a == b;
    auto bare = [](const std::string& text) {
        return !text.empty() && text.back() == ',' ? text.substr(0, text.size() - 1) : text;
    };
    return bare(*a) == bare(*b);
}

// Whether a value still fits a parameter whose new default is newDefault: the parameter kept
// its length from the earlier default to the new one. Where the earlier default is unknown,
// the value's own length decides; a stored list may hold one element more than a value a
// client wrote, the trailing one that reading a stored list adds.
bool fits(const SettingsCarryOver::Row& row, const SettingsCarryOver::Cell& cell,
          const std::string& newDefault) {
    auto earlier = row.earlier.find(cell.first);
    if (earlier != row.earlier.end() && earlier->second) {
        return element_count(*earlier->second) == element_count(newDefault);
    }
    size_t have = element_count(*cell.second);
    size_t want = element_count(newDefault);
    return have == want || have + 1 == want;
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
        const std::vector<std::string> keys = key_columns(table);
        // The earlier defaults, by key: a custom value equal to its default is no choice of the
        // user's, and the rebuilt row is to hold the new default there.
        std::map<std::vector<std::string>, Row> defaults;
        for (const char* name : {Provider::kDefaultName, Provider::kCustomName}) {
            SqliteStatement statement;
            std::string sql = std::string("SELECT * FROM ") + DatabaseHelper::kTableNames[table] +
                              " WHERE custom_name='" + name + "'";
            if (statement.prepare(connection, sql) != SQLITE_OK) continue;
            const bool custom = name == Provider::kCustomName;
            // Rows come until the first one that cannot be read; those before it are kept.
            while (statement.step() == SQLITE_ROW) {
                Row row{table, {}, {}};
                std::vector<std::string> key(keys.size());
                for (int i = 0; i < statement.columnCount(); ++i) {
                    std::string column = statement.columnName(i);
                    if (column == "_id" || column == "custom_name") continue;
                    std::optional<std::string> value;
                    if (statement.columnType(i) != SQLITE_NULL) value = statement.columnText(i);
                    auto keyAt = std::find(keys.begin(), keys.end(), column);
                    if (keyAt != keys.end() && value) key[keyAt - keys.begin()] = *value;
                    row.cells.emplace_back(column, value);
                }
                if (!custom) {
                    defaults[key] = std::move(row);
                    continue;
                }
                auto before = defaults.find(key);
                if (before != defaults.end()) {
                    auto& cells = row.cells;
                    const auto& earlier = before->second.cells;
                    auto unchanged = [&](const Cell& cell) {
                        if (std::find(keys.begin(), keys.end(), cell.first) != keys.end()) {
                            return false;
                        }
                        for (const Cell& old : earlier) {
                            if (old.first == cell.first) return same_value(old.second, cell.second);
                        }
                        return false;
                    };
                    cells.erase(std::remove_if(cells.begin(), cells.end(), unchanged), cells.end());
                    for (const Cell& old : earlier) row.earlier.insert(old);
                    // Nothing the user changed: the rebuilt row is right as it is.
                    if (cells.size() == keys.size()) continue;
                }
                mRows.push_back(std::move(row));
            }
        }
    }
    SqliteStatement statement;
    if (statement.prepare(connection, "SELECT key, value FROM configuration") != SQLITE_OK) return;
    while (statement.step() == SQLITE_ROW) {
        std::string key = statement.columnText(0);
        std::string value = statement.columnText(1);
        // A port's "default_<port>" is what every rebuild selects; no choice to carry.
        if (is_carried_key(key) && value != "default_" + key) mConfiguration[key] = value;
    }
    statement.finalize();
    // The connection may go on to rebuild the database it read.
    sqlite3_exec(connection, "PRAGMA writable_schema=OFF", nullptr, nullptr, nullptr);
}

SettingsCarryOver::Outcome SettingsCarryOver::applyTo(DatabaseHelper& db) const {
    Outcome outcome;
    for (const Row& row : mRows) {
        const char* table = DatabaseHelper::kTableNames[row.table];
        std::vector<std::string> keys = key_columns(row.table);
        std::string where = std::string(" WHERE custom_name='") + Provider::kCustomName + "'";
        std::string keyText;
        int keysFound = 0;
        for (const auto& cell : row.cells) {
            if (std::find(keys.begin(), keys.end(), cell.first) == keys.end() || !cell.second) {
                continue;
            }
            where += " AND " + cell.first + "=" + quoted(cell.second);
            keyText += (keyText.empty() ? "" : " ") + cell.first + "=" + *cell.second;
            ++keysFound;
        }
        // The rebuilt custom row holds the new defaults: a value goes where the new defaults
        // still hold its parameter with as many elements; the rest keep the new default.
        std::map<std::string, std::optional<std::string>> rebuilt;
        if (keysFound == static_cast<int>(keys.size())) {
            SqliteStatement statement;
            if (statement.prepare(db.getConnection(),
                                  std::string("SELECT * FROM ") + table + where) == SQLITE_OK &&
                statement.step() == SQLITE_ROW) {
                for (int i = 0; i < statement.columnCount(); ++i) {
                    std::optional<std::string> value;
                    if (statement.columnType(i) != SQLITE_NULL) value = statement.columnText(i);
                    rebuilt[statement.columnName(i)] = value;
                }
            }
        }
        if (rebuilt.empty()) {
            ++outcome.rowsDropped;
            ALOGW("%s custom row [%s] has no place in the rebuilt database, dropped", table,
                  keyText.c_str());
            continue;
        }
        std::string assignments;
        for (const auto& cell : row.cells) {
            if (std::find(keys.begin(), keys.end(), cell.first) != keys.end() || !cell.second) {
                continue;
            }
            auto place = rebuilt.find(cell.first);
            if (place != rebuilt.end() && same_value(place->second, cell.second)) continue;
            const char* why = nullptr;
            if (place == rebuilt.end() || !place->second) {
                why = "the new defaults do not hold it";
            } else if (!fits(row, cell, *place->second)) {
                why = "the parameter's length changed";
            }
            if (why != nullptr) {
                ++outcome.valuesDropped;
                ALOGW("%s custom row [%s]: %s=%s dropped, %s", table, keyText.c_str(),
                      cell.first.c_str(), cell.second->c_str(), why);
                continue;
            }
            assignments +=
                (assignments.empty() ? "" : ",") + cell.first + "=" + quoted(cell.second);
            ++outcome.valuesCarried;
        }
        ++outcome.rowsCarried;
        // Only the stored texts are written back, so that values read and saved again are the
        // ones the user had, not a copy grown by reading.
        if (!assignments.empty()) {
            db.execSQL(std::string("UPDATE ") + table + " SET " + assignments + where);
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
            ++outcome.settingsCarried;
        } else {
            ++outcome.settingsDropped;
            ALOGW("configuration %s=%s has no place in the rebuilt database, dropped", key.c_str(),
                  value.c_str());
        }
    }
    return outcome;
}

}  // namespace velora
