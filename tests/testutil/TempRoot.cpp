/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "testutil/TempRoot.h"

#include <stdlib.h>
#include <utime.h>

#include <filesystem>
#include <fstream>

#include "common/SystemPaths.h"

namespace velora::testing {

namespace fs = std::filesystem;

TempRoot::TempRoot(Storage storage) {
    std::error_code error;
    const fs::path base = storage == Storage::kMemory && fs::is_directory("/dev/shm", error)
                              ? fs::path("/dev/shm")
                              : fs::temp_directory_path();
    std::string templ = (base / "velora-test-XXXXXX").string();
    char* made = mkdtemp(templ.data());
    if (made == nullptr) abort();
    mPath = made;
    for (const char* dir : {"/odm/etc/velora", "/data/vendor/multimedia", "/data/vendor/velora"}) {
        fs::create_directories(mPath + dir);
    }
    SystemPaths::setRoot(mPath);
}

TempRoot::~TempRoot() {
    SystemPaths::setRoot("/");
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string TempRoot::hostPath(const std::string& devicePath) const { return mPath + devicePath; }

std::string TempRoot::sourceDir() { return VELORA_SOURCE_DIR; }

void TempRoot::install(const std::string& file, const std::string& devicePath) const {
    fs::path target = hostPath(devicePath);
    fs::create_directories(target.parent_path());
    const std::string from = !file.empty() && file[0] == '/' ? file : sourceDir() + "/" + file;
    fs::copy_file(from, target, fs::copy_options::overwrite_existing);
}

void TempRoot::write(const std::string& devicePath, const std::string& text) const {
    fs::path target = hostPath(devicePath);
    fs::create_directories(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out << text;
}

void TempRoot::remove(const std::string& devicePath) const {
    std::error_code ignored;
    fs::remove(hostPath(devicePath), ignored);
}

void TempRoot::activate() const { SystemPaths::setRoot(mPath); }

void TempRoot::setMtime(const std::string& devicePath, long seconds) const {
    struct utimbuf times = {seconds, seconds};
    utime(hostPath(devicePath).c_str(), &times);
}

}  // namespace velora::testing
