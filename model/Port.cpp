/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/Port.h"

namespace velora {

const char* const kPortNames[kPortCount] = {
    "internal_speaker", "hdmi", "miracast", "headphone", "bluetooth", "usb", "other",
};

}  // namespace velora
