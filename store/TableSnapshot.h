/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/Parameter.h"
#include "store/TableType.h"

namespace velora {

// The tables of the settings database read once, whole, so that loading the state at
// start-up answers its thousands of record queries from memory: each query finds the rows
// its own statement would find, in the order it would find them. Only a table whose layout
// is exactly the one the database helper creates, with no index, is read so; any other keeps
// its statements. Whatever changes the database makes the snapshot forget what it read.
//
// Not thread-safe. Cells are read as SQLite's unprotected values, which is safe only while no
// other thread uses the connection: the snapshot is used while the state is loaded under the
// start-up lock, before anyone else can reach the database.
class TableSnapshot {
  public:
    // One stored column of a row: its SQLite type, its text (empty for NULL) and, for an
    // integer, its value. The text lives as long as the rows that hold it.
    struct Cell {
        int type;
        long long integer;
        std::string_view text;
    };
    // The rows of a table in stored order.
    struct Rows {
        std::vector<std::string> columns;
        size_t rowCount = 0;
        // Row after row; their texts are kept one after another in blocks that never move.
        std::vector<Cell> cells;
        const Cell& cell(size_t row, size_t column) const {
            return cells[row * columns.size() + column];
        }
        // A copy of text that lives as long as the rows.
        std::string_view keep(std::string_view text);

      private:
        friend class TableSnapshot;
        std::vector<std::unique_ptr<char[]>> textBlocks;
        char* blockNext = nullptr;
        size_t blockLeft = 0;
        // Per set of key columns (by position): the rows whose key columns hold a text.
        std::map<std::vector<size_t>, std::map<std::string, std::vector<size_t>>> indexes;
    };
    using KeyValues = std::vector<std::pair<std::string, std::string>>;  // column, text

    // parameterColumns: the names of the columns that hold parameters.
    TableSnapshot(sqlite3* db, const std::map<std::string, Parameter>& parameterColumns)
        : mDb(db), mParameterColumns(parameterColumns) {}
    TableSnapshot(const TableSnapshot&) = delete;
    TableSnapshot& operator=(const TableSnapshot&) = delete;

    void setEnabled(bool on) {
        mEnabled = on;
        forget();
    }
    bool isEnabled() const { return mEnabled; }
    void forget();

    // Calls visit with the index of every row whose key columns hold exactly the texts of
    // keys, in stored order; false (and no call) when the table is not read once.
    bool forEachRow(TableType type, const KeyValues& keys,
                    const std::function<void(Rows&, size_t)>& visit);
    // True when the table is exactly as the database helper creates it and has no index.
    bool tableAsCreated(TableType type);

    // A cell taken with sqlite3_column_value.
    static Cell cellOf(sqlite3_value* value);

  private:
    // The rows of type, or null when the table is not read once.
    Rows* rows(TableType type);

    sqlite3* const mDb;
    const std::map<std::string, Parameter>& mParameterColumns;
    bool mEnabled = false;
    // Per table: absent until first asked, null when the table is not read once.
    std::map<TableType, std::unique_ptr<Rows>> mRows;
    // sqlite_master as read once, per table: "type\nname\nsql" of every object on it.
    bool mSchemaRead = false;
    std::map<std::string, std::vector<std::string>> mSchema;
    std::string mJoinedKey;
};

}  // namespace velora
