/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/PresetType.h"

namespace velora {

const char* const kPresetTypeNames[kPresetTypeCount] = {"off", "detailed", "balanced", "warm"};

}  // namespace velora
