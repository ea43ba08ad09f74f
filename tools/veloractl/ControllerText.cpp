/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/ControllerText.h"

#include <algorithm>
#include <cctype>

#include "model/Port.h"
#include "tools/veloractl/TextParsing.h"

namespace velora {

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string join_values(const std::vector<int>& values) {
    std::string text;
    for (int value : values) {
        if (!text.empty()) text += ' ';
        text += std::to_string(value);
    }
    return text;
}

std::string parameter_names() {
    std::string text;
    for (const ExternalParameter& parameter : ExternalParameter::kTable) {
        if (!text.empty()) text += ", ";
        text += parameter.name;
    }
    return text;
}

std::string port_names() {
    std::string text;
    for (int port = 0; port < kPortCount; ++port) {
        if (!text.empty()) text += ", ";
        text += std::to_string(port) + " " + kPortNames[port];
    }
    return text;
}

bool parse_parameter_value(const ExternalParameter& parameter, const std::string& text,
                           int* value) {
    if (parameter.minimum == 0 && parameter.maximum == 1) {
        std::string word = lower_case(text);
        if (word == "on" || word == "true") {
            *value = 1;
            return true;
        }
        if (word == "off" || word == "false") {
            *value = 0;
            return true;
        }
    }
    return parse_int(text, value);
}

}  // namespace velora
