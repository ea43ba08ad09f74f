/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velora::fuzz {

// Quiets the platform log for the whole process while keeping every message formatted: the
// minimum priority goes down to verbose, so each log call still builds its text (a bad format
// argument still shows), and the text is dropped instead of written to standard error, which
// would cost more than the service's own work. VELORA_FUZZ_LOG=1 keeps the normal output.
void quiet_log();

// A filesystem root of its own for the process, with the service's folders, removed at exit.
// It lives in /dev/shm when that exists: every input writes files, and a memory file system
// keeps the fuzzer's speed independent of the disk.
class FuzzRoot {
  public:
    FuzzRoot();
    ~FuzzRoot();
    FuzzRoot(const FuzzRoot&) = delete;
    FuzzRoot& operator=(const FuzzRoot&) = delete;

    const std::string& path() const { return mPath; }
    std::string hostPath(const std::string& devicePath) const { return mPath + devicePath; }
    void write(const std::string& devicePath, const uint8_t* data, size_t size) const;
    void copy(const std::string& sourceFile, const std::string& devicePath) const;
    void remove(const std::string& devicePath) const;

  private:
    std::string mPath;
};

// Reads an input front to back; past its end every read gives zeros or nothing.
class FuzzInput {
  public:
    FuzzInput(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    size_t remaining() const { return mSize - mPos; }
    uint8_t byte();
    uint32_t word();
    std::string bytes(size_t count);
    // A piece of at most `limit` bytes whose length comes from the input itself.
    std::string piece(size_t limit);
    std::string rest();

  private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

// The folder holding the sources, for the example files the targets start from.
std::string source_dir();

}  // namespace velora::fuzz
