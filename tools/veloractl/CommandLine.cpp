/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/CommandLine.h"

#include <cstdint>

#include "tools/veloractl/TextParsing.h"

namespace velora {

bool CommandLine::parse(int argc, const char* const* argv) {
    bool optionsEnded = false;
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        std::string token = argv[i];
        if (optionsEnded || token.size() < 2 || token[0] != '-' ||
            (token[1] != '-' && token != "-h")) {
            words.push_back(token);
            continue;
        }
        if (token == "--") {
            optionsEnded = true;
            continue;
        }
        std::string name = token == "-h" ? "help" : token.substr(2);
        std::string value;
        bool hasValue = false;
        size_t equals = name.find('=');
        if (equals != std::string::npos) {
            value = name.substr(equals + 1);
            name = name.substr(0, equals);
            hasValue = true;
        }
        auto takeValue = [&]() -> bool {
            if (hasValue) return true;
            if (i + 1 >= argc) {
                mError = "option --" + name + " needs a value";
                return false;
            }
            value = argv[++i];
            return true;
        };
        auto takeInt = [&](int minimum, int* out) -> bool {
            if (!takeValue()) return false;
            if (!parse_int(value, out) || *out < minimum) {
                mError = "option --" + name + ": '" + value + "' is not a number of at least " +
                         std::to_string(minimum);
                return false;
            }
            return true;
        };
        if (name == "help" || name == "json") {
            if (hasValue) {
                mError = "option --" + name + " takes no value";
                return false;
            }
            (name == "help" ? help : json) = true;
        } else if (name == "root") {
            if (!takeValue()) return false;
            root = value;
        } else if (name == "socket") {
            if (!takeValue()) return false;
            socket = value;
        } else if (name == "timeout") {
            if (!takeInt(1, &timeoutMs)) return false;
        } else if (name == "uid") {
            int64_t number = 0;
            if (!takeValue()) return false;
            if (!parse_int64(value, &number) || number < 0 || number > UINT32_MAX) {
                mError = "option --uid: '" + value + "' is not an unsigned 32-bit number";
                return false;
            }
            uid = static_cast<uint32_t>(number);
        } else if (name == "type") {
            if (!takeValue()) return false;
            if (!parse_int(value, &type)) {
                mError = "option --type: '" + value + "' is not a number";
                return false;
            }
        } else if (name == "port") {
            if (!takeValue()) return false;
            port = value;
        } else if (name == "count") {
            int number = 0;
            if (!takeInt(1, &number)) return false;
            count = number;
        } else {
            mError = "unknown option " + token;
            return false;
        }
        given.push_back(name);
    }
    if (!words.empty()) {
        command = words.front();
        arguments.assign(words.begin() + 1, words.end());
    }
    return true;
}

}  // namespace velora
