/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velora {

// A client's byte buffer seen as 32-bit words in native order, strictly within the length the
// client gave: bytes past the end read as zero and writes past the end are dropped, so a short
// or odd-length buffer is never read or written beyond what the client sent.
//
// Threading: a view over memory the caller owns; no state of its own.
class PackedBuffer {
  public:
    // A read-only view.
    PackedBuffer(const void* data, size_t length);
    // A view that may also write (the set buffer gets the applied value back).
    PackedBuffer(void* data, size_t length);

    size_t length() const { return mLength; }
    // True when the buffer holds at least this many bytes.
    bool covers(size_t bytes) const { return mLength >= bytes; }

    uint8_t getByte(size_t offset) const;
    int32_t getWord(size_t index) const;
    // The whole words from index first to the end; a trailing partial word is not a value.
    std::vector<int> getWordsFrom(size_t first) const;
    // The command of a get request. Its bytes count in the order 3, 0, 1, 2 from the lowest
    // digit up, which is how clients have always sent it: 00 00 00 03 is command 3.
    uint32_t getRequestCommand() const;

    // Writes a word; the bytes that fall past the end are dropped. Ignored on a read-only view.
    void setWord(size_t index, int32_t value);

  private:
    const uint8_t* mData;
    uint8_t* mWritable;
    size_t mLength;
};

}  // namespace velora
