/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "store/RowReplacements.h"

#include <algorithm>

#include "store/DatabaseHelper.h"
#include "store/SqliteStatement.h"

namespace velora {

namespace {

// A stored cell: NULL, or its type and text.
struct Cell {
    int type;
    long long integer;
    std::string text;
};

}  // namespace

std::vector<RowReplacements::Replacement> RowReplacements::take(TableType table) {
    std::vector<Replacement> taken;
    auto found = mPending.find(table);
    if (found != mPending.end()) {
        taken = std::move(found->second);
        mPending.erase(found);
    }
    return taken;
}

std::vector<TableType> RowReplacements::tables() const {
    std::vector<TableType> tables;
    for (const auto& pending : mPending) tables.push_back(pending.first);
    return tables;
}

bool RowReplacements::alreadyHeld(sqlite3* db, TableType table,
                                  const std::vector<Replacement>& replacements) {
    if (db == nullptr || replacements.empty()) return false;
    SqliteStatement statement;
    if (statement.prepare(db, std::string("SELECT * FROM ") + DatabaseHelper::kTableNames[table]) !=
        SQLITE_OK) {
        return false;
    }
    const size_t columnCount = static_cast<size_t>(statement.columnCount());
    std::vector<std::string> columns;
    for (size_t i = 0; i < columnCount; ++i) columns.push_back(statement.columnName(i));
    // Rows in stored order, which is the order inserts appended them in.
    std::vector<std::vector<Cell>> rows;
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        std::vector<Cell> row;
        for (size_t i = 0; i < columnCount; ++i) {
            const int at = static_cast<int>(i);
            Cell cell{statement.columnType(at), sqlite3_column_int64(statement.get(), at), {}};
            if (cell.type != SQLITE_NULL) cell.text = statement.columnText(at);
            row.push_back(std::move(cell));
        }
        rows.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE || rows.size() < replacements.size()) return false;

    const size_t first = rows.size() - replacements.size();
    for (size_t i = 0; i < replacements.size(); ++i) {
        const Replacement& replacement = replacements[i];
        const std::vector<Cell>& row = rows[first + i];
        if (columnCount != replacement.values.size() + 1 || row[0].type != SQLITE_INTEGER ||
            row[0].integer != replacement.id) {
            return false;
        }
        for (size_t c = 0; c < replacement.values.size(); ++c) {
            const Cell& cell = row[c + 1];
            const auto& value = replacement.values[c];
            if (value ? cell.type != SQLITE_TEXT || cell.text != *value : cell.type != SQLITE_NULL)
                return false;
        }
        // The DELETE of this replacement must find this row and no other: another row it
        // finds would go, and a row it does not find would stay beside the new one.
        std::vector<size_t> keyColumns;
        for (const auto& key : replacement.keys) {
            auto at = std::find(columns.begin(), columns.end(), key.first);
            if (at == columns.end()) return false;
            keyColumns.push_back(static_cast<size_t>(at - columns.begin()));
        }
        for (size_t r = 0; r < rows.size(); ++r) {
            bool found = true;
            for (size_t k = 0; found && k < keyColumns.size(); ++k) {
                const Cell& cell = rows[r][keyColumns[k]];
                found = cell.type == SQLITE_TEXT && cell.text == replacement.keys[k].second;
            }
            if (found != (r == first + i)) return false;
        }
    }
    return true;
}

}  // namespace velora
