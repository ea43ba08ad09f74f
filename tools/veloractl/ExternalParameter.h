/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <string>

namespace velora {

// The settings a client addresses by external id (101 to 112), with the human names veloractl
// accepts for them. Ranges and lengths are the service's own; veloractl uses them to size
// answer buffers and to tell users what the service will clamp, never to refuse a value.
struct ExternalParameter {
    // Where the value lives, which decides whether a port may be given.
    enum class Scope {
        Profile,        // one value set for the profile
        Endpoint,       // kept per endpoint: a write without a port changes all of them
        FixedEndpoint,  // a virtualizer switch bound to one endpoint; not clamped
        GraphicEq,      // the profile's graphic-equalizer preset
    };

    int id;
    const char* name;
    int length;
    int minimum;
    int maximum;
    Scope scope;
    const char* description;

    static constexpr int kFirstId = 101;
    static constexpr int kLastId = 112;
    static constexpr int kCount = kLastId - kFirstId + 1;

    // All twelve, in id order.
    static const ExternalParameter kTable[kCount];

    // By id ("103") or by name ("volume-leveler-enable"; "_" is read as "-", case ignored).
    // Null when the text names no parameter.
    static const ExternalParameter* find(const std::string& text);
    static const ExternalParameter* byId(int id);

    bool clamps() const { return scope != Scope::FixedEndpoint; }
    bool perEndpoint() const { return scope == Scope::Endpoint; }
};

const char* external_parameter_scope_name(ExternalParameter::Scope scope);

}  // namespace velora
