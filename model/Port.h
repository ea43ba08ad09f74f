/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// The physical output ports for which a tuning device can be selected.
enum Port : int {
    PORT_INTERNAL_SPEAKER = 0,
    PORT_HDMI = 1,
    PORT_MIRACAST = 2,
    PORT_HEADPHONE = 3,
    PORT_BLUETOOTH = 4,
    PORT_USB = 5,
    PORT_OTHER = 6,
};

constexpr int kPortCount = 7;

// Port names, indexed by value: "internal_speaker", "hdmi", "miracast", "headphone",
// "bluetooth", "usb", "other".
extern const char* const kPortNames[kPortCount];

}  // namespace velora
