/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// The kinds of intelligent-equalizer preset.
enum PresetType : int { PRESET_OFF = 0, PRESET_DETAILED = 1, PRESET_BALANCED = 2, PRESET_WARM = 3 };

constexpr int kPresetTypeCount = 4;

// Printable names, indexed by value: "off", "detailed", "balanced", "warm".
extern const char* const kPresetTypeNames[kPresetTypeCount];

// The printable name of a preset type; a value outside the four gives its number as text.
std::string preset_type_name(PresetType type);

}  // namespace velora
