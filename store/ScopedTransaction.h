/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include "store/DatabaseHelper.h"

namespace velora {

// An exclusive transaction on the settings database that is rolled back when the scope ends
// without commit(), so that a bulk write that stops half-way leaves the database as it was
// and the connection is never left holding the exclusive lock.
//
// Not thread-safe; the helper must outlive the guard.
class ScopedTransaction {
  public:
    explicit ScopedTransaction(DatabaseHelper& db) : mDb(db) {
        mActive = mDb.beginTransaction() == 0;
    }
    ~ScopedTransaction() {
        if (mActive) mDb.rollbackTransaction();
    }
    ScopedTransaction(const ScopedTransaction&) = delete;
    ScopedTransaction& operator=(const ScopedTransaction&) = delete;

    // True while the transaction is open: BEGIN succeeded and neither commit nor the
    // destructor has ended it yet.
    bool isActive() const { return mActive; }

    // 0 when the transaction was committed. A failed COMMIT leaves the transaction to the
    // destructor's rollback.
    int commit() {
        if (!mActive) return 1;
        int result = mDb.commitTransaction();
        if (result == 0) mActive = false;
        return result;
    }

  private:
    DatabaseHelper& mDb;
    bool mActive = false;
};

}  // namespace velora
