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

TempRoot::TempRoot() {
    std::string templ = (fs::temp_directory_path() / "velora-test-XXXXXX").string();
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

void TempRoot::install(const std::string& sourceFile, const std::string& devicePath) const {
    fs::path target = hostPath(devicePath);
    fs::create_directories(target.parent_path());
    fs::copy_file(sourceDir() + "/" + sourceFile, target, fs::copy_options::overwrite_existing);
}

void TempRoot::write(const std::string& devicePath, const std::string& text) const {
    fs::path target = hostPath(devicePath);
    fs::create_directories(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out << text;
}

void TempRoot::setMtime(const std::string& devicePath, long seconds) const {
    struct utimbuf times = {seconds, seconds};
    utime(hostPath(devicePath).c_str(), &times);
}

}  // namespace velora::testing
