/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>

#include "store/SqliteStatement.h"

namespace velora {

// Statements prepared once and run many times with bound values, by their text. A statement
// is handed out reset and with no values bound, so that a caller starts from a clean run
// whatever the previous caller left.
//
// Not thread-safe; the connection must outlive the cache, and the cache is cleared before
// the connection closes.
class StatementCache {
  public:
    explicit StatementCache(sqlite3* db) : mDb(db) {}
    StatementCache(const StatementCache&) = delete;
    StatementCache& operator=(const StatementCache&) = delete;

    // The statement of sql, prepared on first use; null when it cannot be prepared (nothing
    // is kept then, so a later call tries again).
    SqliteStatement* get(const std::string& sql);
    // Forgets the statement of sql (after a run that failed, so that its text runs instead).
    void forget(const std::string& sql) { mStatements.erase(sql); }
    void clear() { mStatements.clear(); }

  private:
    sqlite3* const mDb;
    std::map<std::string, std::unique_ptr<SqliteStatement>> mStatements;
};

}  // namespace velora
