/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <hidl/HidlSupport.h>
#include <utils/RefBase.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace velora::bench {

// The clients' side of the notifications: a set of callbacks, as registered clients hold
// them, that count every call they receive, so that a writer can wait until every client
// heard of its write.
//
// Threading: callbacks are called on the service's event loop; waiting happens on the
// writer's thread.
class CallbackHub {
  public:
    using IKptCallbacks = ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks;

    // A packed set buffer with a command the service ignores: clients are still told, so a
    // client that receives it knows that everything posted before it was handled.
    static constexpr int32_t kMarkerCommand = 0x7f000000;

    explicit CallbackHub(int clients);

    int clients() const { return static_cast<int>(mCallbacks.size()); }
    const android::sp<IKptCallbacks>& callback(int index) const { return mCallbacks[index]; }

    // Calls received so far by all callbacks together.
    uint64_t total();
    // Waits until total() reaches target; false on timeout.
    bool waitForTotal(uint64_t target, std::chrono::milliseconds timeout);
    // Waits until every callback has received the marker with this sequence number.
    bool waitForMarker(int32_t sequence, std::chrono::milliseconds timeout);

    void onUpdate(int index, const ::android::hardware::hidl_vec<uint8_t>& data);

  private:
    std::vector<android::sp<IKptCallbacks>> mCallbacks;
    std::mutex mLock;
    std::condition_variable mChanged;
    uint64_t mTotal = 0;
    uint64_t mWaitingFor = UINT64_MAX;
    std::vector<int32_t> mMarkers;
};

}  // namespace velora::bench
