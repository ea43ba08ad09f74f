/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/TableType.h"

namespace velora {

class DatabaseHelper;

// What the user chose, read from a settings database before it is rebuilt (from a changed
// tuning file, or because it is damaged) so that the rebuilt one keeps it: the "custom" rows
// of profiles, profile endpoints and GEQ presets with their stored texts (only the values that
// differ from the earlier defaults: the others take the new defaults), the effect on/off
// state, the selected profile and the tuning device of each port. A table or row that cannot
// be read is skipped; whatever could be read is kept.
//
// Threading: not thread-safe; used once during start-up.
class SettingsCarryOver {
  public:
    // Column name and stored text (nullopt for NULL).
    using Cell = std::pair<std::string, std::optional<std::string>>;
    struct Row {
        TableType table;
        std::vector<Cell> cells;  // without _id and custom_name
        // The earlier default row's text of each column, where that row could be read.
        std::map<std::string, std::optional<std::string>> earlier;
    };

    // Counts of what applyTo placed, for its report.
    struct Outcome {
        int rowsCarried = 0;
        int rowsDropped = 0;
        int valuesCarried = 0;  // values that differ from the new default
        int valuesDropped = 0;
        int settingsCarried = 0;  // on/off, selected profile, device per port
        int settingsDropped = 0;
        int dropped() const { return rowsDropped + valuesDropped + settingsDropped; }
    };

    // Reads from db, which may be damaged; nothing is logged for what cannot be read.
    void readFrom(DatabaseHelper& db);
    // Writes what was read into a freshly rebuilt db, inside the caller's transaction. A
    // custom row whose profile (and endpoint) the rebuilt database still has gives it every
    // value whose parameter the new default row still holds with as many elements; a
    // configuration value replaces the rebuilt one when the rebuilt database still knows the
    // profile or the port's device. What has no place any more keeps the new default, with
    // one warning line naming it.
    Outcome applyTo(DatabaseHelper& db) const;

    bool empty() const { return mRows.empty() && mConfiguration.empty(); }

  private:
    std::vector<Row> mRows;
    // Key and the value of its last row.
    std::map<std::string, std::string> mConfiguration;
};

}  // namespace velora
