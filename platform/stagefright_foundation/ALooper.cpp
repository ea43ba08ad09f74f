/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "ALooper"

#include <android-base/thread_annotations.h>
#include <log/log.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <pthread.h>
#include <time.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <map>
#include <thread>

#include "ALooperRoster.h"

namespace android {

struct ALooper::State {
    Mutex lock;
    Condition queueChanged;
    std::string name GUARDED_BY(lock) = "ALooper";
    // Ordered by due time; a multimap keeps messages of equal due time in insertion order.
    std::multimap<int64_t, sp<AMessage>> queue GUARDED_BY(lock);
    std::thread thread GUARDED_BY(lock);
    bool running GUARDED_BY(lock) = false;
    // Each start() begins a new epoch, each stop() ends it; a loop runs only while the epoch
    // it was started in is current.
    uint64_t epoch GUARDED_BY(lock) = 0;
};

ALooper::ALooper() : mState(std::make_shared<State>()) {}

ALooper::~ALooper() {
    stop();
    ALooperRoster::getInstance().unregisterHandlersOf(this);
    std::thread thread;
    {
        Mutex::Autolock lock(mState->lock);
        thread = std::move(mState->thread);
    }
    // Only left joinable when the last reference went away on the looper thread itself: the
    // thread then finishes on its own, keeping the shared state alive until it returns.
    if (thread.joinable()) thread.detach();
}

void ALooper::setName(const char* name) {
    Mutex::Autolock lock(mState->lock);
    mState->name = name != nullptr ? name : "";
}

const char* ALooper::getName() const {
    Mutex::Autolock lock(mState->lock);
    return mState->name.c_str();
}

ALooper::handler_id ALooper::registerHandler(const sp<AHandler>& handler) {
    return ALooperRoster::getInstance().registerHandler(this, handler);
}

void ALooper::unregisterHandler(handler_id handlerID) {
    ALooperRoster::getInstance().unregisterHandler(handlerID);
}

int64_t ALooper::GetNowUs() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000LL + now.tv_nsec / 1000;
}

status_t ALooper::start(bool runOnCallingThread, bool /*canCallJava*/, int32_t /*priority*/) {
    if (runOnCallingThread) {
        ALOGE("start: running the loop on the calling thread is not supported");
        return INVALID_OPERATION;
    }
    std::thread previous;
    {
        Mutex::Autolock lock(mState->lock);
        if (mState->running) {
            return INVALID_OPERATION;
        }
        // A loop stopped from its own thread may still be finishing its last message; it
        // carries an older epoch and ends without touching the queue again.
        previous = std::move(mState->thread);
        mState->running = true;
        mState->epoch++;
        mState->thread = std::thread(&ALooper::loop, mState, this, mState->epoch);
    }
    if (previous.joinable()) {
        if (previous.get_id() == std::this_thread::get_id()) {
            previous.detach();
        } else {
            previous.join();
        }
    }
    return OK;
}

status_t ALooper::stop() {
    std::thread thread;
    std::multimap<int64_t, sp<AMessage>> dropped;  // released after the lock
    bool wasRunning;
    {
        Mutex::Autolock lock(mState->lock);
        wasRunning = mState->running;
        mState->running = false;
        mState->epoch++;
        dropped.swap(mState->queue);
        mState->queueChanged.broadcast();
        // The looper's own thread cannot join itself: its loop ends after the current
        // message, and the thread is joined by the next stop() or start() from elsewhere.
        if (mState->thread.get_id() != std::this_thread::get_id()) {
            thread = std::move(mState->thread);
        }
    }
    if (thread.joinable()) thread.join();
    return wasRunning ? OK : INVALID_OPERATION;
}

void ALooper::post(const sp<AMessage>& msg, int64_t delayUs) {
    Mutex::Autolock lock(mState->lock);
    // The due time is taken under the lock, so that messages posted without delay from
    // different threads are queued in the order in which they were posted.
    const int64_t whenUs = GetNowUs() + (delayUs > 0 ? delayUs : 0);
    mState->queue.emplace(whenUs, msg);
    mState->queueChanged.signal();
}

void ALooper::loop(std::shared_ptr<State> state, const ALooper* owner, uint64_t epoch) {
    {
        Mutex::Autolock lock(state->lock);
        // The kernel keeps 15 characters of a thread's name.
        pthread_setname_np(pthread_self(), state->name.substr(0, 15).c_str());
    }
    for (;;) {
        sp<AMessage> msg;
        {
            Mutex::Autolock lock(state->lock);
            for (;;) {
                if (state->epoch != epoch) return;
                if (state->queue.empty()) {
                    state->queueChanged.wait(state->lock);
                    continue;
                }
                auto first = state->queue.begin();
                const int64_t nowUs = GetNowUs();
                if (first->first > nowUs) {
                    state->queueChanged.waitRelative(state->lock, (first->first - nowUs) * 1000);
                    continue;
                }
                msg = first->second;
                state->queue.erase(first);
                break;
            }
        }
        // The handler is looked up at delivery, so one unregistered after posting gets
        // nothing; it runs without the looper's lock, so it may post or stop freely.
        sp<AHandler> handler = ALooperRoster::getInstance().findHandler(msg->target(), owner);
        if (handler != nullptr) {
            handler->deliverMessage(msg);
        }
    }
}

}  // namespace android
