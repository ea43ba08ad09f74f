/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "service/VeloraManagerService.h"

namespace android {

// The service's event loop: client writes (packed set buffers, tuning-device selections) and
// registrations are posted here as messages and handled one at a time on the looper's own
// thread, in posting order; after each message every registered client is called back with
// the message's buffer.
//
// Threading: sendMessage() may be called from any thread; onMessageReceived() and everything
// it calls run on the looper thread only.
class VeloraManagerService::EventHandler : public AHandler {
  public:
    // Message kinds.
    static constexpr uint32_t kWhatRegisterClient = fourcc("regc");
    static constexpr uint32_t kWhatSetTuning = fourcc("sett");
    static constexpr uint32_t kWhatSetParam = fourcc("setp");
    // A reload of the tuning file, run here so that the state changes it causes are delivered
    // on the same thread as every other change.
    static constexpr uint32_t kWhatReloadTuning = fourcc("rltf");
    // A marker that tells a waiting flush() that every message posted before it is handled.
    static constexpr uint32_t kWhatFlush = fourcc("flsh");
    // The save that follows changes of the state by the save delay. At most one is pending;
    // changes made while it waits are saved with it.
    static constexpr uint32_t kWhatSave = fourcc("save");
    // A save failed: the state is saved again one save delay later, until a save succeeds.
    static constexpr uint32_t kWhatSaveFailed = fourcc("savf");

    // Commands of the packed set buffer (word 0; the number sits in the top byte).
    static constexpr uint32_t kSetPexOn = 0x00000000;
    static constexpr uint32_t kSetParameter = 0x01000000;
    static constexpr uint32_t kSetPortParameter = 0x02000000;
    static constexpr uint32_t kSetSelectedProfile = 0x0A000000;
    static constexpr uint32_t kResetProfile = 0x0C000000;

    static constexpr const char* kLooperName = "VeloraManagerService EventHandler";

    EventHandler(velora::KsManager* manager, VeloraManagerService* service);
    ~EventHandler() override;

    // Registers with the looper and starts its thread.
    void start();
    // Unregisters and stops the looper thread; messages not yet handled are dropped.
    void stop();
    // Waits until every message posted before the call has been handled. Does not wait when
    // called on the looper thread itself or when the loop does not run.
    void flush();

    // Posts a copy of exactly length bytes of data under "buffer".
    void sendMessage(const void* data, unsigned length, unsigned what);
    // The same, with the port under "port".
    void sendMessage(const void* data, unsigned length, int port, unsigned what);

    // Applies a packed set buffer, writing the applied value back into word 1 where the
    // command has one.
    void parseAndSendParam(void* buffer, unsigned length);

    // Asks for the save to be tried again one save delay from now; any thread.
    void retrySave();

  protected:
    void onMessageReceived(const sp<AMessage>& msg) override;

  private:
    // Called after every message: when the state changed, a save is requested.
    void noteStateChanges();
    // Posts the save to run one save delay from now, unless one is pending already (or the
    // delay is 0). Looper thread only.
    void requestSave();
    void onSaveDue();

    sp<ALooper> mLooper;
    velora::KsManager* const mKsManager;
    VeloraManagerService* const mService;
    // The looper thread, known once it has handled a message.
    std::atomic<std::thread::id> mLoopThread{};

    Mutex mFlushLock;
    Condition mFlushed;
    int64_t mFlushRequested GUARDED_BY(mFlushLock) = 0;
    int64_t mFlushHandled GUARDED_BY(mFlushLock) = 0;

    // Looper thread only.
    uint64_t mSeenChangeCount = 0;
    bool mSavePending = false;
};

}  // namespace android
