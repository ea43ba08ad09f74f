/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/Endpoint.h"

namespace velora {

const char* const kEndpointNames[kEndpointCount] = {"speaker", "headphone", "other"};

// Other static tables of the library (the store's port handling, the translators) read this
// map while they are built, so it is built first.
const std::map<std::string, Endpoint> kPortNameToEndpoint __attribute__((init_priority(101))) = {
    {"internal_speaker", ENDPOINT_SPEAKER},
    {"headphone", ENDPOINT_HEADPHONE},
    // Bluetooth and bus outputs are listened to like headphones.
    {"bluetooth", ENDPOINT_HEADPHONE},
    {"bus", ENDPOINT_HEADPHONE},
    {"hdmi", ENDPOINT_OTHER},
    {"miracast", ENDPOINT_OTHER},
    {"other", ENDPOINT_OTHER},
};

std::string endpoint_name(Endpoint endpoint) {
    if (endpoint < 0 || endpoint >= kEndpointCount) {
        return std::to_string(static_cast<int>(endpoint));
    }
    return kEndpointNames[endpoint];
}

}  // namespace velora
