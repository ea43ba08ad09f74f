/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <map>
#include <string>

namespace velora {

// The output classes whose settings a profile keeps apart.
enum Endpoint : int { ENDPOINT_SPEAKER = 0, ENDPOINT_HEADPHONE = 1, ENDPOINT_OTHER = 2 };

constexpr int kEndpointCount = 3;

// Printable names, indexed by value: "speaker", "headphone", "other".
extern const char* const kEndpointNames[kEndpointCount];

// The printable name of an endpoint; a value outside the three gives its number as text.
std::string endpoint_name(Endpoint endpoint);

// Which endpoint's settings an output port uses. Bluetooth and "bus" outputs are treated as
// headphones, HDMI and Miracast as "other". Exactly seven entries; a name outside them has no
// endpoint and the caller decides what to do. Built before any other static object of the
// library, so other static tables may use it while they are built.
extern const std::map<std::string, Endpoint> kPortNameToEndpoint;

}  // namespace velora
