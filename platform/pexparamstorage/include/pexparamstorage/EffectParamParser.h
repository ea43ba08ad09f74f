/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <pexparamstorage/PexParamTypes.h>
#include <stdint.h>

namespace android {

// Walks a packed parameter batch in place. The batch is a sequence of native 32-bit words:
// word 0 the batch's device, word 1 the number of records, then each record as
// [device tag, parameter id, n, n values], with nothing after the last record.
//
// validate() accepts only a batch of exactly that shape: a non-null, 4-byte aligned buffer
// whose size is a multiple of 4 and at least 8 bytes, whose every record fits the size, whose
// record count equals word 1, and which has no bytes after the last record. next() never reads
// outside the buffer, whether or not validate() was called.
// Threading: one parser per thread; the buffer must not change while it is walked.
class EffectParamParser {
  public:
    EffectParamParser(const void* data, uint32_t size);

    bool validate();
    // Rewinds to the first record.
    void begin();
    // Gives the next record and returns true, or returns false when there is no further
    // (complete) record. `values` points into the batch.
    bool next(uint32_t* device, PexParameterId* id, const int32_t** values, uint32_t* count);

    // Word 0 and word 1 of the batch (0 when the batch is shorter than 8 bytes).
    uint32_t getDevice() const;
    uint32_t getRecordCount() const;

  private:
    uint32_t wordAt(uint32_t index) const;
    bool wordsFit() const;

    const uint8_t* mData;
    uint32_t mSize;
    uint32_t mWordCount;
    uint32_t mNextWord;    // index of the next record's first word
    uint32_t mNextRecord;  // number of records given so far
};

}  // namespace android
