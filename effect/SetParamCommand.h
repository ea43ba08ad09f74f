/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "effect/PexParameter.h"

namespace velora {

class PexEffect;

// One batch of effect parameter writes: what a single state change produces. The translators
// add records; the controller executes the batch once, and the effect hands it to the
// parameter store as one commit.
//
// Packed layout, 32-bit words in native order: [device, record count, records...], each
// record being [device tag, parameter id, n, n values]. The count word stays 0 while the
// batch is built and is written by execute().
//
// Not thread-safe; a batch lives on the thread that builds and executes it.
class SetParamCommand {
  public:
    explicit SetParamCommand(int device);

    // The device tag carried by the records added from now on; -1 until first set.
    void setDeviceId(int device);

    // [tag, id, 1, value]
    void add(PexParameter parameter, int value);
    // [tag, id, n, values...]; n may be 0.
    void add(PexParameter parameter, std::vector<int>* values);
    // One record whose values are all parts joined in the given order.
    void add(PexParameter parameter, std::initializer_list<std::vector<int>*> parts);
    // As above, with one integer in front of the parts.
    void add(PexParameter parameter, int leading, std::initializer_list<std::vector<int>*> parts);
    // A record of the parameter id with no values: the parameter holds nothing any more.
    void addEmpty(uint32_t id);
    // Takes back every record after the first words and count records.
    void truncate(size_t words, int count);

    // An empty batch is dropped here (returns 0) so that the store never sees a commit without
    // records. Otherwise writes the count and returns what the effect's send returns.
    int execute(PexEffect& effect);

    int getDeviceId() const { return mDeviceId; }
    int getCount() const { return mCount; }
    const std::vector<int>& getBuffer() const { return mBuffer; }

  private:
    void appendRecord(PexParameter parameter, int valueCount);

    int mDeviceId;
    int mCount;
    std::vector<int> mBuffer;
};

}  // namespace velora
