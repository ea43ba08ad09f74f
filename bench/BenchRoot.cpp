/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/BenchRoot.h"

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>

#include "common/SystemPaths.h"

namespace velora::bench {

namespace fs = std::filesystem;

BenchRoot::BenchRoot() {
    std::string templ = (fs::temp_directory_path() / "velora-bench-XXXXXX").string();
    if (mkdtemp(templ.data()) == nullptr) {
        perror("mkdtemp");
        abort();
    }
    mPath = templ;
    for (const char* dir : {"/odm/etc/velora", "/data/vendor/multimedia", "/data/vendor/velora"}) {
        fs::create_directories(mPath + dir);
    }
    SystemPaths::setRoot(mPath);
}

BenchRoot::~BenchRoot() {
    SystemPaths::setRoot("/");
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

void BenchRoot::install(const std::string& hostFile, const std::string& devicePath) const {
    fs::path target = hostPath(devicePath);
    fs::create_directories(target.parent_path());
    fs::copy_file(hostFile, target, fs::copy_options::overwrite_existing);
}

void BenchRoot::activate() const { SystemPaths::setRoot(mPath); }

}  // namespace velora::bench
