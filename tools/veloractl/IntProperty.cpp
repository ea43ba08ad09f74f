/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/IntProperty.h"

#include "tools/veloractl/TextParsing.h"

namespace velora {

namespace {

// What the service answers to getIntParam and takes with setIntParam; it ignores a write to
// anything else and reads -1 for a code it does not know, so both are refused here instead.
const IntProperty kProperties[] = {
    {"ADEV", true, false, "active output device"},
    {"CHCT", true, false, "channel count"},
    {"PEXO", true, false, "effect on"},
    {"DCCP", true, false, "1 when decoder clients (types 1 to 4) are registered"},
    {"DDSA", true, false, "surround speaker angle"},
    {"DHSA", true, false, "height speaker angle"},
    {"DFSA", true, false, "front speaker angle"},
    {"DEAM", true, true, "a stored 64-bit value"},
    {"DECT", true, true, "a stored 32-bit value"},
    {"LCTP", true, false, "a time stamp, uptime in ms"},
    {"LCTM", true, false, "when the active device was last read, uptime in ms"},
    {"SPKM", true, false, "internal speaker is mono"},
    {"SPKP", true, false, "speaker in portrait mode"},
    {"DTFV", true, false, "tuning file format version"},
    {"RLTF", false, true, "reload the tuning files"},
};

}  // namespace

const IntProperty* find_int_property(uint32_t code) {
    for (const IntProperty& property : kProperties) {
        uint32_t known = 0;
        if (parse_four_cc(property.code, &known) && known == code) return &property;
    }
    return nullptr;
}

std::string int_property_names(bool writableOnly) {
    std::string names;
    for (const IntProperty& property : kProperties) {
        if (writableOnly && !property.writable) continue;
        names += (names.empty() ? "" : ", ") + std::string(property.code);
    }
    return names;
}

}  // namespace velora
