/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/common/ArgumentParser.h"

#include <algorithm>
#include <exception>

namespace velora {

// Prints the usage line a tool sets instead of CLI11's generated one, which cannot show
// alternatives ("select|reset") or which words are optional.
class ArgumentParser::Formatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App* app, std::string name) const override {
        auto it = mUsages.find(app);
        if (it == mUsages.end()) return CLI::Formatter::make_usage(app, std::move(name));
        return "Usage: " + it->second + "\n";
    }
    std::map<const CLI::App*, std::string> mUsages;
};

ArgumentParser::ArgumentParser(const std::string& tool, const std::string& description)
    : mTool(tool),
      mFormatter(std::make_shared<Formatter>()),
      mApp(std::make_unique<CLI::App>(description, tool)) {
    mFormatter->column_width(26);
    mApp->formatter(mFormatter);
    mApp->set_version_flag("--version", versionText(tool.substr(0, tool.find(' '))),
                           "print the version and the formats read, and exit");
    mApp->set_help_flag("-h,--help", "print this help and exit");
}

void ArgumentParser::setUsage(const CLI::App* app, const std::string& usage) {
    mFormatter->mUsages[app] = usage;
}

std::optional<int> ArgumentParser::parse(std::vector<std::string> words, std::ostream& out,
                                         std::ostream& err) {
    // CLI11 takes the words last first, and consumes them.
    std::reverse(words.begin(), words.end());
    std::vector<std::string> consumed = words;
    try {
        mApp->parse(consumed);
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        out << mApp->help();
        return EXIT_OK;
    } catch (const CLI::CallForAllHelp&) {
        out << mApp->help("", CLI::AppFormatMode::All);
        return EXIT_OK;
    } catch (const CLI::CallForVersion&) {
        out << mApp->version() << "\n";
        return EXIT_OK;
    } catch (const CLI::ParseError& error) {
        const std::string unknown = unknownCommand(words);
        if (!unknown.empty()) {
            err << mTool << ": no command '" << unknown << "' (see '" << mTool << " --help')\n";
            return EXIT_USAGE;
        }
        // The command the mistake is in, so that the hint names its help.
        std::string where = mTool;
        for (const CLI::App* app = mApp.get(); app != nullptr;) {
            const auto chosen = app->get_subcommands();
            if (chosen.empty()) break;
            app = chosen.front();
            where += " " + app->get_name();
        }
        err << mTool << ": " << error.what() << " (see '" << where << " --help')\n";
        return EXIT_USAGE;
    } catch (const std::exception& error) {
        err << mTool << ": " << error.what() << "\n";
        return EXIT_USAGE;
    }
}

std::string ArgumentParser::unknownCommand(const std::vector<std::string>& reversed) const {
    if (mApp->get_subcommands([](CLI::App*) { return true; }).empty() ||
        !mApp->get_subcommands().empty()) {
        return std::string();
    }
    // The first word that is neither an option nor an option's value.
    bool value = false;
    for (auto it = reversed.rbegin(); it != reversed.rend(); ++it) {
        const std::string& word = *it;
        if (!word.empty() && word[0] == '-') {
            const CLI::Option* option = mApp->get_option_no_throw(word.substr(0, word.find('=')));
            value = option != nullptr && option->get_type_size() != 0 &&
                    word.find('=') == std::string::npos;
            continue;
        }
        if (value) {
            value = false;
            continue;
        }
        return word;
    }
    return std::string();
}

std::optional<int> ArgumentParser::parse(int argc, const char* const* argv, std::ostream& out,
                                         std::ostream& err) {
    return parse(std::vector<std::string>(argv + std::min(argc, 1), argv + argc), out, err);
}

std::string ArgumentParser::versionText(const std::string& tool) {
    return tool + " (Velora) " VELORA_VERSION
                  "\n"
                  "Reads tuning files of format_version MAJOR.MINOR.MAINTENANCE (each part 0 to "
                  "255)\n"
                  "and settings documents of format velora-settings version 1.";
}

std::string ArgumentParser::inputPath(const std::string& argument) {
    return argument == "-" ? "/dev/stdin" : argument;
}

}  // namespace velora
