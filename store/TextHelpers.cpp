/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "DatabaseHelper"

#include "store/TextHelpers.h"

#include <log/log.h>

#include <algorithm>
#include <sstream>

namespace velora {

std::string int2string(int value) { return std::to_string(value); }

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

namespace {

// string2int of text[begin, end). A piece that is only an optional minus and up to nine
// digits (every stored number) is converted here, since no such piece can overflow or read
// otherwise; anything else goes through string2int itself.
int piece_to_int(const std::string& text, size_t begin, size_t end) {
    if (begin == end) return 0;  // extraction from an empty text fails
    size_t at = begin;
    const bool negative = text[at] == '-';
    if (negative) ++at;
    if (at < end && end - at <= 9) {
        int value = 0;
        size_t i = at;
        for (; i < end && text[i] >= '0' && text[i] <= '9'; ++i)
            value = value * 10 + (text[i] - '0');
        if (i == end) return negative ? -value : value;
    }
    return string2int(text.substr(begin, end - begin));
}

}  // namespace

std::vector<int> string_2_int_vector(const std::string& text) {
    std::vector<int> values;
    values.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), ',')) + 1);
    size_t begin = 0;
    for (;;) {
        size_t comma = text.find(',', begin);
        values.push_back(
            piece_to_int(text, begin, comma == std::string::npos ? text.size() : comma));
        if (comma == std::string::npos) return values;
        begin = comma + 1;
    }
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
