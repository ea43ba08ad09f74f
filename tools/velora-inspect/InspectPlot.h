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

// "velora-inspect plot (FILE | --root DIR) -o OUT.svg [--profile P] [--tuning NAME]": the
// curves of a tuning file, or of what the service holds under a root, as one SVG picture.
int inspect_plot(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

extern const Subcommand kPlotSubcommand;

}  // namespace velora::inspect
