/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/BenchEnvironment.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>

#include "bench/TuningFileGenerator.h"

#ifndef VELORA_SOURCE_DIR
#error "VELORA_SOURCE_DIR must name the repository folder"
#endif

namespace velora::bench {

namespace fs = std::filesystem;

BenchEnvironment& BenchEnvironment::get() {
    static BenchEnvironment environment;
    return environment;
}

BenchEnvironment::Configure BenchEnvironment::measureFor(double seconds) const {
    // Apply() takes a plain function, so the few durations in use have one each.
    if (mOnce) return [](benchmark::internal::Benchmark* b) { b->Iterations(1); };
    if (mBrief) return [](benchmark::internal::Benchmark* b) { b->MinTime(0.01); };
    if (seconds >= 4.0) return [](benchmark::internal::Benchmark* b) { b->MinTime(4.0); };
    return [](benchmark::internal::Benchmark* b) { b->MinTime(2.0); };
}

std::string BenchEnvironment::sourceDir() { return VELORA_SOURCE_DIR; }

std::string BenchEnvironment::exampleFile() const {
    return sourceDir() + "/examples/multimedia_velora_kiv_default.xml";
}

std::string BenchEnvironment::oemFile() const { return sourceDir() + "/examples/kiv-extra.xml"; }

std::string BenchEnvironment::tuningFile(int scale) {
    if (scale <= 1) return exampleFile();
    auto it = mFiles.find(scale);
    if (it != mFiles.end()) return it->second;
    if (mWorkDir.empty()) {
        std::string templ = (fs::temp_directory_path() / "velora-bench-files-XXXXXX").string();
        if (mkdtemp(templ.data()) == nullptr) {
            perror("mkdtemp");
            return "";
        }
        mWorkDir = templ;
    }
    TuningFileGenerator generator(exampleFile());
    std::string path = mWorkDir + "/tuning_x" + std::to_string(scale) + ".xml";
    if (!generator.ok() || !generator.write(scale, path)) {
        fprintf(stderr, "cannot generate the tuning file of scale %d\n", scale);
        return "";
    }
    mFiles[scale] = path;
    return path;
}

long BenchEnvironment::tuningFileSize(int scale) {
    struct stat info;
    std::string path = tuningFile(scale);
    return !path.empty() && stat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_size) : -1;
}

void BenchEnvironment::cleanUp() {
    while (!mCleanUps.empty()) {
        std::function<void()> action = std::move(mCleanUps.back());
        mCleanUps.pop_back();
        action();
    }
    if (!mWorkDir.empty()) {
        std::error_code ignored;
        fs::remove_all(mWorkDir, ignored);
        mWorkDir.clear();
        mFiles.clear();
    }
}

}  // namespace velora::bench
