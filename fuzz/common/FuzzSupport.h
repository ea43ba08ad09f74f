/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "testutil/TempRoot.h"

namespace velora::fuzz {

// Quiets the platform log for the whole process while keeping every message formatted: the
// minimum priority goes down to verbose, so each log call still builds its text (a bad format
// argument still shows), and the text is dropped instead of written to standard error, which
// would cost more than the service's own work. VELORA_FUZZ_LOG=1 keeps the normal output.
void quiet_log();

// The process's filesystem root, with the service's folders, made in memory on first use
// (after quiet_log). It is never destroyed, since the service may still run when statics go;
// the folder is removed when the process ends normally.
testing::TempRoot& process_root();

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

}  // namespace velora::fuzz
