/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// The content half of the tuning file's change test. A system update writes every file of
// the image with the build's own time, and a file replaced within the same second or copied
// with its time keeps the old one, so the time alone says neither "changed" nor "unchanged"
// reliably. The digest is XXH3 (64 bits) of the file's bytes, in 16 lower-case hex digits:
// it runs at every start, and reading the file costs more than hashing it.
//
// Threading: stateless.
class TuningFileDigest {
  public:
    // The digest of the file at path; empty when it cannot be read (logged).
    static std::string of(const std::string& path);
};

}  // namespace velora
