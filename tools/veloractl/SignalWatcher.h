/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <pthread.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace velora {

// Takes SIGINT and SIGTERM off every thread of the process and waits for them on a thread of
// its own. Must be created before any other thread (gRPC starts some), so that the mask is
// inherited everywhere and no transport thread is killed by a signal meant for the program.
// Without a handler a signal ends the process as the default action would (status 128 +
// signal); with one, the first signal calls it and a second one ends the process.
class SignalWatcher {
  public:
    SignalWatcher();
    ~SignalWatcher();
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;

    void setHandler(std::function<void()> handler);

  private:
    void run();

    std::mutex mLock;
    std::function<void()> mHandler;
    std::atomic<bool> mHandled{false};
    pthread_t mThreadHandle{};
    std::thread mThread;
};

}  // namespace velora
