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
#include <fstream>

#include "common/SystemPaths.h"

namespace velora::fuzz {

namespace fs = std::filesystem;

namespace {

void drop_message(const struct __android_logger_data*, const char*) {}

// The targets keep their root for the whole process and never destroy it (the service may
// still run when statics go); the folder goes when the process ends normally.
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

FuzzRoot::FuzzRoot() {
    std::error_code error;
    fs::path base =
        fs::is_directory("/dev/shm", error) ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string templ = (base / "velora-fuzz-XXXXXX").string();
    if (mkdtemp(templ.data()) == nullptr) abort();
    mPath = templ;
    for (const char* dir : {"/odm/etc/velora", "/data/vendor/multimedia", "/data/vendor/velora"}) {
        fs::create_directories(mPath + dir);
    }
    SystemPaths::setRoot(mPath);
    if (gRootToRemove.empty()) {
        gRootToRemove = mPath;
        atexit(remove_root_at_exit);
    }
}

FuzzRoot::~FuzzRoot() {
    SystemPaths::setRoot("/");
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

void FuzzRoot::write(const std::string& devicePath, const uint8_t* data, size_t size) const {
    std::ofstream out(hostPath(devicePath), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void FuzzRoot::copy(const std::string& sourceFile, const std::string& devicePath) const {
    fs::copy_file(source_dir() + "/" + sourceFile, hostPath(devicePath),
                  fs::copy_options::overwrite_existing);
}

void FuzzRoot::remove(const std::string& devicePath) const {
    std::error_code ignored;
    fs::remove(hostPath(devicePath), ignored);
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

std::string source_dir() { return VELORA_SOURCE_DIR; }

}  // namespace velora::fuzz
