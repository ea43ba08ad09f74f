/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/PresetType.h"

namespace velora {

const char* const kPresetTypeNames[kPresetTypeCount] = {"off", "detailed", "balanced", "warm"};

std::string preset_type_name(PresetType type) {
    if (type < 0 || type >= kPresetTypeCount) {
        return std::to_string(static_cast<int>(type));
    }
    return kPresetTypeNames[type];
}

}  // namespace velora
