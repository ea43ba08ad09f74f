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
    // A failed extraction still leaves the answer: 0 for a text that holds no number, the
    // type's minimum or maximum for one beyond its range.
    int value = 0;
    stream >> value;
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
    read_list_text(text.data(), text.size(), &values);
    return values;
}

bool read_list_text(const char* text, size_t size, std::vector<int>* values) {
    // One walk over the text, the elements gathered on the stack and the vector filled once:
    // start-up reads every stored list through here.
    constexpr size_t kGathered = 64;
    int gathered[kGathered];
    size_t count = 0;
    values->clear();
    bool written = true;
    const char* const end = text + size;
    const char* piece = text;
    for (;;) {
        // A piece that is only an optional minus and up to nine digits (every stored number)
        // is converted here, since no such piece can overflow or read otherwise; anything
        // else goes through string2int itself. Such a piece is as written when it is exactly
        // the decimal text of its number (no sign on zero, no leading zero).
        const char* at = piece;
        const bool negative = at != end && *at == '-';
        if (negative) ++at;
        const char* const digits = at;
        int value = 0;
        while (at != end && at - digits < 9 && *at >= '0' && *at <= '9') {
            value = value * 10 + (*at - '0');
            ++at;
        }
        const char* comma = at;
        bool plain = false;
        if (at != digits && (at == end || *at == ',')) {
            plain = *digits != '0' || (at - digits == 1 && !negative);
            if (negative) value = -value;
        } else {
            comma = static_cast<const char*>(std::memchr(at, ',', static_cast<size_t>(end - at)));
            if (comma == nullptr) comma = end;
            // Extraction from an empty text fails.
            value = comma == piece ? 0 : string2int(std::string(piece, comma));
        }
        if (count == kGathered) {
            values->insert(values->end(), gathered, gathered + count);
            count = 0;
        }
        gathered[count++] = value;
        if (comma == end) {
            if (values->empty()) {
                values->assign(gathered, gathered + count);  // most lists: one exact allocation
            } else {
                values->insert(values->end(), gathered, gathered + count);
            }
            return written && piece == end;  // the last piece is empty
        }
        written = written && plain;
        piece = comma + 1;
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
