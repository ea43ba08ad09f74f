/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <string>

namespace velora {

// An integer property of the service (getIntParam, setIntParam), by its four-character code.
struct IntProperty {
    const char* code;
    bool readable;
    bool writable;
    const char* description;
};

// The property of that code, or null when the service has none.
const IntProperty* find_int_property(uint32_t code);

// "ADEV, CHCT, ..." (only the writable ones when asked).
std::string int_property_names(bool writableOnly = false);

}  // namespace velora
