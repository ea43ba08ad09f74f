/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "store/DatabaseCheck.h"

#include <sqlite3.h>

#include <algorithm>
#include <map>

#include "store/DatabaseHelper.h"
#include "store/SqliteStatement.h"
#include "store/TextHelpers.h"

namespace velora {

namespace {

using Result = DatabaseCheck::Result;

Result verdict(DatabaseCheck::Verdict verdict, const std::string& reason) {
    Result result;
    result.verdict = verdict;
    result.reason = reason;
    return result;
}

// A failed statement: a lock another process holds passes, anything else is the file's fault
// (not a database, malformed pages, a read error).
Result failure(sqlite3* db, int rc) {
    int primary = rc & 0xff;
    if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) {
        return verdict(DatabaseCheck::kUnavailable, "it is locked by another process");
    }
    return verdict(DatabaseCheck::kDamaged, sqlite3_errmsg(db));
}

std::string join(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

DatabaseCheck::Result DatabaseCheck::examine(DatabaseHelper& helper, bool withPageCheck) {
    if (!helper.isOpen()) {
        if (!helper.getPathProblem().empty()) {
            return verdict(kDamaged, "it is " + helper.getPathProblem());
        }
        return verdict(kUnavailable, "it cannot be opened");
    }
    return examine(helper.getConnection(), withPageCheck);
}

DatabaseCheck::Result DatabaseCheck::examine(sqlite3* db, bool withPageCheck) {
    // One read of the schema: the table names and the statements that created them.
    std::map<std::string, std::string> tables;
    {
        SqliteStatement statement;
        int rc = statement.prepare(db, "SELECT name, sql FROM sqlite_master WHERE type='table'");
        if (rc != SQLITE_OK) return failure(db, rc);
        while ((rc = statement.step()) == SQLITE_ROW) {
            tables[statement.columnText(0)] = statement.columnText(1);
        }
        if (rc != SQLITE_DONE) return failure(db, rc);
    }
    std::vector<std::string> missing;
    for (const char* table : DatabaseHelper::kTableNames) {
        if (tables.count(table) == 0) missing.push_back(table);
    }
    if (missing.size() == static_cast<size_t>(kTableCount)) {
        if (tables.empty()) return verdict(kUnbuilt, std::string());
        std::vector<std::string> others;
        for (const auto& table : tables) others.push_back(table.first);
        return verdict(kDamaged, "it holds none of the settings tables, but " + join(others));
    }
    if (!missing.empty()) {
        return verdict(kDamaged, std::string(missing.size() == 1 ? "table " : "tables ") +
                                     join(missing) + (missing.size() == 1 ? " is" : " are") +
                                     " missing");
    }

    // Rows are read by column name and written by position, so a table whose columns differ
    // in name or order would take values into the wrong columns. A table this service created
    // carries its own CREATE statement; only one created otherwise has its columns compared
    // one by one (a prepare per table costs as much as reading a table).
    for (int type = 0; type < kTableCount; ++type) {
        const char* table = DatabaseHelper::kTableNames[type];
        if (tables[table] == std::string("CREATE TABLE ") + table +
                                 DatabaseHelper::buildColumnString(static_cast<TableType>(type))) {
            continue;
        }
        SqliteStatement statement;
        int rc = statement.prepare(db, std::string("SELECT * FROM ") + table);
        if (rc != SQLITE_OK) return failure(db, rc);
        std::vector<std::string> columns;
        for (int i = 0; i < statement.columnCount(); ++i)
            columns.push_back(statement.columnName(i));
        if (columns != DatabaseHelper::getColumnNames(static_cast<TableType>(type))) {
            return verdict(kDamaged, std::string("table ") + table + " has other columns");
        }
    }

    if (withPageCheck) {
        SqliteStatement statement;
        int rc = statement.prepare(db, "PRAGMA quick_check(3)");
        if (rc != SQLITE_OK) return failure(db, rc);
        std::vector<std::string> findings;
        while ((rc = statement.step()) == SQLITE_ROW) {
            // One line for the log: the findings without the heading that names the schema.
            std::string text = statement.columnText(0);
            for (const std::string& line : split_string(text, "\n")) {
                if (!line.empty() && line.compare(0, 4, "*** ") != 0) findings.push_back(line);
            }
        }
        if (rc != SQLITE_DONE) return failure(db, rc);
        if (findings != std::vector<std::string>{"ok"}) {
            return verdict(kDamaged, "its page check says: " + join(findings));
        }
    }

    // Every rebuild writes the signature and a "default" row for each record of the tuning
    // file, in one transaction; their absence means rows were lost afterwards.
    std::string sql = "SELECT EXISTS(SELECT 1 FROM configuration WHERE key='signature')";
    for (int type = TABLE_IEQ_PRESETS; type < kTableCount; ++type) {
        sql += std::string(", EXISTS(SELECT 1 FROM ") + DatabaseHelper::kTableNames[type] +
               " WHERE custom_name='default')";
    }
    SqliteStatement statement;
    int rc = statement.prepare(db, sql);
    if (rc != SQLITE_OK) return failure(db, rc);
    rc = statement.step();
    if (rc != SQLITE_ROW) return failure(db, rc);
    bool signature = statement.columnInt(0) != 0;
    Result result;
    std::vector<std::string> empty;
    for (int type = TABLE_IEQ_PRESETS; type < kTableCount; ++type) {
        if (statement.columnInt(type) == 0) {
            result.emptyTables.push_back(static_cast<TableType>(type));
            empty.push_back(DatabaseHelper::kTableNames[type]);
        }
    }
    if (!signature && empty.size() == static_cast<size_t>(kTableCount - 1)) {
        // Tables without any row at all: the start that created them stopped before filling
        // them. Asked only here, so that a sound database does not pay for it.
        std::string anyRows;
        for (const char* table : DatabaseHelper::kTableNames) {
            anyRows += std::string(anyRows.empty() ? "SELECT " : " OR ") + "EXISTS(SELECT 1 FROM " +
                       table + ")";
        }
        SqliteStatement rows;
        rc = rows.prepare(db, anyRows);
        if (rc != SQLITE_OK) return failure(db, rc);
        rc = rows.step();
        if (rc != SQLITE_ROW) return failure(db, rc);
        if (rows.columnInt(0) == 0) return verdict(kUnbuilt, std::string());
    }
    if (!empty.empty()) {
        result.verdict = kDamaged;
        result.reason = std::string(empty.size() == 1 ? "table " : "tables ") + join(empty) +
                        (empty.size() == 1 ? " holds" : " hold") + " no default rows";
        return result;
    }
    if (!signature) {
        return verdict(kDamaged, "the configuration holds no signature of the tuning file");
    }
    return result;
}

}  // namespace velora
