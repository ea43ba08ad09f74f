/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/IeqPreset.h"

#include <sstream>

namespace velora {

const std::set<Parameter> IeqPreset::kValidParams __attribute__((init_priority(101))) =
    parameters_of_kinds({RecordKind::IeqPreset});

IeqPreset::IeqPreset(PresetType type) : ParameterValues(-1, /*dirty=*/false), mType(type) {
    set(ieq_id, {static_cast<int>(type)});
}

IeqPreset::IeqPreset(long long id, PresetType type)
    : ParameterValues(static_cast<int64_t>(id), /*dirty=*/false), mType(type) {
    // Marks the preset dirty even when it comes from the database; the store clears the
    // flag itself once it has the record.
    set(ieq_id, {static_cast<int>(type)});
}

IeqPreset::~IeqPreset() = default;

std::string IeqPreset::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "type=" << preset_type_name(mType) << "\n"
        << valuesToString();
    return out.str();
}

}  // namespace velora
