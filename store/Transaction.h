/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

class DatabaseHelper;

// An exclusive transaction on the settings database, the one way every writer groups its
// writes. It is rolled back when the scope ends without commit(), so that a bulk write that
// stops half-way leaves the database as it was and the connection never keeps the exclusive
// lock. Opened while another is open, it joins that one: its writes commit or roll back with
// the outer transaction, and its commit() only reports whether they all succeeded.
//
// Once a statement inside fails, the database helper runs no further statement until the
// transaction ends: they could only fail the same way, or, when SQLite has ended the
// transaction on the failure, land outside it. commit() then rolls back and reports the
// failure's cause.
//
// Not thread-safe; the helper must outlive the guard.
class Transaction {
  public:
    explicit Transaction(DatabaseHelper& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // 0 while the transaction is open (its own or the one it joined); otherwise the negative
    // errno it could not start with (-ENODEV without a database, -EBUSY when another
    // connection holds the lock, -ENOSPC, -EIO, ...), or that ended it.
    int status() const { return mStatus; }
    bool isJoined() const { return mJoined; }

    // 0 when every statement since the start succeeded and, for a transaction of its own,
    // COMMIT succeeded; otherwise the negative errno of the first failure, and a transaction
    // of its own is rolled back.
    int commit();

  private:
    void end();

    DatabaseHelper& mDb;
    int mStatus = 0;
    bool mJoined = false;
    bool mOpen = false;  // a transaction of its own, not yet ended
    bool mInScope = false;
    unsigned mFailuresAtStart = 0;
};

}  // namespace velora
