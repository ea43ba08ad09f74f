/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <memory>
#include <string>

namespace android {

struct AHandler;
struct AMessage;

// A message loop running on one thread of its own. Handlers are registered with a looper and
// receive the messages addressed to them on the looper's thread, one at a time, in the order
// in which they were posted (a delayed message takes its place by due time; messages due at
// the same time keep their posting order).
//
// stop() discards every message that is not yet delivered, lets the one being delivered
// finish and joins the thread. Called from the looper's own thread (inside a handler) it
// cannot join: the loop ends when the current message returns, and the thread is joined by
// the next stop() or start() from another thread, or left to finish on its own by the
// destructor. A stopped looper may be started again; messages posted while it is stopped wait
// for the next start(). Messages addressed to a handler that is unregistered before delivery
// are dropped.
//
// Threading: every operation may be called from any thread.
struct ALooper : public RefBase {
    typedef int32_t handler_id;

    ALooper();

    // The name of the looper's thread (the kernel keeps its first 15 characters), given to the
    // thread by the next start(). getName()'s text stays valid until the next setName().
    void setName(const char* name);
    const char* getName() const;

    // Returns the new handler's id (greater than 0), or INVALID_OPERATION when the handler is
    // null or already registered with a looper.
    handler_id registerHandler(const sp<AHandler>& handler);
    void unregisterHandler(handler_id handlerID);

    // Starts the looper thread. Running the loop on the calling thread is not offered on the
    // host; asking for it, or starting a running looper, gives INVALID_OPERATION. The Java and
    // priority arguments exist for source compatibility and are not used.
    status_t start(bool runOnCallingThread = false, bool canCallJava = false, int32_t priority = 0);
    // Returns INVALID_OPERATION when the looper was not running (it still joins a loop that
    // was stopped from its own thread and discards queued messages).
    status_t stop();

    // Monotonic time in microseconds, the clock of delayed messages.
    static int64_t GetNowUs();

  protected:
    ~ALooper() override;

  private:
    friend struct AMessage;
    struct State;

    void post(const sp<AMessage>& msg, int64_t delayUs);
    static void loop(std::shared_ptr<State> state, const ALooper* owner, uint64_t epoch);

    // Shared with the looper thread, so that the thread may outlive this object when the last
    // reference is dropped on the thread itself.
    std::shared_ptr<State> mState;

    ALooper(const ALooper&) = delete;
    ALooper& operator=(const ALooper&) = delete;
};

}  // namespace android
