/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// The life of the service process vendor.velora.hardware.kpt@2.0-service: one
// VeloraManagerService behind the interface glue, registered as the "default" IKpt, serving
// calls until SIGTERM or SIGINT (init's stop). Then, in order: calls are refused, the calls in
// progress finish, the service applies what it accepted and saves everything.
//
// Threading: run() blocks SIGTERM and SIGINT on the calling thread before it starts any
// thread, so every thread it starts leaves them to the one that waits for them. The caller
// must be the first thread of the process, or have them blocked in every other thread.
class KptServiceProcess {
  public:
    // Threads that serve incoming calls, the caller's included.
    static constexpr int kRpcThreads = 4;

    // The exit status: 0 after a stop signal (on a device the process ends there), 1 when
    // the service could not be registered.
    static int run();
};

}  // namespace velora
