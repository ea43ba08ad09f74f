/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// Identifies the build of libvlrksservice, for the host programs' --version and for dumps.
class BuildInfo {
  public:
    static const char* libraryName();  // "libvlrksservice"
    static const char* version();      // the project version this library was built from
};

}  // namespace velora
