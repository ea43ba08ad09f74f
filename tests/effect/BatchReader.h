/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace velora::testing {

// One record of a packed batch, as the parameter store receives it.
struct BatchRecord {
    int device;
    uint32_t id;
    std::vector<int> values;

    bool operator==(const BatchRecord& other) const {
        return device == other.device && id == other.id && values == other.values;
    }
};

// A packed batch taken apart word by word. Written against the layout the effect reads,
// independently of the code that builds batches: [device, count, (tag, id, n, values)...].
struct DecodedBatch {
    int device = 0;
    int count = 0;
    std::vector<BatchRecord> records;
    // Set when the words do not make up whole records.
    bool malformed = false;

    // The records with this id, in batch order.
    std::vector<BatchRecord> withId(uint32_t id) const;
};

DecodedBatch decode_batch(const std::vector<int>& words);

// Letters of an id, first character from the lowest byte ("dvla"), for failure messages.
std::string id_text(uint32_t id);

void PrintTo(const BatchRecord& record, std::ostream* os);

}  // namespace velora::testing
