/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */

// velora-inspect: host tool for tuning engineers. main() only picks the subcommand; each
// subcommand lives in its own source file (see Subcommands.cpp).

#include <iostream>
#include <string>
#include <vector>

#include "tools/velora-inspect/Subcommands.h"

namespace {

void print_help(std::ostream& out) {
    out << "usage: velora-inspect COMMAND [ARGS...]\n"
           "\n"
           "Looks into the inputs and state of the Velora settings service on a host.\n"
           "\n"
           "Commands:\n";
    for (const velora::inspect::Subcommand* subcommand : velora::inspect::subcommands()) {
        std::string line = std::string("  ") + subcommand->name + " " + subcommand->synopsis;
        out << line << "\n      " << subcommand->summary << "\n";
    }
    out << "\n'velora-inspect COMMAND --help' describes one command.\n";
}

}  // namespace

int main(int argc, char** argv) {
    using velora::inspect::kExitOk;
    using velora::inspect::kExitUsage;

    if (argc < 2) {
        print_help(std::cerr);
        return kExitUsage;
    }
    std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        print_help(std::cout);
        return kExitOk;
    }
    const velora::inspect::Subcommand* subcommand = velora::inspect::find_subcommand(command);
    if (subcommand == nullptr) {
        std::cerr << "velora-inspect: unknown command '" << command << "'\n\n";
        print_help(std::cerr);
        return kExitUsage;
    }
    std::vector<std::string> args(argv + 2, argv + argc);
    int status = subcommand->run(args, std::cout, std::cerr);
    std::cout.flush();
    return status;
}
