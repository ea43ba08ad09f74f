/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velora {

// What veloractl's command line asks for, as the argument parser fills it in.
struct CommandLine {
    // The command's words: "profile select 2" gives command "profile", arguments {"select", "2"}.
    std::string command;
    std::vector<std::string> arguments;

    std::string root;    // --root or $VELORA_ROOT
    std::string socket;  // --socket or $VELORA_SOCKET
    bool json = false;
    int timeoutMs = 5000;
    std::optional<uint32_t> uid;
    int type = 0;
    std::optional<std::string> port;
    std::optional<int> count;

    // What "help [COMMAND]" prints.
    std::string helpText;
};

}  // namespace velora
