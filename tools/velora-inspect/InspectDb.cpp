/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velora-inspect/InspectDb.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "model/Endpoint.h"
#include "store/DatabaseCheck.h"
#include "store/DatabaseHelper.h"
#include "store/SqliteStatement.h"
#include "store/TextHelpers.h"
#include "tools/common/ArgumentParser.h"

namespace velora::inspect {

namespace {

// A row as stored: column names and their texts, nullopt for NULL, in the table's order.
struct StoredRow {
    std::vector<std::pair<std::string, std::optional<std::string>>> cells;
    long long rowOrder = 0;  // SQLite's rowid: the order the rows were written in

    std::string text(const std::string& column) const {
        for (const auto& cell : cells) {
            if (cell.first == column) return cell.second.value_or("");
        }
        return std::string();
    }
};

// The columns that tell the rows of a record table apart, after custom_name.
std::vector<std::string> key_columns(TableType type) {
    switch (type) {
        case TABLE_IEQ_PRESETS:
            return {"preset_type"};
        case TABLE_GEQ_PRESETS:
        case TABLE_PROFILES:
            return {"profile_id"};
        case TABLE_PROFILE_ENDPOINTS:
            return {"profile_id", "endpoint"};
        case TABLE_TUNINGS:
            return {"name"};
        case TABLE_DEVICE_TUNINGS:
            return {"port", "device"};
        case TABLE_CONFIGURATION:
            return {"key"};
    }
    return {};
}

// Sort key of one key column: numbers by value, endpoints in their own order, other texts
// as they are.
std::pair<long long, std::string> sort_key(const std::string& column, const std::string& text) {
    if (column == "profile_id") return {string2int(text), text};
    if (column == "endpoint") {
        for (int e = 0; e < kEndpointCount; ++e) {
            if (text == kEndpointNames[e]) return {e, text};
        }
        return {kEndpointCount, text};
    }
    return {0, text};
}

bool read_rows(sqlite3* db, const std::string& table, std::vector<StoredRow>* rows,
               std::string* error) {
    SqliteStatement statement;
    if (statement.prepare(db, "SELECT rowid AS velora_row_order, * FROM " + table) != SQLITE_OK) {
        *error = sqlite3_errmsg(db);
        return false;
    }
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        StoredRow row;
        row.rowOrder = sqlite3_column_int64(statement.get(), 0);
        for (int i = 1; i < statement.columnCount(); ++i) {
            std::optional<std::string> value;
            if (statement.columnType(i) != SQLITE_NULL) value = statement.columnText(i);
            row.cells.emplace_back(statement.columnName(i), value);
        }
        rows->push_back(std::move(row));
    }
    if (rc != SQLITE_DONE) {
        *error = sqlite3_errmsg(db);
        return false;
    }
    return true;
}

void sort_rows(TableType type, std::vector<StoredRow>* rows) {
    std::vector<std::string> keys = key_columns(type);
    std::stable_sort(rows->begin(), rows->end(), [&](const StoredRow& a, const StoredRow& b) {
        if (type != TABLE_CONFIGURATION && a.text("custom_name") != b.text("custom_name")) {
            return a.text("custom_name") < b.text("custom_name");
        }
        for (const std::string& key : keys) {
            auto ka = sort_key(key, a.text(key));
            auto kb = sort_key(key, b.text(key));
            if (ka != kb) return ka < kb;
        }
        // Rows of equal keys stay in the order they were written: for a key stored twice,
        // the service reads the last one.
        return a.rowOrder < b.rowOrder;
    });
}

void print_table(TableType type, const std::vector<StoredRow>& rows, std::ostream& out) {
    out << "[" << DatabaseHelper::kTableNames[type] << "] " << rows.size()
        << (rows.size() == 1 ? " row" : " rows") << "\n";
    if (type == TABLE_CONFIGURATION) {
        for (const StoredRow& row : rows) {
            out << "  " << row.text("key") << " = " << row.text("value") << "\n";
        }
        out << "\n";
        return;
    }
    std::vector<std::string> keys = key_columns(type);
    for (const StoredRow& row : rows) {
        out << "  " << row.text("custom_name");
        for (const std::string& key : keys) out << " " << key << "=" << row.text(key);
        out << "\n";
        for (const auto& cell : row.cells) {
            const std::string& column = cell.first;
            // _id follows the order rows were written in and finds nothing; leaving it out
            // lets two databases with the same settings print the same text.
            if (column == "_id" || column == "custom_name" ||
                std::find(keys.begin(), keys.end(), column) != keys.end()) {
                continue;
            }
            out << "    " << column << " = " << (cell.second ? *cell.second : "NULL") << "\n";
        }
    }
    out << "\n";
}

int fail(std::ostream& err, const std::string& message) {
    err << "velora-inspect db: " << message << "\n";
    return kExitFailed;
}

}  // namespace

int inspect_db(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string path;
    ArgumentParser arguments("velora-inspect db", kDbSubcommand.help);
    arguments.app().add_option("FILE", path, "the settings database")->required();
    if (auto status = arguments.parse(args, out, err)) return *status;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return fail(err, path + ": " + std::strerror(errno));
    if (!S_ISREG(info.st_mode)) return fail(err, path + ": not a regular file");

    // Read-only, so that inspecting never creates, changes or journals the file.
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        std::string message = db != nullptr ? sqlite3_errmsg(db) : "out of memory";
        sqlite3_close_v2(db);
        return fail(err, path + ": cannot open: " + message);
    }
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> holder(db, sqlite3_close_v2);

    // The service's own start-up check, with the page check that a start skips: the
    // findings name what the service would do with this file.
    DatabaseCheck::Result check = DatabaseCheck::examine(db, /*withPageCheck=*/true);
    switch (check.verdict) {
        case DatabaseCheck::kSound:
            break;
        case DatabaseCheck::kUnbuilt:
            return fail(err, path +
                                 " holds no settings yet; the service builds it from the "
                                 "tuning file at its next start");
        case DatabaseCheck::kUnavailable:
            return fail(err, path + " cannot be read now: " + check.reason);
        case DatabaseCheck::kDamaged:
            if (!check.emptyTables.empty()) {
                // Rows a tuning file without such records never wrote; worth showing.
                err << "velora-inspect db: " << path << ": " << check.reason << "\n";
                break;
            }
            return fail(err, path + " is damaged (" + check.reason +
                                 "); the service moves it aside and rebuilds it at its next "
                                 "start");
    }

    out << "Settings database " << path << "\n\n";
    for (int type = 0; type < kTableCount; ++type) {
        std::vector<StoredRow> rows;
        std::string error;
        if (!read_rows(db, DatabaseHelper::kTableNames[type], &rows, &error)) {
            return fail(err, std::string("cannot read ") + DatabaseHelper::kTableNames[type] +
                                 ": " + error);
        }
        sort_rows(static_cast<TableType>(type), &rows);
        print_table(static_cast<TableType>(type), rows, out);
    }
    return kExitOk;
}

const Subcommand kDbSubcommand = {
    "db",
    "FILE",
    "print the tables of a settings database (kiv_sqlite3.db)",
    "Prints every table of a settings database as the service stored it. The\n"
    "configuration table is shown as key = value lines; record rows are shown under\n"
    "their copy (default, custom, oem) and keys, sorted by those, each stored value as\n"
    "its text (NULL where the record had no value). The file is opened read-only.\n"
    "Exits with 1 when the file cannot be read or is damaged (what the service's\n"
    "start-up check finds, with SQLite's page check), naming what is wrong.\n",
    inspect_db,
};

}  // namespace velora::inspect
