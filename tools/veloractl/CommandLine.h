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

// veloractl's command line, split into options and the command with its arguments. Options may
// stand anywhere; a token is an option only when it starts with "--" (or is "-h"), so negative
// values ("-576") are arguments. "--" ends the options.
class CommandLine {
  public:
    // False with error() set when an option is unknown, lacks its value or has a bad one.
    bool parse(int argc, const char* const* argv);
    const std::string& error() const { return mError; }

    // The command's words: "profile select 2" gives command "profile", arguments {"select", "2"}.
    std::string command;
    std::vector<std::string> arguments;

    std::string root;
    std::string socket;
    bool json = false;
    bool help = false;
    int timeoutMs = 5000;
    std::optional<uint32_t> uid;
    int type = 0;
    std::optional<std::string> port;
    std::optional<int> count;

    // Options given, by name without dashes, so commands can refuse those they do not take.
    std::vector<std::string> given;

  private:
    std::string mError;
};

}  // namespace velora
