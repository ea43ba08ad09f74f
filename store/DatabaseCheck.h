/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "store/TableType.h"

namespace velora {

class DatabaseHelper;

// Tells at start-up whether the file behind a database helper is a settings database the
// service can run on: an SQLite file, the seven tables with their columns, the rows a rebuild
// always writes, and (optionally) SQLite's own page check. Nothing is logged and nothing is
// written; the caller decides what the finding means.
//
// Threading: uses the helper's connection like any other reader; not thread-safe itself.
class DatabaseCheck {
  public:
    enum Verdict {
        // Every check passed.
        kSound,
        // Nothing built yet: no tables at all (a new file, or one a failed start left empty).
        kUnbuilt,
        // The file could not be read now (another process holds a lock on it, or it cannot
        // be opened); it may well be fine later.
        kUnavailable,
        // Not a settings database, or one that lost part of itself.
        kDamaged,
    };

    struct Result {
        Verdict verdict = kSound;
        // What is wrong, in words for a log line; empty when sound.
        std::string reason;
        // Record tables that exist with their columns but hold no "default" row. A rebuild
        // writes such rows for every record the tuning file defines, so this is damage only
        // when the tuning file does define that kind of record.
        std::vector<TableType> emptyTables;
    };

    // withPageCheck adds "PRAGMA quick_check", which reads every page of the file.
    static Result examine(DatabaseHelper& db, bool withPageCheck);
    // The same on an open connection (which may be read-only).
    static Result examine(sqlite3* db, bool withPageCheck);
};

}  // namespace velora
