/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "ABuffer"

#include <log/log.h>
#include <media/stagefright/foundation/ABuffer.h>

namespace android {

ABuffer::ABuffer(size_t capacity)
    : mData(capacity == 0 ? nullptr : new uint8_t[capacity]()),
      mCapacity(capacity),
      mRangeOffset(0),
      mRangeLength(capacity),
      mOwnsData(true) {}

ABuffer::ABuffer(void* data, size_t capacity)
    : mData(static_cast<uint8_t*>(data)),
      mCapacity(capacity),
      mRangeOffset(0),
      mRangeLength(capacity),
      mOwnsData(false) {}

ABuffer::~ABuffer() {
    if (mOwnsData) delete[] mData;
}

status_t ABuffer::setRange(size_t offset, size_t size) {
    if (offset > mCapacity || size > mCapacity - offset) {
        ALOGE("setRange(%zu, %zu) does not fit a capacity of %zu", offset, size, mCapacity);
        return BAD_VALUE;
    }
    mRangeOffset = offset;
    mRangeLength = size;
    return OK;
}

}  // namespace android
