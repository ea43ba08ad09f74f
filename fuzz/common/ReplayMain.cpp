/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Runs a fuzz target's entry function once per file, without libFuzzer, so the normal build
// replays the seed corpus and every input that ever crashed a target. Arguments are files or
// folders (every regular file inside, in name order; names starting with "." are skipped).
// A crash ends the run with the sanitizer's or the system's report; otherwise the exit status
// is 0, or 1 when a named path does not exist or cannot be read.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

bool run_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    fprintf(stderr, "replaying %s (%zu bytes)\n", path.c_str(), bytes.size());
    // A copy of exactly the input's size, so a read past its end is caught as in the fuzzer.
    std::vector<uint8_t> exact(bytes);
    LLVMFuzzerTestOneInput(exact.empty() ? nullptr : exact.data(), exact.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    bool ok = true;
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        fs::path path(argv[i]);
        if (fs::is_directory(path, error)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::directory_iterator(path, error)) {
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') {
                    files.push_back(entry.path());
                }
            }
            std::sort(files.begin(), files.end());
            for (const auto& file : files) ok = run_file(file) && ok, ++count;
        } else {
            ok = run_file(path) && ok;
            ++count;
        }
    }
    fprintf(stderr, "%zu inputs replayed\n", count);
    return ok ? 0 : 1;
}
