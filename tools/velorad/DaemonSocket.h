/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// The filesystem side of starting velorad: one daemon per root, one per socket.
//
// A root is held with an exclusive flock on its folder for the daemon's life: two daemons on
// one root would share one settings database and overwrite each other's saves. The lock goes
// with the process, so a killed daemon leaves nothing to clean up.
class DaemonSocket {
  public:
    // Locks the root folder. False with a message when it is no folder or another process
    // holds it.
    static bool lockRoot(const std::string& root, int* fd, std::string* error);

    // Makes the socket path ready to listen on: refuses a path too long for a Unix socket, a
    // path that exists and is no socket, and a socket some process still answers on; removes a
    // socket left behind by a daemon that was killed. `removedStale` tells whether it did.
    static bool prepare(const std::string& path, bool* removedStale, std::string* error);

    // Owner-only access to the socket, whatever the umask was when it was made.
    static bool restrict(const std::string& path, std::string* error);
};

}  // namespace velora
