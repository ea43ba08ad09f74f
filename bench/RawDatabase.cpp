/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/RawDatabase.h"

#include <benchmark/benchmark.h>
#include <stdio.h>

#include <memory>

namespace velora::bench {

namespace {

constexpr int kOpenFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;

struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

struct ConnectionDeleter {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionDeleter>;

Statement prepare(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        fprintf(stderr, "prepare failed: %s: %s\n", sql.c_str(), sqlite3_errmsg(db));
        sqlite3_finalize(statement);
        return nullptr;
    }
    return Statement(statement);
}

bool exec(sqlite3* db, const std::string& sql) {
    Statement statement = prepare(db, sql);
    return statement != nullptr && sqlite3_step(statement.get()) == SQLITE_DONE;
}

Connection open(const std::string& path) {
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, kOpenFlags, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db);
        return nullptr;
    }
    return Connection(db);
}

// Binds one row of the table (columns from `first` on) starting at parameter `index`.
void bind_row(sqlite3_stmt* statement, const RawDatabase::Table& table, size_t row, int first,
              int index) {
    size_t base = row * static_cast<size_t>(table.columns);
    for (int column = first; column < table.columns; ++column, ++index) {
        if (table.nulls[base + column]) {
            sqlite3_bind_null(statement, index);
        } else {
            const std::string& value = table.values[base + column];
            sqlite3_bind_text(statement, index, value.data(), static_cast<int>(value.size()),
                              SQLITE_STATIC);
        }
    }
}

std::string insert_sql(const RawDatabase::Table& table) {
    std::string sql = "INSERT INTO " + table.name + " VALUES(";
    for (int column = 0; column < table.columns; ++column) sql += column == 0 ? "?" : ",?";
    return sql + ")";
}

}  // namespace

int RawDatabase::Table::column(const std::string& columnName) const {
    for (size_t i = 0; i < columnNames.size(); ++i) {
        if (columnNames[i] == columnName) return static_cast<int>(i);
    }
    return -1;
}

size_t RawDatabase::Snapshot::rows() const {
    size_t rows = 0;
    for (const Table& table : tables) rows += table.rows();
    return rows;
}

RawDatabase::Snapshot RawDatabase::capture(const std::string& path) {
    Snapshot snapshot;
    Connection db = open(path);
    if (db == nullptr) return snapshot;
    Statement master =
        prepare(db.get(), "SELECT name, sql FROM sqlite_master WHERE type='table' ORDER BY name");
    while (master != nullptr && sqlite3_step(master.get()) == SQLITE_ROW) {
        Table table;
        table.name = reinterpret_cast<const char*>(sqlite3_column_text(master.get(), 0));
        table.createSql = reinterpret_cast<const char*>(sqlite3_column_text(master.get(), 1));
        snapshot.tables.push_back(table);
    }
    for (Table& table : snapshot.tables) {
        Statement rows = prepare(db.get(), "SELECT * FROM " + table.name);
        if (rows == nullptr) continue;
        table.columns = sqlite3_column_count(rows.get());
        for (int column = 0; column < table.columns; ++column) {
            table.columnNames.emplace_back(sqlite3_column_name(rows.get(), column));
        }
        while (sqlite3_step(rows.get()) == SQLITE_ROW) {
            for (int column = 0; column < table.columns; ++column) {
                const unsigned char* text = sqlite3_column_text(rows.get(), column);
                table.nulls.push_back(text == nullptr);
                table.values.emplace_back(text == nullptr ? ""
                                                          : reinterpret_cast<const char*>(text));
            }
        }
    }
    return snapshot;
}

bool RawDatabase::insertAll(const Snapshot& snapshot, const std::string& path) {
    Connection db = open(path);
    if (db == nullptr || !exec(db.get(), "BEGIN EXCLUSIVE")) return false;
    for (const Table& table : snapshot.tables) {
        if (!exec(db.get(), table.createSql)) return false;
    }
    for (const Table& table : snapshot.tables) {
        Statement insert = prepare(db.get(), insert_sql(table));
        if (insert == nullptr) return false;
        for (size_t row = 0; row < table.rows(); ++row) {
            bind_row(insert.get(), table, row, 0, 1);
            if (sqlite3_step(insert.get()) != SQLITE_DONE) return false;
            sqlite3_reset(insert.get());
        }
    }
    return exec(db.get(), "COMMIT");
}

