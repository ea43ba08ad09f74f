/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/CallbackHub.h"

#include <hidl/Status.h>

#include <cstring>

namespace velora::bench {

namespace {

class CountingCallback : public CallbackHub::IKptCallbacks {
  public:
    CountingCallback(CallbackHub* hub, int index) : mHub(hub), mIndex(index) {}

    ::android::hardware::Return<void> onPexParamUpdate(
        const ::android::hardware::hidl_vec<uint8_t>& data) override {
        mHub->onUpdate(mIndex, data);
        return ::android::hardware::Void();
    }

  private:
    CallbackHub* const mHub;
    const int mIndex;
};

}  // namespace

CallbackHub::CallbackHub(int clients) : mMarkers(clients, -1) {
    for (int i = 0; i < clients; ++i) mCallbacks.push_back(new CountingCallback(this, i));
}

uint64_t CallbackHub::total() {
    std::lock_guard<std::mutex> guard(mLock);
    return mTotal;
}

bool CallbackHub::waitForTotal(uint64_t target, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mLock);
    mWaitingFor = target;
    bool reached = mChanged.wait_for(lock, timeout, [&] { return mTotal >= target; });
    mWaitingFor = UINT64_MAX;
    return reached;
}

bool CallbackHub::waitForMarker(int32_t sequence, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mLock);
    return mChanged.wait_for(lock, timeout, [&] {
        for (int32_t seen : mMarkers) {
            if (seen < sequence) return false;
        }
        return true;
    });
}

void CallbackHub::onUpdate(int index, const ::android::hardware::hidl_vec<uint8_t>& data) {
    int32_t words[3] = {0, 0, 0};
    bool marker = false;
    if (data.size() >= sizeof(words)) {
        memcpy(words, data.data(), sizeof(words));
        marker = words[0] == kMarkerCommand;
    }
    std::lock_guard<std::mutex> guard(mLock);
    ++mTotal;
    if (marker) {
        mMarkers[index] = words[2];
        mChanged.notify_all();
    } else if (mTotal >= mWaitingFor) {
        // Only the writer's target wakes it: one wake-up per write, as a client would see.
        mChanged.notify_all();
    }
}

}  // namespace velora::bench
