/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

#include "tools/common/Json.h"

namespace velora {

// Reads one onPexParamUpdate buffer the way a client sees it. A callback carries the request
// the service handled, not its outcome (a refused registration or an unknown profile comes
// back all the same), so every line is worded as a request. The callback carries no kind of
// its own, so the bytes are recognised by shape: a packed set buffer with a known command,
// the empty buffer of a tuning reload, or the name of a selected tuning device. Anything else
// is shown as raw bytes.
struct DecodedUpdate {
    std::string kind;     // "switch-request", "set-parameter-request", "select-profile-request",
                          // "set-port-parameter-request", "reset-profile-request",
                          // "set-command", "register-request", "unregister-request",
                          // "no-data", "tuning-device-request", "bytes"
    std::string summary;  // one line for people
    Json json;            // the same, for --json (always with "bytes" in hexadecimal)
};

DecodedUpdate decode_update(const std::string& bytes);

}  // namespace velora
