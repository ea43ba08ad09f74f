/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// Keeps damaged settings databases out of the service's way without deleting them: the file
// (or whatever stands at its path) is renamed to "<name>.damaged-<UTC time>" beside it, with
// its journal, and only the newest few such copies are kept, so that a device that damages
// its database again and again does not fill its data partition.
//
// Threading: not thread-safe; used during start-up only.
class DamagedDatabaseFiles {
  public:
    static constexpr int kKeptCopies = 3;

    // Renames path aside; true with the new path in *aside, false with the reason in *error.
    static bool moveAside(const std::string& path, std::string* aside, std::string* error);
};

}  // namespace velora
