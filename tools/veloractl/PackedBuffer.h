/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velora {

// The packed buffers clients exchange with the service, built and read the way the settings
// app does: 32-bit words in native order.

// Commands of the packed get buffer.
constexpr int kGetPexOn = 0;
constexpr int kGetParameter = 1;
constexpr int kGetPortParameter = 2;
constexpr int kGetProfileCount = 3;
constexpr int kGetSelectedProfile = 10;
constexpr int kGetProfileModified = 11;
constexpr int kGetMonoSpeaker = 13;

// Commands of the packed set buffer (the number itself; the buffer carries it in byte 3).
constexpr int kSetPexOn = 0;
constexpr int kSetParameter = 1;
constexpr int kSetPortParameter = 2;
constexpr int kSetSelectedProfile = 10;
constexpr int kSetResetProfile = 12;

// A get request: the command in the service's odd byte order (byte 3 is the low byte), then
// two native words.
std::string packed_get_request(int command, int word1, int word2);
// Byte 8 of a port-parameter get: the profile in the high nibble, the port in the low one.
int packed_profile_port(int profile, int port);

// A set buffer: word 0 the command times 16777216, word 1 left 0 for the service to fill in,
// then the given words.
std::string packed_set_buffer(int command, const std::vector<int>& words);

std::string pack_words(const std::vector<int>& words);
// Whole words only; a trailing partial word is dropped.
std::vector<int> unpack_words(const std::string& bytes);

// A service result in words: "-19 (ENODEV: the service is not initialised)".
std::string describe_result(int result);

// True when `update` is the callback the service makes after applying `sent`: the same length
// and the same words except word 1, which the service writes back.
bool is_applied_echo(const std::string& sent, const std::string& update);

}  // namespace velora
