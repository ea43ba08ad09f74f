/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/velora-inspect/Subcommand.h"

namespace velora::inspect {

// "velora-inspect lint FILE [--oem FILE] [--strict] [--json]": what the service's reader does
// with every part of a tuning file it does not take as it stands, as FILE:LINE: findings.
int inspect_lint(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

extern const Subcommand kLintSubcommand;

}  // namespace velora::inspect
