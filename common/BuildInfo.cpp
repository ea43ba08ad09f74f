/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "common/BuildInfo.h"

namespace velora {

const char* BuildInfo::libraryName() { return "libvlrksservice"; }

const char* BuildInfo::version() { return VELORA_VERSION; }

}  // namespace velora
