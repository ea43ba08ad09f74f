/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

namespace velora {

// Android's output-device bits (audio_devices_t) for which the effect keeps settings.
// DEVICE_OUT_DEFAULT is not an Android output: it addresses the profile-wide settings.
enum AndroidDevice : int {
    DEVICE_OUT_SPEAKER = 0x2,
    DEVICE_OUT_WIRED_HEADPHONE = 0x8,
    DEVICE_OUT_BLUETOOTH_A2DP = 0x80,
    DEVICE_OUT_AUX_DIGITAL = 0x400,  // HDMI
    DEVICE_OUT_USB_DEVICE = 0x4000,
    DEVICE_OUT_REMOTE_SUBMIX = 0x8000,  // Miracast
    DEVICE_OUT_DEFAULT = 0x40000000,
};

}  // namespace velora
