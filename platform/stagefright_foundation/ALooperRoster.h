/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <map>
#include <vector>

namespace android {

// The process-wide table of registered handlers: which looper each handler id belongs to.
// A message carries only its target's id, so posting and delivery both go through here; an id
// that has been unregistered is simply no longer found, which is what drops its messages.
// Threading: every operation takes the roster's lock; no handler code runs under it.
class ALooperRoster {
  public:
    static ALooperRoster& getInstance();

    ALooper::handler_id registerHandler(const sp<ALooper>& looper, const sp<AHandler>& handler);
    void unregisterHandler(ALooper::handler_id id);
    // Forgets every handler of a looper that is going away.
    void unregisterHandlersOf(const ALooper* looper);

    sp<ALooper> findLooper(ALooper::handler_id id);
    // The handler, if it is still registered with `looper` and still alive.
    sp<AHandler> findHandler(ALooper::handler_id id, const ALooper* looper);

  private:
    ALooperRoster() = default;

    struct Entry {
        wp<ALooper> looper;
        const ALooper* looperKey;  // identity only, never dereferenced
        wp<AHandler> handler;
    };

    Mutex mLock;
    std::map<ALooper::handler_id, Entry> mHandlers GUARDED_BY(mLock);
    ALooper::handler_id mNextHandlerID GUARDED_BY(mLock) = 1;
};

}  // namespace android
