/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "BatchReader.h"

namespace velora::testing {

std::vector<BatchRecord> DecodedBatch::withId(uint32_t id) const {
    std::vector<BatchRecord> found;
    for (const BatchRecord& record : records) {
        if (record.id == id) found.push_back(record);
    }
    return found;
}

DecodedBatch decode_batch(const std::vector<int>& words) {
    DecodedBatch batch;
    if (words.size() < 2) {
        batch.malformed = true;
        return batch;
    }
    batch.device = words[0];
    batch.count = words[1];
    size_t at = 2;
    while (at < words.size()) {
        if (words.size() - at < 3) {
            batch.malformed = true;
            break;
        }
        BatchRecord record;
        record.device = words[at];
        record.id = static_cast<uint32_t>(words[at + 1]);
        const int n = words[at + 2];
        at += 3;
        if (n < 0 || static_cast<size_t>(n) > words.size() - at) {
            batch.malformed = true;
            break;
        }
        record.values.assign(words.begin() + at, words.begin() + at + n);
        at += n;
        batch.records.push_back(record);
    }
    return batch;
}

std::string id_text(uint32_t id) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((id >> (8 * i)) & 0xFF);
        if (c != 0) text += c;
    }
    return text;
}

void PrintTo(const BatchRecord& record, std::ostream* os) {
    *os << "{device 0x" << std::hex << record.device << std::dec << ", \"" << id_text(record.id)
        << "\", [";
    for (size_t i = 0; i < record.values.size(); ++i) {
        *os << (i ? "," : "") << record.values[i];
    }
    *os << "]}";
}

}  // namespace velora::testing
