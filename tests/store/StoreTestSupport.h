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

// Records the text of every statement a connection runs, as SQLite's statement trace reports
// it (the text as prepared). Statements that fail to prepare never run and are not recorded.
class StatementTrace {
  public:
    explicit StatementTrace(sqlite3* db);
    ~StatementTrace();
    StatementTrace(const StatementTrace&) = delete;
    StatementTrace& operator=(const StatementTrace&) = delete;

    const std::vector<std::string>& statements() const { return mStatements; }
    void clear() { mStatements.clear(); }
    // The recorded statements that begin with prefix, in order.
    std::vector<std::string> startingWith(const std::string& prefix) const;

  private:
    static int onTrace(unsigned type, void* context, void* statement, void* text);

    sqlite3* mDb;
    std::vector<std::string> mStatements;
};

// One row as a second connection sees it: column name to text, nullopt for NULL.
using Row = std::map<std::string, std::optional<std::string>>;

// A connection of its own to a database file, so that what the code under test wrote is
// checked in the file and not in that code's own caches.
class SecondConnection {
  public:
    explicit SecondConnection(const std::string& path, bool readOnly = true);
    ~SecondConnection();
    SecondConnection(const SecondConnection&) = delete;
    SecondConnection& operator=(const SecondConnection&) = delete;

    // Every row of a query; empty when the statement fails.
    std::vector<Row> query(const std::string& sql) const;
    int exec(const std::string& sql) const;
    // The names of a table's columns in order; empty for a missing table.
    std::vector<std::string> columns(const std::string& table) const;

  private:
    sqlite3* mDb = nullptr;
};

// The text of a row's column: "<NULL>" for NULL, "<absent>" for a column the row lacks.
std::string cell(const Row& row, const std::string& column);

}  // namespace velora::testing
