/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/Tuning.h"

#include <sstream>

namespace velora {

const std::set<Parameter> Tuning::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::Tuning});

// Only the three printable names: a port name such as "internal_speaker" is not an endpoint
// name here (ports go through kPortNameToEndpoint).
const std::map<std::string, Endpoint> Tuning::kEndpNameToEndpoint
    __attribute__((init_priority(101))) = {
        {"speaker", ENDPOINT_SPEAKER},
        {"headphone", ENDPOINT_HEADPHONE},
        {"other", ENDPOINT_OTHER},
};

Tuning::Tuning(const std::string& name, Endpoint endpoint, bool mono)
    : ParameterValues(-1, /*dirty=*/true),
      mName(name),
      mEndpoint(endpoint),
      mMono(mono),
      mReadonly(true) {}

Tuning::Tuning(long id, const std::string& name, Endpoint endpoint, bool mono, bool readonly)
    : ParameterValues(static_cast<int64_t>(id), /*dirty=*/false),
      mName(name),
      mEndpoint(endpoint),
      mMono(mono),
      mReadonly(readonly) {}

Tuning::~Tuning() = default;

void Tuning::setEndpoint(const std::string& name) {
    auto it = kEndpNameToEndpoint.find(name);
    if (it != kEndpNameToEndpoint.end()) {
        mEndpoint = it->second;
    }
}

std::string Tuning::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "name=" << mName << "\n"
        << "endpoint=" << endpoint_name(mEndpoint) << "\n"
        << "mono=" << (mMono ? "true" : "false") << "\n"
        << "readonly=" << (mReadonly ? "true" : "false") << "\n"
        << valuesToString();
    return out.str();
}

}  // namespace velora
