/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/TextParsing.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "model/Port.h"

namespace velora {

bool parse_int64(const std::string& text, int64_t* out) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
    errno = 0;
    char* end = nullptr;
    long long value = std::strtoll(text.c_str(), &end, 0);
    // Base 0 would read "010" as octal; nobody means that on a command line.
    const char* digits = text.c_str() + ((text[0] == '-' || text[0] == '+') ? 1 : 0);
    if (digits[0] == '0' && digits[1] != '\0' && digits[1] != 'x' && digits[1] != 'X') {
        errno = 0;
        value = std::strtoll(text.c_str(), &end, 10);
    }
    if (errno != 0 || end == text.c_str() || *end != '\0') return false;
    *out = value;
    return true;
}

bool parse_int(const std::string& text, int* out) {
    int64_t value = 0;
    if (!parse_int64(text, &value) || value < INT_MIN || value > INT_MAX) return false;
    *out = static_cast<int>(value);
    return true;
}

bool parse_four_cc(const std::string& text, uint32_t* out) {
    if (text.size() == 4 && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return c > 0x20 && c < 0x7f; })) {
        uint32_t code = 0;
        for (unsigned char c : text) code = (code << 8) | c;
        *out = code;
        return true;
    }
    int64_t value = 0;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
        parse_int64(text, &value) && value >= 0 && value <= UINT32_MAX) {
        *out = static_cast<uint32_t>(value);
        return true;
    }
    return false;
}

std::string four_cc_text(uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        unsigned char c = static_cast<unsigned char>(code >> shift);
        if (c <= 0x20 || c >= 0x7f) {
            char hex[16];
            std::snprintf(hex, sizeof(hex), "0x%08x", code);
            return hex;
        }
        text += static_cast<char>(c);
    }
    return text;
}

bool parse_port(const std::string& text, int* out) {
    int number = 0;
    if (parse_int(text, &number)) {
        if (number < 0 || number >= kPortCount) return false;
        *out = number;
        return true;
    }
    std::string wanted = text;
    std::transform(wanted.begin(), wanted.end(), wanted.begin(), [](unsigned char c) {
        return c == '-' ? '_' : static_cast<char>(std::tolower(c));
    });
    for (int port = 0; port < kPortCount; ++port) {
        if (wanted == kPortNames[port]) {
            *out = port;
            return true;
        }
    }
    return false;
}

std::string port_name(int port) {
    if (port < 0 || port >= kPortCount) return std::to_string(port);
    return kPortNames[port];
}

std::string hex_bytes(const std::string& bytes) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (unsigned char c : bytes) {
        text += kDigits[c >> 4];
        text += kDigits[c & 0xf];
    }
    return text;
}

std::string printable(const std::string& bytes) {
    std::string text;
    for (unsigned char c : bytes) {
        if (c >= 0x20 && c < 0x7f && c != '\\') {
            text += static_cast<char>(c);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%02x", c);
            text += escaped;
        }
    }
    return text;
}

std::vector<std::string> split_packed_names(const std::string& buffer) {
    std::vector<std::string> names;
    size_t start = 0;
    while (start < buffer.size()) {
        size_t end = buffer.find('\0', start);
        if (end == std::string::npos) end = buffer.size();
        names.push_back(buffer.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

}  // namespace velora
