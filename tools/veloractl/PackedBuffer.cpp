/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/PackedBuffer.h"

#include <cerrno>
#include <cstring>

namespace velora {

std::string packed_get_request(int command, int word1, int word2) {
    const uint32_t c = static_cast<uint32_t>(command);
    std::string request(12, '\0');
    request[0] = static_cast<char>((c >> 8) & 0xff);
    request[1] = static_cast<char>((c >> 16) & 0xff);
    request[2] = static_cast<char>((c >> 24) & 0xff);
    request[3] = static_cast<char>(c & 0xff);
    std::memcpy(&request[4], &word1, 4);
    std::memcpy(&request[8], &word2, 4);
    return request;
}

int packed_profile_port(int profile, int port) { return ((profile & 0xf) << 4) | (port & 0xf); }

std::string pack_words(const std::vector<int>& words) {
    std::string bytes(words.size() * 4, '\0');
    if (!words.empty()) std::memcpy(&bytes[0], words.data(), bytes.size());
    return bytes;
}

std::vector<int> unpack_words(const std::string& bytes) {
    std::vector<int> words(bytes.size() / 4);
    if (!words.empty()) std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

std::string packed_set_buffer(int command, const std::vector<int>& words) {
    std::vector<int> all;
    all.reserve(words.size() + 2);
    all.push_back(static_cast<int>(static_cast<uint32_t>(command) << 24));
    all.push_back(0);
    all.insert(all.end(), words.begin(), words.end());
    return pack_words(all);
}

std::string describe_result(int result) {
    std::string text = std::to_string(result);
    switch (-result) {
        case ENODEV:
            return text + " (ENODEV: the service is not initialised; see velorad's log)";
        case EINVAL:
            return text + " (EINVAL: invalid argument)";
        case ENOENT:
            return text + " (ENOENT: not found)";
        default:
            return result < 0 ? text + " (" + std::strerror(-result) + ")" : text;
    }
}

bool is_applied_echo(const std::string& sent, const std::string& update) {
    if (sent.size() != update.size() || sent.size() < 8) return false;
    return sent.compare(0, 4, update, 0, 4) == 0 &&
           sent.compare(8, std::string::npos, update, 8, std::string::npos) == 0;
}

}  // namespace velora
