/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/SignalWatcher.h"

#include <signal.h>
#include <unistd.h>

namespace velora {

namespace {

sigset_t watched_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    // Only ever sent by the destructor, to end the waiting thread.
    sigaddset(&set, SIGUSR1);
    return set;
}

}  // namespace

SignalWatcher::SignalWatcher() {
    sigset_t set = watched_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    mThread = std::thread([this] { run(); });
    mThreadHandle = mThread.native_handle();
}

SignalWatcher::~SignalWatcher() {
    pthread_kill(mThreadHandle, SIGUSR1);
    mThread.join();
}

void SignalWatcher::setHandler(std::function<void()> handler) {
    std::lock_guard<std::mutex> guard(mLock);
    mHandler = std::move(handler);
}

void SignalWatcher::run() {
    sigset_t set = watched_signals();
    for (;;) {
        int signal = 0;
        if (sigwait(&set, &signal) != 0) continue;
        if (signal == SIGUSR1) return;
        std::function<void()> handler;
        {
            std::lock_guard<std::mutex> guard(mLock);
            handler = mHandler;
        }
        if (!handler || mHandled.exchange(true)) _exit(128 + signal);
        handler();
    }
}

}  // namespace velora
