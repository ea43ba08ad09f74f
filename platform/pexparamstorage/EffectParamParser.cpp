/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "EffectParamParser"

#include <log/log.h>
#include <pexparamstorage/EffectParamParser.h>
#include <string.h>

namespace android {

namespace {

constexpr uint32_t kBatchHeaderWords = 2;
constexpr uint32_t kRecordHeaderWords = 3;

}  // namespace

EffectParamParser::EffectParamParser(const void* data, uint32_t size)
    : mData(static_cast<const uint8_t*>(data)),
      mSize(size),
      mWordCount(data == nullptr ? 0 : size / 4),
      mNextWord(kBatchHeaderWords),
      mNextRecord(0) {}

uint32_t EffectParamParser::wordAt(uint32_t index) const {
    uint32_t value;
    memcpy(&value, mData + static_cast<size_t>(index) * 4, sizeof(value));
    return value;
}

bool EffectParamParser::wordsFit() const { return mWordCount >= kBatchHeaderWords; }

uint32_t EffectParamParser::getDevice() const { return wordsFit() ? wordAt(0) : 0; }

uint32_t EffectParamParser::getRecordCount() const { return wordsFit() ? wordAt(1) : 0; }

bool EffectParamParser::validate() {
    if (mData == nullptr) {
        ALOGE("validate: no batch");
        return false;
    }
    // The values are handed out in place as int32_t pointers.
    if (reinterpret_cast<uintptr_t>(mData) % alignof(int32_t) != 0) {
        ALOGE("validate: batch at %p is not aligned to 32-bit words", mData);
        return false;
    }
    if (mSize % 4 != 0 || mSize < kBatchHeaderWords * 4) {
        ALOGE("validate: a batch of %u bytes is not a whole number of words with a header", mSize);
        return false;
    }
    const uint32_t expected = wordAt(1);
    uint32_t word = kBatchHeaderWords;
    uint32_t records = 0;
    while (word < mWordCount) {
        if (mWordCount - word < kRecordHeaderWords) {
            ALOGE("validate: record %u is cut short after word %u", records, word);
            return false;
        }
        const uint32_t count = wordAt(word + 2);
        word += kRecordHeaderWords;
        if (count > mWordCount - word) {
            ALOGE("validate: record %u claims %u values, the batch holds %u more words", records,
                  count, mWordCount - word);
            return false;
        }
        word += count;
        records++;
    }
    if (records != expected) {
        ALOGE("validate: the batch holds %u records but announces %u", records, expected);
        return false;
    }
    return true;
}

void EffectParamParser::begin() {
    mNextWord = kBatchHeaderWords;
    mNextRecord = 0;
}

bool EffectParamParser::next(uint32_t* device, PexParameterId* id, const int32_t** values,
                             uint32_t* count) {
    if (!wordsFit() || mNextRecord >= getRecordCount() || mNextWord > mWordCount ||
        mWordCount - mNextWord < kRecordHeaderWords) {
        return false;
    }
    const uint32_t n = wordAt(mNextWord + 2);
    const uint32_t first = mNextWord + kRecordHeaderWords;
    if (n > mWordCount - first) {
        return false;
    }
    if (device != nullptr) *device = wordAt(mNextWord);
    if (id != nullptr) *id = wordAt(mNextWord + 1);
    if (count != nullptr) *count = n;
    if (values != nullptr) {
        *values = reinterpret_cast<const int32_t*>(mData + static_cast<size_t>(first) * 4);
    }
    mNextWord = first + n;
    mNextRecord++;
    return true;
}

}  // namespace android
