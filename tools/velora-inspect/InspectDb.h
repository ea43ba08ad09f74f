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

// "velora-inspect db FILE": prints what the service stored in a settings database, table by
// table: the configuration as key = value lines, and every record row under its copy
// ("default", "custom", "oem") and keys, rows sorted by those, so that two databases can be
// compared with diff. The file is opened read-only and never created; a file that is not a
// settings database is refused.
int inspect_db(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

extern const Subcommand kDbSubcommand;

}  // namespace velora::inspect
