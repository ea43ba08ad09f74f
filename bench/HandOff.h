/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <pexparamstorage/PexParamTypes.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace velora::bench {

// The floor of a client write: the client's bytes are copied and handed to another thread,
// which writes one parameter record into the shared parameter store and commits it, and
// hands the result back. Nothing of the settings logic runs; this is the least a write that
// crosses threads and reaches the effect can cost.
//
// Threading: submit() and waitFor() are called from one client thread.
class HandOff {
  public:
    // Every handed-over buffer is stored as one record (device, id) holding its last word.
    HandOff(uint32_t device, android::PexParameterId id);
    ~HandOff();
    HandOff(const HandOff&) = delete;
    HandOff& operator=(const HandOff&) = delete;

    // Hands a copy of the bytes to the worker; returns the buffer's sequence number.
    uint64_t submit(const void* data, size_t length);
    // Waits until the worker has committed the buffer of this sequence number.
    void waitFor(uint64_t sequence);

  private:
    void run();

    const uint32_t mDevice;
    const android::PexParameterId mId;
    std::mutex mLock;
    std::condition_variable mWork;
    std::condition_variable mDone;
    std::deque<std::vector<uint8_t>> mQueue;
    uint64_t mSubmitted = 0;
    uint64_t mCompleted = 0;
    uint64_t mWaitingFor = UINT64_MAX;
    bool mStop = false;
    std::thread mThread;
};

}  // namespace velora::bench
