/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/velora-inspect/Subcommand.h"

namespace velora::inspect {

// Every subcommand, in the order --help lists them.
const std::vector<const Subcommand*>& subcommands();

// The subcommand of that name, or null.
const Subcommand* find_subcommand(const std::string& name);

}  // namespace velora::inspect
