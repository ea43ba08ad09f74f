/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velora {

// Strict number parsing for command-line arguments: the whole text must be one number
// (decimal, or hexadecimal with "0x"), with an optional sign, within the target's range.
bool parse_int(const std::string& text, int* out);
bool parse_int64(const std::string& text, int64_t* out);

// Four-character codes ("ADEV") as the service reads them: first character in the most
// significant byte. Exactly four printable ASCII characters; a number ("0x41444556") is also
// accepted for codes that are not printable.
bool parse_four_cc(const std::string& text, uint32_t* out);
// "ADEV" for 0x41444556; a code with a non-printable byte is written as 0x%08x.
std::string four_cc_text(uint32_t code);

// A port by number (0 to 6) or by name ("internal_speaker", "internal-speaker", "hdmi", ...).
bool parse_port(const std::string& text, int* out);
// The port's name, or its number as text outside 0 to 6.
std::string port_name(int port);

// Lower-case hexadecimal of bytes, two digits each, no separators.
std::string hex_bytes(const std::string& bytes);

// Text fit to print: printable ASCII kept, every other byte as \xNN.
std::string printable(const std::string& bytes);

// The names of a buffer packed as zero-terminated strings one after another, sized exactly
// (a last name without its terminator still counts).
std::vector<std::string> split_packed_names(const std::string& buffer);

}  // namespace velora
