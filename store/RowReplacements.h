/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/TableType.h"

namespace velora {

// The row replacements of one save, kept per table until the save ends. Replacing a row
// deletes it and inserts it again at the table's end, so a save that replaces a table's rows
// r1..rk leaves them, in that order, as the table's last k rows. When they are that already,
// each with exactly the values it would be written with and no other row sharing its keys,
// the replacements would leave the table byte for byte as it is: they are dropped, and a
// save that changes nothing writes nothing. Otherwise every one of them is made, in order.
//
// Not thread-safe; used by the database helper under its caller's serialisation.
class RowReplacements {
  public:
    using KeyValues = std::vector<std::pair<std::string, std::string>>;  // column, text
    struct Replacement {
        KeyValues keys;         // the columns the DELETE finds the row by
        std::string deleteSql;  // the DELETE as it runs when the replacement is made
        long long id;           // the _id the row keeps
        std::vector<std::optional<std::string>> values;  // every column after _id
    };

    void add(TableType table, Replacement replacement) {
        mPending[table].push_back(std::move(replacement));
    }
    bool empty() const { return mPending.empty(); }
    // The replacements kept for table, handed over in order.
    std::vector<Replacement> take(TableType table);
    // Every table that has replacements kept.
    std::vector<TableType> tables() const;
    void clear() { mPending.clear(); }

    // True when replacing table's rows by replacements would leave the table as it is.
    static bool alreadyHeld(sqlite3* db, TableType table,
                            const std::vector<Replacement>& replacements);

  private:
    std::map<TableType, std::vector<Replacement>> mPending;
};

}  // namespace velora
