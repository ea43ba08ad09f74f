/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velora {

// velorad's life: hosts one VeloraManagerService over a filesystem root, as the vendor service
// process does on a device, and serves it on a Unix socket until SIGINT or SIGTERM. Then, in
// order: no new calls are taken, the registration streams are ended, the server stops, and the
// service is destroyed, which saves the whole state.
//
// Threading: run() is called once, from the main thread, with SIGINT and SIGTERM blocked in
// every thread of the process (it waits for them with sigwait).
class Daemon {
  public:
    struct Options {
        std::string root;
        // Empty: velorad.sock in the root folder.
        std::string socket;
        // Time from a change to the save that carries it; 0 saves the settings only when a
        // client unregisters and at the end.
        int64_t saveDelayMs = 1000;
        // Callbacks a registered client may fall behind by before it is dropped as dead.
        size_t maxQueuedCallbacks = 4096;
    };

    explicit Daemon(Options options);

    // The process's exit status: 0 after a clean shutdown, 1 when it could not start.
    int run();

    static std::string defaultSocket(const std::string& root);

  private:
    Options mOptions;
};

}  // namespace velora
