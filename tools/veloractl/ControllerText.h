/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/veloractl/ExternalParameter.h"

namespace velora {

// Texts veloractl's commands share.

// "1 2 3".
std::string join_values(const std::vector<int>& values);
std::string lower_case(std::string text);
// "geq-gains, ..." and "0 internal_speaker, ...", for messages that list what is known.
std::string parameter_names();
std::string port_names();
// A value of the parameter: a number, or on/off (true/false) for a switch.
bool parse_parameter_value(const ExternalParameter& parameter, const std::string& text, int* value);

}  // namespace velora
