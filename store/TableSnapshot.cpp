/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "store/TableSnapshot.h"

#include <algorithm>
#include <cstring>

#include "store/DatabaseHelper.h"
#include "store/SqliteStatement.h"

namespace velora {

namespace {

// The text of a cell taken as a value; *present is false when SQLite has none (NULL).
std::string_view value_view(sqlite3_value* value, bool* present) {
    const unsigned char* text = sqlite3_value_text(value);
    *present = text != nullptr;
    if (text == nullptr) return {};
    return std::string_view(reinterpret_cast<const char*>(text),
                            static_cast<size_t>(sqlite3_value_bytes(value)));
}

}  // namespace

TableSnapshot::Cell TableSnapshot::cellOf(sqlite3_value* value) {
    Cell cell{sqlite3_value_type(value), 0, {}};
    if (cell.type == SQLITE_NULL) return cell;
    bool present = false;
    cell.text = value_view(value, &present);
    if (cell.type == SQLITE_INTEGER) cell.integer = sqlite3_value_int64(value);
    return cell;
}

void TableSnapshot::forget() {
    mRows.clear();
    mSchema.clear();
    mSchemaRead = false;
}

bool TableSnapshot::tableAsCreated(TableType type) {
    // The statements of a table find its rows by a scan in stored order, comparing the key
    // columns as texts, only while the table is exactly as created, with no index.
    if (!mSchemaRead) {
        mSchemaRead = true;
        SqliteStatement schema;
        if (schema.prepare(mDb, "SELECT tbl_name, type, name, sql FROM sqlite_master") !=
            SQLITE_OK) {
            return false;
        }
        while (schema.step() == SQLITE_ROW) {
            mSchema[schema.columnText(0)].push_back(
                schema.columnText(1) + "\n" + schema.columnText(2) + "\n" + schema.columnText(3));
        }
    }
    const std::string table = DatabaseHelper::kTableNames[type];
    auto objects = mSchema.find(table);
    return objects != mSchema.end() && objects->second.size() == 1 &&
           objects->second[0] == "table\n" + table + "\nCREATE TABLE " + table +
                                     DatabaseHelper::buildColumnString(type);
}

TableSnapshot::Rows* TableSnapshot::rows(TableType type) {
    // A tuning is read only for the few devices selected; reading the whole table for them
    // would cost more than it saves (their statement is prepared once instead).
    if (!mEnabled || mDb == nullptr || type == TABLE_TUNINGS) return nullptr;
    auto found = mRows.find(type);
    if (found != mRows.end()) return found->second.get();
    std::unique_ptr<Rows>& entry = mRows[type];
    if (!tableAsCreated(type)) return nullptr;

    auto rows = std::make_unique<Rows>();
    SqliteStatement statement;
    if (statement.prepare(mDb, std::string("SELECT * FROM ") + DatabaseHelper::kTableNames[type]) !=
        SQLITE_OK) {
        return nullptr;
    }
    for (int i = 0; i < statement.columnCount(); ++i) {
        rows->columns.push_back(statement.columnName(i));
    }
    // A parameter column of a table as created holds text, a blob or NULL, and its readers
    // take a blob as they take text: only where there is no text is its type asked for. The
    // other columns, which queries find rows by, keep their type. No reader uses _id.
    enum class Read { kSkipped, kTyped, kParameter };
    std::vector<Read> reads;
    for (const std::string& column : rows->columns) {
        reads.push_back(column == "_id"                        ? Read::kSkipped
                        : mParameterColumns.count(column) != 0 ? Read::kParameter
                                                               : Read::kTyped);
    }
    int rc;
    while ((rc = statement.step()) == SQLITE_ROW) {
        for (size_t i = 0; i < rows->columns.size(); ++i) {
            // Each cell is taken once and read as a value: one turn of the connection's mutex
            // instead of one per call (see the class comment for why that is safe).
            Cell cell{SQLITE_NULL, 0, {}};
            if (reads[i] != Read::kSkipped) {
                sqlite3_value* value = sqlite3_column_value(statement.get(), static_cast<int>(i));
                if (reads[i] == Read::kTyped) {
                    cell = cellOf(value);
                } else {
                    bool present = false;
                    cell.text = value_view(value, &present);
                    cell.type = present ? SQLITE_TEXT : sqlite3_value_type(value);
                }
            }
            cell.text = rows->keep(cell.text);
            rows->cells.push_back(cell);
        }
        ++rows->rowCount;
    }
    if (rc != SQLITE_DONE) return nullptr;
    entry = std::move(rows);
    return entry.get();
}

std::string_view TableSnapshot::Rows::keep(std::string_view text) {
    // Blocks of 64 KiB (or of one longer text): each text copied once, never moved by
    // growth; a few blocks hold the largest table.
    constexpr size_t kBlockSize = 64 * 1024;
    if (text.empty()) return std::string_view("", 0);  // never a null pointer
    if (text.size() > blockLeft) {
        const size_t size = std::max(kBlockSize, text.size());
        textBlocks.push_back(std::unique_ptr<char[]>(new char[size]));
        blockNext = textBlocks.back().get();
        blockLeft = size;
    }
    char* const at = blockNext;
    std::memcpy(at, text.data(), text.size());
    blockNext += text.size();
    blockLeft -= text.size();
    return std::string_view(at, text.size());
}

bool TableSnapshot::forEachRow(TableType type, const KeyValues& keys,
                               const std::function<void(Rows&, size_t)>& visit) {
    // A zero byte would cut the statement's text short; such a key keeps its statement.
    for (const auto& key : keys) {
        if (key.second.find('\0') != std::string::npos) return false;
    }
    Rows* stored = rows(type);
    if (stored == nullptr) return false;
    std::vector<size_t> positions;
    positions.reserve(keys.size());
    for (const auto& key : keys) {
        auto at = std::find(stored->columns.begin(), stored->columns.end(), key.first);
        if (at == stored->columns.end()) return false;
        positions.push_back(static_cast<size_t>(at - stored->columns.begin()));
    }
    auto index = stored->indexes.find(positions);
    if (index == stored->indexes.end()) {
        index =
            stored->indexes.emplace(positions, std::map<std::string, std::vector<size_t>>()).first;
        // Only a text equals the quoted text of a statement; NULL never does.
        for (size_t row = 0; row < stored->rowCount; ++row) {
            std::string joined;
            bool text = true;
            for (size_t position : positions) {
                const Cell& cell = stored->cell(row, position);
                text = text && cell.type == SQLITE_TEXT &&
                       cell.text.find('\0') == std::string_view::npos;
                joined += cell.text;
                joined += '\0';
            }
            if (text) index->second[joined].push_back(row);
        }
    }
    // Kept between queries: start-up asks once per record.
    mJoinedKey.clear();
    for (const auto& key : keys) {
        mJoinedKey += key.second;
        mJoinedKey += '\0';
    }
    auto found = index->second.find(mJoinedKey);
    if (found != index->second.end()) {
        for (size_t row : found->second) visit(*stored, row);
    }
    return true;
}

}  // namespace velora
