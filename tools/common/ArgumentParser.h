/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/common/ExitStatus.h"

namespace velora {

// The command line of a host tool, read by CLI11. CLI11 reports help, --version and every
// mistake by throwing; no operation of the tools throws, so parse() is the one place that
// catches, and turns each into text and an exit status.
class ArgumentParser {
  public:
    // tool: the name shown in usage and messages ("veloractl", "velora-inspect lint").
    ArgumentParser(const std::string& tool, const std::string& description);

    CLI::App& app() { return *mApp; }

    // The usage line shown for app or one of its subcommands, instead of CLI11's own.
    void setUsage(const CLI::App* app, const std::string& usage);

    // Parses the words after the program's name. Empty when there is something to run;
    // otherwise the exit status, after the help or version went to `out` (0) or what is
    // wrong, with where to find help, to `err` (EXIT_USAGE).
    std::optional<int> parse(std::vector<std::string> words, std::ostream& out, std::ostream& err);
    std::optional<int> parse(int argc, const char* const* argv, std::ostream& out,
                             std::ostream& err);

    // "NAME (Velora) 1.0.0" and the formats the tools read.
    static std::string versionText(const std::string& tool);

    // A file argument: "-" stands for standard input.
    static std::string inputPath(const std::string& argument);

  private:
    class Formatter;
    // The word standing where a command belongs when no command was recognised; words are
    // last first, as CLI11 takes them.
    std::string unknownCommand(const std::vector<std::string>& reversed) const;
    std::string mTool;
    std::shared_ptr<Formatter> mFormatter;
    std::unique_ptr<CLI::App> mApp;
};

}  // namespace velora
