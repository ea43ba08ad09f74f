/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <stdint.h>

namespace android {

// The effect's numeric parameter id: its three- or four-letter code in lower case, packed
// little-endian (first character in the lowest byte).
typedef uint32_t PexParameterId;

}  // namespace android
