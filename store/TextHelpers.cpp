/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "DatabaseHelper"

#include "store/TextHelpers.h"

#include <log/log.h>

#include <sstream>

namespace velora {

std::string int2string(int value) {
    return std::to_string(value);
}

int string2int(const std::string& text) {
    // One stream per thread, reset for every text: building a stream (its locale and facets)
    // costs many times the extraction itself, and start-up converts every stored number.
    thread_local std::istringstream stream;
    stream.clear();
    stream.str(text);
    int value = 0;
    if (!(stream >> value)) return 0;
    return value;
}

std::vector<std::string> split_string(const std::string& text, const std::string& sep) {
    std::vector<std::string> pieces;
    if (sep.empty()) {
        pieces.push_back(text);
        return pieces;
    }
    std::string::size_type start = 0;
    for (;;) {
        std::string::size_type found = text.find(sep, start);
        if (found == std::string::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, found - start));
        start = found + sep.size();
    }
}

std::string get_string_values(const std::string& line) {
    std::string::size_type eq = line.find('=');
    if (eq == std::string::npos) {
        ALOGE("invalid string value");
        return std::string();
    }
    std::string value = line.substr(eq + 1);
    if (value == "true") return "1";
    if (value == "false") return "0";
    return value;
}

std::vector<int> string_2_int_vector(const std::string& text) {
    std::vector<int> values;
    for (const std::string& piece : split_string(text, ",")) {
        values.push_back(string2int(piece));
    }
    return values;
}

std::string escape_sql_quotes(const std::string& value) {
    if (value.find('\'') == std::string::npos) return value;
    std::string escaped;
    escaped.reserve(value.size() + 4);
    for (char c : value) {
        escaped.push_back(c);
        if (c == '\'') escaped.push_back('\'');
    }
    return escaped;
}

}  // namespace velora
