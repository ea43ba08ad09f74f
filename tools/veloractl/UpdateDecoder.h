/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

#include "tools/common/Json.h"

namespace velora {

// Reads one onPexParamUpdate buffer the way a client sees it. The callback carries no kind of
// its own, so the bytes are recognised by shape: a packed set buffer with a known command,
// the empty buffer of a tuning reload, or the name of a selected tuning device. Anything else
// is shown as raw bytes.
struct DecodedUpdate {
    std::string kind;     // "pex-on", "set-parameter", "set-port-parameter", "select-profile",
                          // "reset-profile", "set-command", "client-registered",
                          // "client-unregistered", "no-data", "tuning-device", "bytes"
    std::string summary;  // one line for people
    Json json;            // the same, for --json (always with "bytes" in hexadecimal)
};

DecodedUpdate decode_update(const std::string& bytes);

}  // namespace velora
