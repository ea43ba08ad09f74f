/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Text encodings shared by the tuning-file reader and the settings database. Integer vectors
// are stored as text with a comma after every element ("1,2,3," for {1,2,3}).

namespace velora {

// Decimal text of the number.
std::string int2string(int value);

// One int by stream extraction: leading blanks skipped, trailing text ignored, 0 when the
// text holds no number.
int string2int(const std::string& text);

// Cuts text at every occurrence of sep; the piece after the last separator is kept even when
// empty, and a text without sep gives one piece.
std::vector<std::string> split_string(const std::string& text, const std::string& sep);

// The part of a key=value line after its first "="; "true" becomes "1", "false" becomes "0".
// A line without "=" gives the empty text and logs "invalid string value".
std::string get_string_values(const std::string& line);

// split_string at "," and string2int of every piece. Stored text ends in a comma, so the
// vector read back carries one trailing 0 ("1,2,3," reads as {1,2,3,0}); readers index the
// values by position, and this extra element is kept on purpose.
std::vector<int> string_2_int_vector(const std::string& text);

// string_2_int_vector of text[0, size) into values. True when the text is exactly the one
// written for the values read without their trailing element (every element's decimal text
// and a comma), as every list this service writes is; such a text need not be kept to be
// written again.
bool read_list_text(const char* text, size_t size, std::vector<int>* values);

// The value with every single quote doubled, ready to stand between the single quotes of a
// statement text. Names chosen by users and device makers may hold apostrophes; doubling is
// the one change made to them, so a text without a quote comes back unchanged.
std::string escape_sql_quotes(const std::string& value);

}  // namespace velora
