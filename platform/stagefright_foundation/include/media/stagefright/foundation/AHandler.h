/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <media/stagefright/foundation/ALooper.h>
#include <utils/RefBase.h>

#include <atomic>

namespace android {

// Receives messages on the thread of the looper it is registered with. A handler is
// registered with at most one looper at a time; id() is 0 while it is not registered.
struct AHandler : public RefBase {
    AHandler();

    ALooper::handler_id id() const { return mID.load(std::memory_order_acquire); }
    // The looper the handler is registered with, or null.
    sp<ALooper> getLooper() const;

  protected:
    ~AHandler() override;
    virtual void onMessageReceived(const sp<AMessage>& msg) = 0;

  private:
    friend struct ALooper;
    friend class ALooperRoster;

    void setID(ALooper::handler_id id) { mID.store(id, std::memory_order_release); }
    void deliverMessage(const sp<AMessage>& msg) { onMessageReceived(msg); }

    std::atomic<ALooper::handler_id> mID;

    AHandler(const AHandler&) = delete;
    AHandler& operator=(const AHandler&) = delete;
};

}  // namespace android
