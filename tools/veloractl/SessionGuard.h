/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <functional>
#include <utility>

#include "tools/common/ExitStatus.h"

namespace velora {

// Ends a command's client session however the command returns. finish() ends it with the
// command's status and gives the status to exit with (the end of a session is the service's
// save, which may change it); a command that returns early without finish() has failed, and
// the guard ends the session as a failure.
class SessionGuard {
  public:
    using Close = std::function<int(int status)>;

    explicit SessionGuard(Close close) : mClose(std::move(close)) {}
    SessionGuard(SessionGuard&& other) noexcept : mClose(std::move(other.mClose)) {
        other.mClose = nullptr;
    }
    SessionGuard(const SessionGuard&) = delete;
    SessionGuard& operator=(const SessionGuard&) = delete;
    SessionGuard& operator=(SessionGuard&&) = delete;
    ~SessionGuard() {
        if (mClose) mClose(EXIT_REFUSED);
    }

    int finish(int status) {
        Close close = std::move(mClose);
        mClose = nullptr;
        return close ? close(status) : status;
    }

  private:
    Close mClose;
};

}  // namespace velora
