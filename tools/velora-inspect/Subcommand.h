/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace velora::inspect {

// Exit statuses shared by every subcommand.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // the subject could not be read or inspected
constexpr int kExitUsage = 2;   // the command line was wrong

// One "velora-inspect <name> ..." subcommand. Each lives in its own source file and is listed
// once in Subcommands.cpp; main() only picks one by name and runs it.
struct Subcommand {
    const char* name;
    const char* synopsis;  // arguments after the name, for the usage line
    const char* summary;   // one line for --help
    const char* help;      // the subcommand's own --help text
    // args are the arguments after the subcommand's name. Returns an exit status.
    int (*run)(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
};

}  // namespace velora::inspect
