/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "StoreTestSupport.h"

namespace velora::testing {

StatementTrace::StatementTrace(sqlite3* db) : mDb(db) {
    sqlite3_trace_v2(mDb, SQLITE_TRACE_STMT, &StatementTrace::onTrace, this);
}

StatementTrace::~StatementTrace() { sqlite3_trace_v2(mDb, 0, nullptr, nullptr); }

int StatementTrace::onTrace(unsigned type, void* context, void* statement, void* /*text*/) {
    if (type == SQLITE_TRACE_STMT) {
        const char* sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        static_cast<StatementTrace*>(context)->mStatements.push_back(sql != nullptr ? sql : "");
    }
    return 0;
}

std::vector<std::string> StatementTrace::startingWith(const std::string& prefix) const {
    std::vector<std::string> found;
    for (const std::string& sql : mStatements) {
        if (sql.compare(0, prefix.size(), prefix) == 0) found.push_back(sql);
    }
    return found;
}

SecondConnection::SecondConnection(const std::string& path, bool readOnly) {
    if (sqlite3_open_v2(path.c_str(), &mDb, readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE,
                        nullptr) != SQLITE_OK) {
        sqlite3_close_v2(mDb);
        mDb = nullptr;
    }
}

SecondConnection::~SecondConnection() { sqlite3_close_v2(mDb); }

std::vector<Row> SecondConnection::query(const std::string& sql) const {
    std::vector<Row> rows;
    sqlite3_stmt* statement = nullptr;
    if (mDb != nullptr &&
        sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
        while (sqlite3_step(statement) == SQLITE_ROW) {
            Row row;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const unsigned char* text = sqlite3_column_text(statement, i);
                row[sqlite3_column_name(statement, i)] =
                    text == nullptr
                        ? std::nullopt
                        : std::optional<std::string>(reinterpret_cast<const char*>(text));
            }
            rows.push_back(row);
        }
    }
    sqlite3_finalize(statement);
    return rows;
}

int SecondConnection::exec(const std::string& sql) const {
    return sqlite3_exec(mDb, sql.c_str(), nullptr, nullptr, nullptr);
}

std::vector<std::string> SecondConnection::columns(const std::string& table) const {
    std::vector<std::string> names;
    for (const Row& row : query("PRAGMA table_info(" + table + ")")) {
        names.push_back(row.at("name").value_or(""));
    }
    return names;
}

std::string cell(const Row& row, const std::string& column) {
    auto found = row.find(column);
    if (found == row.end()) return "<absent>";
    return found->second.value_or("<NULL>");
}

}  // namespace velora::testing
