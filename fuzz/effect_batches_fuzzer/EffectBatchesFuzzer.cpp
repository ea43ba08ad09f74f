/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// The two ways parameters reach the effect's side. A packed batch, in memory of exactly its
// size and aligned as a batch is, walked by the parser (every value handed out is read, so a
// record reaching past the buffer is caught) and then sent through the effect handle into the
// parameter store, which commits and publishes it. And a parameter file as another process
// (or a crash half-way through a write) may leave it, read by the reader the effect uses.
//
// Input: one byte choosing the kind (even: batch; odd: file; for a file the byte's bit 1 asks
// for changed values only), then the batch or the file.
#include <pexparamstorage/EffectParamParser.h>
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <utils/KeyedVector.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/FuzzSupport.h"
#include "effect/PexEffect.h"

using velora::fuzz::FuzzInput;
using velora::fuzz::process_root;
using velora::testing::TempRoot;

namespace {

const char* const kForeignFile = "/data/vendor/velora/foreign-pexparams.bin";

volatile int32_t gSink;

void walk_batch(const std::string& bytes) {
    // A vector of words keeps the batch aligned; the parser is given the exact byte size.
    std::vector<int32_t> words((bytes.size() + 3) / 4);
    if (!words.empty())
        memcpy(words.data(), bytes.data(), std::min(bytes.size(), words.size() * 4));
    const void* data = words.empty() ? nullptr : words.data();
    const uint32_t size = static_cast<uint32_t>(bytes.size());

    android::EffectParamParser parser(data, size);
    const bool valid = parser.validate();
    parser.getDevice();
    parser.getRecordCount();
    parser.begin();
    uint32_t device = 0;
    android::PexParameterId id = 0;
    const int32_t* values = nullptr;
    uint32_t count = 0;
    while (parser.next(&device, &id, &values, &count)) {
        uint32_t sum = 0;
        for (uint32_t i = 0; i < count; ++i) sum += static_cast<uint32_t>(values[i]);
        gSink = static_cast<int32_t>(sum);
    }
    if (valid) {
        velora::PexEffect effect(0, "fuzz");
        effect.sendSharedStore(words.data(), size);
    }
}

void read_file(TempRoot& fuzzRoot, const std::string& bytes, bool changedOnly) {
    fuzzRoot.write(kForeignFile, bytes);
    android::PexParamFileReader reader(fuzzRoot.hostPath(kForeignFile));
    android::KeyedVector<uint32_t, android::PexParamCache*> devices;
    int generation = 0;
    reader.read(&devices, changedOnly, &generation);
    android::PexParamStore::releaseStoredParams(&devices);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TempRoot& fuzzRoot = process_root();
    FuzzInput in(data, size);
    const uint8_t kind = in.byte();
    if ((kind & 1) == 0) {
        walk_batch(in.rest());
    } else {
        read_file(fuzzRoot, in.rest(), (kind & 2) != 0);
    }
    return 0;
}
