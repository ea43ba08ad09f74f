/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "store/StatementCache.h"

namespace velora {

SqliteStatement* StatementCache::get(const std::string& sql) {
    if (mDb == nullptr) return nullptr;
    auto found = mStatements.find(sql);
    if (found == mStatements.end()) {
        auto prepared = std::make_unique<SqliteStatement>();
        if (prepared->prepare(mDb, sql) != SQLITE_OK) return nullptr;
        found = mStatements.emplace(sql, std::move(prepared)).first;
    }
    sqlite3_reset(found->second->get());
    sqlite3_clear_bindings(found->second->get());
    return found->second.get();
}

}  // namespace velora