long RawDatabase::readAll(const Snapshot& snapshot, const std::string& path) {
    Connection db = open(path);
    if (db == nullptr) return -1;
    long rows = 0;
    size_t bytes = 0;
    for (const Table& table : snapshot.tables) {
        Statement select = prepare(db.get(), "SELECT * FROM " + table.name);
        if (select == nullptr) return -1;
        int columns = sqlite3_column_count(select.get());
        while (sqlite3_step(select.get()) == SQLITE_ROW) {
            for (int column = 0; column < columns; ++column) {
                sqlite3_column_text(select.get(), column);
                bytes += static_cast<size_t>(sqlite3_column_bytes(select.get(), column));
            }
            ++rows;
        }
    }
    benchmark::DoNotOptimize(bytes);
    return rows;
}

RawDatabase::RawDatabase(const std::string& path) : mDb(open(path).release()) {}

RawDatabase::~RawDatabase() { sqlite3_close_v2(mDb); }

bool RawDatabase::rewrite(const Snapshot& snapshot) {
    if (mDb == nullptr || !exec(mDb, "BEGIN EXCLUSIVE")) return false;
    for (const Table& table : snapshot.tables) {
        bool endpoints = table.name == "profile_endpoints";
        if (table.name != "profiles" && table.name != "geq_presets" && !endpoints) continue;
        int customName = table.column("custom_name");
        int profileId = table.column("profile_id");
        int endpoint = endpoints ? table.column("endpoint") : -1;
        std::string deleteSql = "DELETE FROM " + table.name +
                                " WHERE custom_name=? AND profile_id=?" +
                                (endpoints ? " AND endpoint=?" : "");
        Statement remove = prepare(mDb, deleteSql);
        Statement insert = prepare(mDb, insert_sql(table));
        if (remove == nullptr || insert == nullptr || customName < 0 || profileId < 0) {
            exec(mDb, "ROLLBACK");
            return false;
        }
        for (size_t row = 0; row < table.rows(); ++row) {
            size_t base = row * static_cast<size_t>(table.columns);
            if (table.values[base + customName] != "custom") continue;
            sqlite3_bind_text(remove.get(), 1, "custom", -1, SQLITE_STATIC);
            sqlite3_bind_text(remove.get(), 2, table.values[base + profileId].c_str(), -1,
                              SQLITE_STATIC);
            if (endpoints) {
                sqlite3_bind_text(remove.get(), 3, table.values[base + endpoint].c_str(), -1,
                                  SQLITE_STATIC);
            }
            bool ok = sqlite3_step(remove.get()) == SQLITE_DONE;
            sqlite3_reset(remove.get());
            bind_row(insert.get(), table, row, 0, 1);
            ok = ok && sqlite3_step(insert.get()) == SQLITE_DONE;
            sqlite3_reset(insert.get());
            if (!ok) {
                exec(mDb, "ROLLBACK");
                return false;
            }
        }
    }
    // The state: the selected profile, the effect switch and one device per supported port.
    Statement update = prepare(mDb, "UPDATE configuration SET value=? WHERE key=?");
    if (update == nullptr) {
        exec(mDb, "ROLLBACK");
        return false;
    }
    for (const Table& table : snapshot.tables) {
        if (table.name != "configuration") continue;
        for (size_t row = 0; row < table.rows(); ++row) {
            size_t base = row * static_cast<size_t>(table.columns);
            const std::string& key = table.values[base + table.column("key")];
            if (key == "signature" || key == "version") continue;
            sqlite3_bind_text(update.get(), 1, table.values[base + table.column("value")].c_str(),
                              -1, SQLITE_STATIC);
            sqlite3_bind_text(update.get(), 2, key.c_str(), -1, SQLITE_STATIC);
            sqlite3_step(update.get());
            sqlite3_reset(update.get());
        }
    }
    return exec(mDb, "COMMIT");
}

}  // namespace velora::bench
