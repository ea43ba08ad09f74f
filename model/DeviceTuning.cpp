/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "model/DeviceTuning.h"

#include <sstream>

namespace velora {

DeviceTuning::DeviceTuning(const std::string& device, const std::string& port,
                           const std::string& tuning)
    : mId(-1), mDevice(device), mPort(port), mTuning(tuning), mDirty(true) {}

// Dirty like a new one: the store decides when a device's choice is saved.
DeviceTuning::DeviceTuning(long long id, const std::string& device, const std::string& port,
                           const std::string& tuning)
    : mId(static_cast<int64_t>(id)), mDevice(device), mPort(port), mTuning(tuning), mDirty(true) {}

DeviceTuning::~DeviceTuning() = default;

int64_t DeviceTuning::getId() const { return mId; }

bool DeviceTuning::isDirty() const { return mDirty; }

void DeviceTuning::setDirty(bool dirty) { mDirty = dirty; }

std::string DeviceTuning::toString() const {
    std::ostringstream out;
    out << "id=" << mId << "\n"
        << "device=" << mDevice << "\n"
        << "port=" << mPort << "\n"
        << "tuning=" << mTuning;
    return out.str();
}

}  // namespace velora
