/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace velora {

// The callback object of one registration stream: what the service holds for a client that
// registered over velorad's socket. onPexParamUpdate() only queues a copy of the bytes; the
// stream's own handler thread takes them off the queue and writes them to the client, so the
// service's event loop never waits on a client's connection.
//
// Threading: onPexParamUpdate() comes from the service's event loop (registry lock held),
// next() from the stream's handler thread, close() from any thread.
class StreamCallback : public ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks {
  public:
    // Callbacks a client may fall behind by, by default, before it counts as stuck and is
    // dropped.
    static constexpr size_t kMaxQueued = 4096;

    // Why the daemon ends a stream from its side.
    enum class Close { Unregistered, Shutdown, Overflow };

    // Called once, with this stream, when the client falls `maxQueued` callbacks behind. It
    // runs inside the service's call, with the service's registry lock held, so it must not
    // declare the client dead itself: it hands that to another thread, as the transport
    // reports a dead process on a device. Calls made until the service has let the client go
    // are dropped without a failure, so that the log says once that it was dropped.
    using CutOff = std::function<void(const ::android::sp<StreamCallback>&)>;
    StreamCallback(int type, uint32_t uid, CutOff cutOff, size_t maxQueued = kMaxQueued);

    ::android::hardware::Return<void> onPexParamUpdate(
        const ::android::hardware::hidl_vec<uint8_t>& data) override;

    enum class Next { Buffer, Closed, Idle };
    // The next queued buffer, waiting up to `timeoutNs`. Closed once the daemon closed the
    // stream and the queue is empty, so a client that unregisters still gets every callback
    // made before.
    Next next(int64_t timeoutNs, std::string* buffer);

    // Ends the stream from the daemon's side; further callbacks are refused as to a dead
    // client. The first reason given sticks.
    void close(Close reason);
    // Refuses further callbacks: the client's connection is gone.
    void disconnect();
    bool closedBy(Close* reason) const;
    // Forgets the cut-off, before what it refers to goes away.
    void detachCutOff();

    int getType() const { return mType; }
    uint32_t getUid() const { return mUid; }
    // The service's registry key.
    uint32_t getKey() const { return mUid + static_cast<uint32_t>(mType); }

  private:
    const int mType;
    const uint32_t mUid;
    const size_t mMaxQueued;
    mutable ::android::Mutex mLock;
    ::android::Condition mChanged;
    std::deque<std::string> mQueue GUARDED_BY(mLock);
    bool mClosed GUARDED_BY(mLock) = false;
    Close mCloseReason GUARDED_BY(mLock) = Close::Unregistered;
    bool mDisconnected GUARDED_BY(mLock) = false;
    CutOff mCutOff GUARDED_BY(mLock);
};

}  // namespace velora
