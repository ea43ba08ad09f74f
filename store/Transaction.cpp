/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "store/Transaction.h"

#include <cerrno>

#include "store/DatabaseHelper.h"

namespace velora {

Transaction::Transaction(DatabaseHelper& db) : mDb(db), mFailuresAtStart(db.getFailureCount()) {
    if (!mDb.isOpen()) {
        mStatus = -ENODEV;
        return;
    }
    mDb.enterTransaction();
    mInScope = true;
    if (mDb.inTransaction()) {
        mJoined = true;
        return;
    }
    if (mDb.beginTransaction() != 0) {
        mStatus = mDb.getLastError();
        return;
    }
    mOpen = true;
}

Transaction::~Transaction() { end(); }

void Transaction::end() {
    if (mOpen && mDb.inTransaction()) mDb.rollbackTransaction();
    mOpen = false;
    if (mInScope) mDb.leaveTransaction();
    mInScope = false;
}

int Transaction::commit() {
    if (mStatus != 0) return mStatus;
    if (!mJoined && !mOpen) return mStatus = -EINVAL;  // committed already
    if (mDb.getFailureCount() != mFailuresAtStart) {
        mStatus = mDb.getLastError();
        end();
        return mStatus;
    }
    if (mJoined) return 0;
    if (mDb.commitTransaction() != 0) {
        mStatus = mDb.getLastError();
        end();
        return mStatus;
    }
    mOpen = false;
    end();
    return 0;
}

}  // namespace velora
