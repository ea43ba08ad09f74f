/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <string>

namespace velora {

// One prepared SQLite statement, finalized when the object goes out of scope, so that no
// early return of a query leaves a statement (and with it a read lock) behind.
//
// Not thread-safe; one statement is used by one caller at a time. The connection must
// outlive the statement.
class SqliteStatement {
  public:
    SqliteStatement() = default;
    ~SqliteStatement() { finalize(); }
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    // Compiles the first statement of sql. Returns SQLite's result code; on failure nothing
    // stays prepared.
    int prepare(sqlite3* db, const std::string& sql) {
        finalize();
        int rc = sqlite3_prepare_v2(db, sql.c_str(), -1, &mStatement, nullptr);
        if (rc != SQLITE_OK) finalize();
        return rc;
    }

    // SQLITE_ROW while rows come, SQLITE_DONE at the end, an error code otherwise.
    int step() { return mStatement == nullptr ? SQLITE_MISUSE : sqlite3_step(mStatement); }

    void finalize() {
        if (mStatement != nullptr) {
            sqlite3_finalize(mStatement);
            mStatement = nullptr;
        }
    }

    bool isPrepared() const { return mStatement != nullptr; }
    sqlite3_stmt* get() const { return mStatement; }

    int columnCount() const { return sqlite3_column_count(mStatement); }
    std::string columnName(int index) const {
        const char* name = sqlite3_column_name(mStatement, index);
        return name == nullptr ? std::string() : std::string(name);
    }
    int columnType(int index) const { return sqlite3_column_type(mStatement, index); }
    int columnInt(int index) const { return sqlite3_column_int(mStatement, index); }
    // The column as text; NULL reads as the empty text.
    std::string columnText(int index) const {
        const unsigned char* text = sqlite3_column_text(mStatement, index);
        if (text == nullptr) return std::string();
        return std::string(reinterpret_cast<const char*>(text),
                           static_cast<size_t>(sqlite3_column_bytes(mStatement, index)));
    }

  private:
    sqlite3_stmt* mStatement = nullptr;
};

}  // namespace velora
