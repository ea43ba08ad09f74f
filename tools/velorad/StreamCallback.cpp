/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "velorad"

#include "tools/velorad/StreamCallback.h"

#include <log/log.h>
#include <utils/Errors.h>

namespace velora {

using ::android::Mutex;
using ::android::hardware::Return;
using ::android::hardware::Status;

StreamCallback::StreamCallback(int type, uint32_t uid, CutOff cutOff, size_t maxQueued)
    : mType(type), mUid(uid), mMaxQueued(maxQueued), mCutOff(std::move(cutOff)) {}

Return<void> StreamCallback::onPexParamUpdate(const ::android::hardware::hidl_vec<uint8_t>& data) {
    Mutex::Autolock _l(mLock);
    if (mClosed && mCloseReason == Close::Overflow) {
        return ::android::hardware::Void();  // already reported, and on its way out
    }
    if (mClosed || mDisconnected) {
        // As the transport answers a call to a client whose process has gone.
        return Status::fromStatusT(::android::DEAD_OBJECT);
    }
    if (mQueue.size() >= mMaxQueued) {
        ALOGW("client uid %u type %d is %zu callbacks behind; dropping it", mUid, mType,
              mQueue.size());
        mClosed = true;
        mCloseReason = Close::Overflow;
        mQueue.clear();
        mChanged.broadcast();
        if (mCutOff) mCutOff(this);
        return ::android::hardware::Void();
    }
    mQueue.emplace_back(reinterpret_cast<const char*>(data.data()), data.size());
    mChanged.broadcast();
    return ::android::hardware::Void();
}

StreamCallback::Next StreamCallback::next(int64_t timeoutNs, std::string* buffer) {
    Mutex::Autolock _l(mLock);
    if (mQueue.empty() && !mClosed) mChanged.waitRelative(mLock, timeoutNs);
    // An overflowing client is cut off at once; otherwise the queue drains first.
    if (!mQueue.empty() && !(mClosed && mCloseReason == Close::Overflow)) {
        *buffer = std::move(mQueue.front());
        mQueue.pop_front();
        return Next::Buffer;
    }
    return mClosed ? Next::Closed : Next::Idle;
}

void StreamCallback::close(Close reason) {
    Mutex::Autolock _l(mLock);
    if (!mClosed) {
        mClosed = true;
        mCloseReason = reason;
    }
    mChanged.broadcast();
}

void StreamCallback::disconnect() {
    Mutex::Autolock _l(mLock);
    mDisconnected = true;
    mQueue.clear();
}

void StreamCallback::detachCutOff() {
    Mutex::Autolock _l(mLock);
    mCutOff = nullptr;
}

bool StreamCallback::closedBy(Close* reason) const {
    Mutex::Autolock _l(mLock);
    if (mClosed) *reason = mCloseReason;
    return mClosed;
}

}  // namespace velora
