/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/common/ExitStatus.h"

namespace velora::inspect {

// Exit statuses shared by every subcommand: those of every host tool.
constexpr int kExitOk = EXIT_OK;
constexpr int kExitFailed = EXIT_REFUSED;  // not readable, nothing to inspect, or findings
constexpr int kExitUsage = EXIT_USAGE;     // the command line was wrong

// One "velora-inspect <name> ..." subcommand. Each lives in its own source file and is listed
// once in Subcommands.cpp; main() only picks one by name and runs it.
struct Subcommand {
    const char* name;
    const char* synopsis;  // arguments after the name, for the usage line
    const char* summary;   // one line for --help
    const char* help;      // what the subcommand's own --help says above its options
    // args are the arguments after the subcommand's name, which the subcommand reads with
    // its own ArgumentParser. Returns an exit status.
    int (*run)(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
};

}  // namespace velora::inspect
