/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/HandOff.h"

#include <pexparamstorage/PexParamStore.h>

#include <cstring>

namespace velora::bench {

HandOff::HandOff(uint32_t device, android::PexParameterId id)
    : mDevice(device), mId(id), mThread([this] { run(); }) {}

HandOff::~HandOff() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mStop = true;
    }
    mWork.notify_one();
    mThread.join();
}

uint64_t HandOff::submit(const void* data, size_t length) {
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    std::vector<uint8_t> copy(bytes, bytes + length);
    uint64_t sequence;
    {
        std::lock_guard<std::mutex> guard(mLock);
        mQueue.push_back(std::move(copy));
        sequence = ++mSubmitted;
    }
    mWork.notify_one();
    return sequence;
}

void HandOff::waitFor(uint64_t sequence) {
    std::unique_lock<std::mutex> lock(mLock);
    mWaitingFor = sequence;
    mDone.wait(lock, [&] { return mCompleted >= sequence; });
    mWaitingFor = UINT64_MAX;
}

void HandOff::run() {
    android::PexParamStore& store = android::PexParamStore::getInstance();
    std::unique_lock<std::mutex> lock(mLock);
    for (;;) {
        mWork.wait(lock, [&] { return mStop || !mQueue.empty(); });
        if (mQueue.empty()) return;
        std::vector<uint8_t> buffer = std::move(mQueue.front());
        mQueue.pop_front();
        lock.unlock();
        int32_t value = 0;
        if (buffer.size() >= sizeof(value)) {
            memcpy(&value, buffer.data() + buffer.size() - sizeof(value), sizeof(value));
        }
        store.setParam(mDevice, mId, &value, 1);
        store.commitChange();
        lock.lock();
        ++mCompleted;
        if (mCompleted >= mWaitingFor) mDone.notify_one();
    }
}

}  // namespace velora::bench
