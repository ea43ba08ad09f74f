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

// "velora-inspect tuning [--validated] FILE": reads a tuning file with the service's own
// reader and prints its versions, every record in its storage form (sorted by kind and key,
// so that two runs on one file print the same text) and a summary of counts.
int inspect_tuning(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

extern const Subcommand kTuningSubcommand;

}  // namespace velora::inspect
