/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "service/PackedBuffer.h"

#include <cstring>

namespace velora {

PackedBuffer::PackedBuffer(const void* data, size_t length)
    : mData(static_cast<const uint8_t*>(data)),
      mWritable(nullptr),
      mLength(data != nullptr ? length : 0) {}

PackedBuffer::PackedBuffer(void* data, size_t length)
    : mData(static_cast<const uint8_t*>(data)),
      mWritable(static_cast<uint8_t*>(data)),
      mLength(data != nullptr ? length : 0) {}

uint8_t PackedBuffer::getByte(size_t offset) const { return offset < mLength ? mData[offset] : 0; }

int32_t PackedBuffer::getWord(size_t index) const {
    uint8_t bytes[sizeof(int32_t)] = {0, 0, 0, 0};
    const size_t offset = index * sizeof(int32_t);
    for (size_t i = 0; i < sizeof(bytes); ++i) {
        bytes[i] = getByte(offset + i);
    }
    int32_t word;
    memcpy(&word, bytes, sizeof(word));
    return word;
}

std::vector<int> PackedBuffer::getWordsFrom(size_t first) const {
    std::vector<int> words;
    const size_t whole = mLength / sizeof(int32_t);
    for (size_t index = first; index < whole; ++index) {
        words.push_back(getWord(index));
    }
    return words;
}

uint32_t PackedBuffer::getRequestCommand() const {
    return static_cast<uint32_t>(getByte(3)) | (static_cast<uint32_t>(getByte(0)) << 8) |
           (static_cast<uint32_t>(getByte(1)) << 16) | (static_cast<uint32_t>(getByte(2)) << 24);
}

void PackedBuffer::setWord(size_t index, int32_t value) {
    if (mWritable == nullptr) {
        return;
    }
    uint8_t bytes[sizeof(int32_t)];
    memcpy(bytes, &value, sizeof(bytes));
    const size_t offset = index * sizeof(int32_t);
    for (size_t i = 0; i < sizeof(bytes) && offset + i < mLength; ++i) {
        mWritable[offset + i] = bytes[i];
    }
}

}  // namespace velora
