/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "tools/veloractl/ExternalParameter.h"

#include <algorithm>
#include <cctype>

#include "tools/veloractl/TextParsing.h"

namespace velora {

using Scope = ExternalParameter::Scope;

const ExternalParameter ExternalParameter::kTable[ExternalParameter::kCount] = {
    {101, "headphone-virtualizer-enable", 1, 0, 1, Scope::FixedEndpoint,
     "virtualizer on the headphone endpoint"},
    {102, "speaker-virtualizer-enable", 1, 0, 1, Scope::FixedEndpoint,
     "virtualizer on the speaker endpoint"},
    {103, "volume-leveler-enable", 1, 0, 1, Scope::Endpoint, "volume leveler on/off"},
    {104, "ieq-preset", 1, 0, 3, Scope::Profile,
     "intelligent-equalizer preset: 0 off, 1 detailed, 2 balanced, 3 warm"},
    {105, "dialog-enhancer-enable", 1, 0, 1, Scope::Endpoint, "dialog enhancer on/off"},
    {106, "geq-enable", 1, 0, 1, Scope::Endpoint, "graphic equalizer on/off"},
    {107, "ieq-amount", 1, 0, 16, Scope::Profile, "intelligent-equalizer amount"},
    {108, "dialog-enhancer-amount", 1, 0, 16, Scope::Endpoint, "dialog enhancer amount"},
    {109, "dialog-enhancer-ducking", 1, 0, 16, Scope::Endpoint, "dialog enhancer ducking"},
    {110, "geq-gains", 20, -576, 576, Scope::GraphicEq, "graphic-equalizer band gains"},
    {111, "bass-enhancer-enable", 1, 0, 1, Scope::Endpoint,
     "bass enhancer on/off (also switches virtual bass)"},
    {112, "virtual-bass-enable", 1, 0, 1, Scope::Endpoint, "virtual bass on/off"},
};

const ExternalParameter* ExternalParameter::byId(int id) {
    if (id < kFirstId || id > kLastId) return nullptr;
    return &kTable[id - kFirstId];
}

const ExternalParameter* ExternalParameter::find(const std::string& text) {
    int id = 0;
    if (parse_int(text, &id)) return byId(id);
    std::string wanted = text;
    std::transform(wanted.begin(), wanted.end(), wanted.begin(), [](unsigned char c) {
        return c == '_' ? '-' : static_cast<char>(std::tolower(c));
    });
    for (const ExternalParameter& parameter : kTable) {
        if (wanted == parameter.name) return &parameter;
    }
    return nullptr;
}

const char* external_parameter_scope_name(ExternalParameter::Scope scope) {
    switch (scope) {
        case Scope::Profile:
            return "profile";
        case Scope::Endpoint:
            return "endpoint";
        case Scope::FixedEndpoint:
            return "fixed-endpoint";
        case Scope::GraphicEq:
            return "graphic-eq";
    }
    return "unknown";
}

}  // namespace velora
