/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

namespace velora::bench {

// The least SQLite work that writes or reads the same rows as the service: prepared
// statements with bound values, one transaction, nothing else. The floors that start-up and
// saving are compared with.
//
// A snapshot of the service's own database supplies the rows, so the floor moves exactly the
// data the service moved in the same run.
class RawDatabase {
  public:
    struct Table {
        std::string name;
        std::string createSql;
        int columns = 0;
        std::vector<std::string> columnNames;
        // The index of a column by name, -1 when the table has none.
        int column(const std::string& name) const;
        // Row-major; a null column is marked in `nulls`.
        std::vector<std::string> values;
        std::vector<bool> nulls;
        size_t rows() const { return columns == 0 ? 0 : values.size() / columns; }
    };
    struct Snapshot {
        std::vector<Table> tables;
        size_t rows() const;
    };

    // Every table of the database at path, with its rows.
    static Snapshot capture(const std::string& path);

    // Creates the snapshot's tables in a fresh database at path and inserts every row, in one
    // exclusive transaction, opened with the service's flags. False on any SQLite failure.
    static bool insertAll(const Snapshot& snapshot, const std::string& path);

    // Opens the database at path and reads every column of every row of the snapshot's
    // tables as text; returns the number of rows read (-1 on failure).
    static long readAll(const Snapshot& snapshot, const std::string& path);

    // Opens a connection kept for rewrite().
    explicit RawDatabase(const std::string& path);
    ~RawDatabase();
    RawDatabase(const RawDatabase&) = delete;
    RawDatabase& operator=(const RawDatabase&) = delete;

    // Replaces the "custom" rows of the snapshot's profile, endpoint and GEQ tables with the
    // snapshot's values (a delete and an insert per row, as a save does) and updates the
    // configuration rows the state lives in, in one exclusive transaction. False on failure.
    bool rewrite(const Snapshot& snapshot);

  private:
    sqlite3* mDb = nullptr;
};

}  // namespace velora::bench
