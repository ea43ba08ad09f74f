/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "effect/SetParamCommand.h"

#include "effect/PexEffect.h"

namespace velora {

SetParamCommand::SetParamCommand(int device) : mDeviceId(-1), mCount(0), mBuffer{device, 0} {}

void SetParamCommand::setDeviceId(int device) { mDeviceId = device; }

// Writes the record's head; the caller appends exactly valueCount values after it.
void SetParamCommand::appendRecord(PexParameter parameter, int valueCount) {
    mBuffer.push_back(mDeviceId);
    // The id is an unsigned 32-bit word; the buffer holds it bit for bit.
    mBuffer.push_back(static_cast<int>(pex_parameter_id(parameter)));
    mBuffer.push_back(valueCount);
    ++mCount;
}

void SetParamCommand::add(PexParameter parameter, int value) {
    appendRecord(parameter, 1);
    mBuffer.push_back(value);
}

void SetParamCommand::add(PexParameter parameter, std::vector<int>* values) {
    const int n = values == nullptr ? 0 : static_cast<int>(values->size());
    appendRecord(parameter, n);
    if (values != nullptr) {
        mBuffer.insert(mBuffer.end(), values->begin(), values->end());
    }
}

void SetParamCommand::add(PexParameter parameter, std::initializer_list<std::vector<int>*> parts) {
    size_t total = 0;
    for (const std::vector<int>* part : parts) {
        if (part != nullptr) total += part->size();
    }
    appendRecord(parameter, static_cast<int>(total));
    for (const std::vector<int>* part : parts) {
        if (part != nullptr) mBuffer.insert(mBuffer.end(), part->begin(), part->end());
    }
}

void SetParamCommand::add(PexParameter parameter, int leading,
                          std::initializer_list<std::vector<int>*> parts) {
    size_t total = 1;
    for (const std::vector<int>* part : parts) {
        if (part != nullptr) total += part->size();
    }
    appendRecord(parameter, static_cast<int>(total));
    mBuffer.push_back(leading);
    for (const std::vector<int>* part : parts) {
        if (part != nullptr) mBuffer.insert(mBuffer.end(), part->begin(), part->end());
    }
}

void SetParamCommand::addEmpty(uint32_t id) {
    mBuffer.push_back(mDeviceId);
    mBuffer.push_back(static_cast<int>(id));
    mBuffer.push_back(0);
    ++mCount;
}

void SetParamCommand::truncate(size_t words, int count) {
    if (words < mBuffer.size()) mBuffer.resize(words);
    mCount = count;
}

int SetParamCommand::execute(PexEffect& effect) {
    if (mCount == 0) {
        return 0;
    }
    mBuffer[1] = mCount;
    return effect.send(0, mBuffer);
}

}  // namespace velora
