/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace velora::testing {

// What the parameter store has committed: (device, parameter id) -> values, and the store's
// generation (the number of commits made to its file).
struct StoredParams {
    int generation = -1;
    std::map<std::pair<uint32_t, uint32_t>, std::vector<int>> values;

    bool has(uint32_t device, uint32_t id) const { return values.count({device, id}) != 0; }
    const std::vector<int>& at(uint32_t device, uint32_t id) const {
        return values.at({device, id});
    }
};

// Everything committed, read back through PexParamStore::getStoredParams.
StoredParams read_store();
// The same, read from the store's published file as another process would.
StoredParams read_published_file();

}  // namespace velora::testing
