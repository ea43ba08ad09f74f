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

// What the user chose, read from a damaged settings database so that the rebuilt one keeps
// it: the "custom" rows of profiles, profile endpoints and GEQ presets with their stored
// texts, the effect on/off state, the selected profile and the tuning device of each port.
// A table or row that cannot be read is skipped; whatever could be read is kept.
//
// Threading: not thread-safe; used once during start-up.
class SettingsCarryOver {
  public:
    // Counts of what applyTo placed, for its report.
    struct Outcome {
        int rowsCarried = 0;
        int rowsDropped = 0;
        int valuesCarried = 0;
        int valuesDropped = 0;
    };

    // Reads from db, which may be damaged; nothing is logged for what cannot be read.
    void readFrom(DatabaseHelper& db);
    // Writes what was read into a freshly rebuilt db, inside the caller's transaction: a
    // custom row replaces the values of the custom row with the same keys, and a
    // configuration value replaces the rebuilt one, when the rebuilt database still knows the
    // profile, endpoint or device. What has no place any more is dropped with a warning.
    Outcome applyTo(DatabaseHelper& db) const;

    bool empty() const { return mRows.empty() && mConfiguration.empty(); }

  private:
    struct Row {
        TableType table;
        // Column name and stored text (nullopt for NULL), without _id and custom_name.
        std::vector<std::pair<std::string, std::optional<std::string>>> cells;
    };

    std::vector<Row> mRows;
    // Key and the value of its last row.
    std::map<std::string, std::string> mConfiguration;
};

}  // namespace velora
