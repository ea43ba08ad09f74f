/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace velora {

// JSON as the host tools write and read it. Members keep their insertion order, so a
// document reads like the text form beside it.
using Json = nlohmann::ordered_json;

// A JSON string for bytes the service returned (profile and device names, dump text). Valid
// UTF-8 stays as it is; any other text is read byte by byte as Latin-1, so every name prints
// as valid JSON and no byte is lost.
Json json_text(const std::string& bytes);

Json json_ints(const std::vector<int>& values);

// One line (indent < 0) or indented; never fails.
std::string json_dump(const Json& json, int indent = -1);

// Reads one JSON document. False with `error` naming the line and column where the text
// stops being JSON ("line 3, column 14: syntax error ...").
bool json_parse(const std::string& text, Json* out, std::string* error);

}  // namespace velora
