/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// What a failed read of the effect's parameter file means, for someone looking at the file
// rather than at the service: "it is a folder, not a parameter file", "it is not a whole
// parameter file (...)", or the system's own text for other errors. `result` is the reader's
// negative errno.
std::string describe_param_file_error(int result);

}  // namespace velora
