/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */

// velora-inspect: host tool for tuning engineers. main() only picks the subcommand; each
// subcommand lives in its own source file (see Subcommands.cpp) and reads its own arguments.

#include <iostream>
#include <string>
#include <vector>

#include "tools/common/ArgumentParser.h"
#include "tools/velora-inspect/Subcommands.h"

int main(int argc, char** argv) {
    using velora::ArgumentParser;
    using velora::inspect::Subcommand;

    ArgumentParser parser("velora-inspect",
                          "Looks into the inputs and state of the Velora settings service on a "
                          "host.\n'velora-inspect COMMAND --help' describes one command.");
    CLI::App& app = parser.app();
    app.require_subcommand(1);
    std::vector<std::pair<const Subcommand*, CLI::App*>> commands;
    for (const Subcommand* subcommand : velora::inspect::subcommands()) {
        CLI::App* command = app.add_subcommand(subcommand->name, subcommand->summary);
        // Everything after the command's name is the command's own to read.
        command->prefix_command();
        command->allow_extras();
        command->set_help_flag();
        commands.emplace_back(subcommand, command);
    }
    std::string topic;
    CLI::App* help = app.add_subcommand("help", "this help, or a command's");
    help->add_option("COMMAND", topic, "the command to describe");
    if (auto status = parser.parse(argc, argv, std::cout, std::cerr)) return *status;

    if (help->parsed()) {
        if (topic.empty()) {
            std::cout << app.help();
            return velora::EXIT_OK;
        }
        for (const auto& [subcommand, command] : commands) {
            if (topic == subcommand->name) return subcommand->run({"--help"}, std::cout, std::cerr);
        }
        std::cerr << "velora-inspect: no command '" << topic << "' (see 'velora-inspect --help')\n";
        return velora::EXIT_USAGE;
    }
    for (const auto& [subcommand, command] : commands) {
        if (!command->parsed()) continue;
        const int status = subcommand->run(command->remaining(), std::cout, std::cerr);
        std::cout.flush();
        return status;
    }
    return velora::EXIT_USAGE;
}
