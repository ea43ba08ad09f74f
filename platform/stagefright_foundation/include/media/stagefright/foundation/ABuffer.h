/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

// A block of bytes with a valid range [offset, offset + size) inside its capacity. The bytes
// are owned (allocated zero-filled by the constructor) or borrowed from the caller.
// Threading: not synchronised; hand it over through a message, do not share it while it is
// being written.
struct ABuffer : public RefBase {
    // Owns `capacity` zero bytes; the range is the whole buffer.
    explicit ABuffer(size_t capacity);
    // Borrows `data`, which must outlive the buffer; the range is the whole block.
    ABuffer(void* data, size_t capacity);

    uint8_t* base() { return mData; }
    uint8_t* data() { return mData + mRangeOffset; }
    const uint8_t* data() const { return mData + mRangeOffset; }
    size_t capacity() const { return mCapacity; }
    size_t size() const { return mRangeLength; }
    size_t offset() const { return mRangeOffset; }

    // Returns BAD_VALUE and leaves the range unchanged when it does not fit the capacity.
    status_t setRange(size_t offset, size_t size);

  protected:
    ~ABuffer() override;

  private:
    uint8_t* mData;
    size_t mCapacity;
    size_t mRangeOffset;
    size_t mRangeLength;
    bool mOwnsData;

    ABuffer(const ABuffer&) = delete;
    ABuffer& operator=(const ABuffer&) = delete;
};

}  // namespace android
