/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "DatabaseHelper"

#include "store/TextHelpers.h"

#include <log/log.h>

#include <algorithm>
#include <cstring>
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
// otherwise; anything else goes through string2int itself. *plain says whether the piece is
// exactly the decimal text of its number (no sign on zero, no leading zero).
int piece_to_int(const char* text, size_t begin, size_t end, bool* plain) {
    *plain = false;
    if (begin == end) return 0;  // extraction from an empty text fails
    size_t at = begin;
    const bool negative = text[at] == '-';
    if (negative) ++at;
    if (at < end && end - at <= 9) {
        int value = 0;
        size_t i = at;
        for (; i < end && text[i] >= '0' && text[i] <= '9'; ++i)
            value = value * 10 + (text[i] - '0');
        if (i == end) {
            *plain = text[at] != '0' || (end - at == 1 && !negative);
            return negative ? -value : value;
        }
    }
    return string2int(std::string(text + begin, end - begin));
}

}  // namespace

std::vector<int> string_2_int_vector(const std::string& text) {
    std::vector<int> values;
    read_list_text(text.data(), text.size(), &values);
    return values;
}

bool read_list_text(const char* text, size_t size, std::vector<int>* values) {
    // The elements are gathered on the stack and the vector filled once: start-up reads
    // every stored list through here.
    constexpr size_t kGathered = 64;
    int gathered[kGathered];
    size_t count = 0;
    values->clear();
    bool written = true;
    size_t begin = 0;
    for (;;) {
        const char* found = static_cast<const char*>(std::memchr(text + begin, ',', size - begin));
        const size_t comma = found == nullptr ? size : static_cast<size_t>(found - text);
        bool plain = false;
        if (count == kGathered) {
            values->insert(values->end(), gathered, gathered + count);
            count = 0;
        }
        gathered[count++] = piece_to_int(text, begin, comma, &plain);
        if (found == nullptr) {
            if (values->empty()) {
                values->assign(gathered, gathered + count);
            } else {
                values->insert(values->end(), gathered, gathered + count);
            }
            return written && begin == size;  // the last piece is empty
        }
        written = written && plain;
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
