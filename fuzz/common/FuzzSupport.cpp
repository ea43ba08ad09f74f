/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "common/FuzzSupport.h"

#include <android/log.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace velora::fuzz {

namespace fs = std::filesystem;

namespace {

void drop_message(const struct __android_logger_data*, const char*) {}

std::string gRootToRemove;

void remove_root_at_exit() {
    std::error_code ignored;
    if (!gRootToRemove.empty()) fs::remove_all(gRootToRemove, ignored);
}

}  // namespace

void quiet_log() {
    const char* keep = getenv("VELORA_FUZZ_LOG");
    if (keep != nullptr && strcmp(keep, "1") == 0) return;
    __android_log_set_logger(drop_message);
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
}

testing::TempRoot& process_root() {
    static testing::TempRoot* root = [] {
        quiet_log();
        auto* made = new testing::TempRoot(testing::TempRoot::Storage::kMemory);
        gRootToRemove = made->path();
        atexit(remove_root_at_exit);
        return made;
    }();
    return *root;
}

uint8_t FuzzInput::byte() { return mPos < mSize ? mData[mPos++] : 0; }

uint32_t FuzzInput::word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(byte()) << (8 * i);
    return value;
}

std::string FuzzInput::bytes(size_t count) {
    count = std::min(count, remaining());
    std::string out(reinterpret_cast<const char*>(mData + mPos), count);
    mPos += count;
    return out;
}

std::string FuzzInput::piece(size_t limit) { return bytes(std::min<size_t>(byte(), limit)); }

std::string FuzzInput::rest() { return bytes(remaining()); }

}  // namespace velora::fuzz
