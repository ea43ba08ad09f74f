/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/velorad/DaemonSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace velora {

namespace {

std::string errno_text(int error) { return std::strerror(error); }

}  // namespace

bool DaemonSocket::lockRoot(const std::string& root, int* fd, std::string* error) {
    *fd = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (*fd < 0) {
        *error = "cannot open root " + root + ": " + errno_text(errno);
        return false;
    }
    if (flock(*fd, LOCK_EX | LOCK_NB) != 0) {
        const int lockError = errno;
        close(*fd);
        *fd = -1;
        *error = lockError == EWOULDBLOCK
                     ? "another velorad is already running on root " + root
                     : "cannot lock root " + root + ": " + errno_text(lockError);
        return false;
    }
    return true;
}

bool DaemonSocket::prepare(const std::string& path, bool* removedStale, std::string* error) {
    *removedStale = false;
    sockaddr_un address{};
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        *error = "socket path must be 1 to " + std::to_string(sizeof(address.sun_path) - 1) +
                 " bytes long, " + path + " has " + std::to_string(path.size()) +
                 " (give a shorter one with --socket)";
        return false;
    }
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) return true;
        *error = "cannot check socket " + path + ": " + errno_text(errno);
        return false;
    }
    if (!S_ISSOCK(st.st_mode)) {
        *error = path + " exists and is not a socket; not touching it";
        return false;
    }
    // A socket file outlives a killed daemon. If nobody accepts on it, it is stale.
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) {
        *error = std::string("cannot make a socket: ") + errno_text(errno);
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int connected =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int connectError = errno;
    close(probe);
    if (connected == 0) {
        *error = "another velorad answers on " + path;
        return false;
    }
    if (connectError != ECONNREFUSED) {
        *error = "cannot check socket " + path + ": " + errno_text(connectError);
        return false;
    }
    if (unlink(path.c_str()) != 0) {
        *error = "cannot remove stale socket " + path + ": " + errno_text(errno);
        return false;
    }
    *removedStale = true;
    return true;
}

bool DaemonSocket::restrict(const std::string& path, std::string* error) {
    if (chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
        *error = "cannot restrict socket " + path + ": " + errno_text(errno);
        return false;
    }
    return true;
}

}  // namespace velora
