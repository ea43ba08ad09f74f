/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// The seven tables of the settings database, numbered as the database helper creates and
// describes them: the key/value table first, then one table per record kind.
enum TableType : int {
    TABLE_CONFIGURATION = 0,
    TABLE_IEQ_PRESETS = 1,
    TABLE_GEQ_PRESETS = 2,
    TABLE_PROFILES = 3,
    TABLE_PROFILE_ENDPOINTS = 4,
    TABLE_TUNINGS = 5,
    TABLE_DEVICE_TUNINGS = 6,
};

constexpr int kTableCount = 7;

}  // namespace velora
