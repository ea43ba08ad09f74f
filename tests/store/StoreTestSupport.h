/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velora::testing {

// The text of every statement a connection runs, as prepared (failed prepares never run).
class StatementTrace {
  public:
    explicit StatementTrace(sqlite3* db) : mDb(db) {
        sqlite3_trace_v2(mDb, SQLITE_TRACE_STMT, &StatementTrace::onTrace, this);
    }
    ~StatementTrace() { sqlite3_trace_v2(mDb, 0, nullptr, nullptr); }
    const std::vector<std::string>& statements() const { return mStatements; }
    void clear() { mStatements.clear(); }
    std::vector<std::string> startingWith(const std::string& prefix) const {
        std::vector<std::string> found;
        for (const std::string& sql : mStatements) {
            if (sql.compare(0, prefix.size(), prefix) == 0) found.push_back(sql);
        }
        return found;
    }

  private:
    static int onTrace(unsigned type, void* context, void* statement, void*) {
        const char* sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (type == SQLITE_TRACE_STMT)
            static_cast<StatementTrace*>(context)->mStatements.push_back(sql ? sql : "");
        return 0;
    }
    sqlite3* mDb;
    std::vector<std::string> mStatements;
};

// One row as a second connection sees it: column name to text, nullopt for NULL.
using Row = std::map<std::string, std::optional<std::string>>;

// A connection of its own, so that what the code under test wrote is checked in the file and
// not in that code's caches.
class SecondConnection {
  public:
    explicit SecondConnection(const std::string& path, bool readOnly = true) {
        if (sqlite3_open_v2(path.c_str(), &mDb,
                            readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE,
                            nullptr) != SQLITE_OK) {
            sqlite3_close_v2(mDb);
            mDb = nullptr;
        }
    }
    ~SecondConnection() { sqlite3_close_v2(mDb); }
    std::vector<Row> query(const std::string& sql) const {
        std::vector<Row> rows;
        sqlite3_stmt* st = nullptr;
        if (mDb != nullptr && sqlite3_prepare_v2(mDb, sql.c_str(), -1, &st, nullptr) == SQLITE_OK) {
            while (sqlite3_step(st) == SQLITE_ROW) {
                Row row;
                for (int i = 0; i < sqlite3_column_count(st); ++i) {
                    auto text = reinterpret_cast<const char*>(sqlite3_column_text(st, i));
                    row[sqlite3_column_name(st, i)] =
                        text ? std::optional<std::string>(text) : std::nullopt;
                }
                rows.push_back(row);
            }
        }
        sqlite3_finalize(st);
        return rows;
    }
    int exec(const std::string& sql) const {
        return sqlite3_exec(mDb, sql.c_str(), nullptr, nullptr, nullptr);
    }

  private:
    sqlite3* mDb = nullptr;
};

// The rows of a table in the file at path, in the order written.
inline std::vector<Row> table_rows(const std::string& path, const std::string& table,
                                   const std::string& where = "1") {
    return SecondConnection(path).query("SELECT * FROM " + table + " WHERE " + where +
                                        " ORDER BY rowid");
}

// The text of a row's column: "<NULL>" for NULL, "<absent>" for a column the row lacks.
inline std::string cell(const Row& row, const std::string& column) {
    auto found = row.find(column);
    return found == row.end() ? "<absent>" : found->second.value_or("<NULL>");
}

}  // namespace velora::testing
