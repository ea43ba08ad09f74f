/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// A second process for the parameter store tests.
//
//   pexparam_test_process read FILE LAST_GENERATION
//       Reads the published file over and over until it shows LAST_GENERATION, checking that
//       every read is one whole commit of the test's writer (which stores the commit's number
//       in every value). Prints "ready" after its first read, then "ok reads=R", or what was
//       wrong.
//   pexparam_test_process commit ROOT DEVICE ID VALUE...
//       Commits one parameter through this process's own store under the filesystem root ROOT.
#include <pexparamstorage/PexParamFileReader.h>
#include <pexparamstorage/PexParamStore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "common/SystemPaths.h"

namespace {

using android::KeyedVector;
using android::PexParamCache;
using android::PexParamStore;

int read_until(const char* path, int last) {
    android::PexParamFileReader reader(path);
    int previous = -1;
    long reads = 0;
    for (int generation = 0; generation < last; ++reads) {
        KeyedVector<uint32_t, PexParamCache*> caches;
        const int err = reader.read(&caches, /*changedOnly=*/false, &generation);
        if (err != 0) {
            printf("error %d (%s)\n", err, strerror(-err));
            return 2;
        }
        int torn = 0;
        for (size_t i = 0; i < caches.size(); ++i) {
            for (const auto& param : *caches.valueAt(i)) {
                for (int32_t value : param.second) torn += value != generation;
            }
        }
        PexParamStore::releaseStoredParams(&caches);
        if (torn != 0 || generation < previous) {
            printf("torn commit: generation %d (after %d), %d values off\n", generation, previous,
                   torn);
            return 1;
        }
        if (previous < 0) printf("ready\n");
        fflush(stdout);
        previous = generation;
    }
    printf("ok reads=%ld\n", reads);
    return 0;
}

int commit(int argc, char** argv) {
    velora::SystemPaths::setRoot(argv[2]);
    const uint32_t device = static_cast<uint32_t>(strtoul(argv[3], nullptr, 0));
    const uint32_t id = static_cast<uint32_t>(strtoul(argv[4], nullptr, 0));
    std::vector<int32_t> values;
    for (int i = 5; i < argc; ++i)
        values.push_back(static_cast<int32_t>(strtol(argv[i], nullptr, 0)));
    PexParamStore& store = PexParamStore::getInstance();
    const int err = store.setParam(device, id, values.data(), static_cast<uint32_t>(values.size()));
    return err == 0 && store.commitChange() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "read") == 0) return read_until(argv[2], atoi(argv[3]));
    if (argc >= 5 && strcmp(argv[1], "commit") == 0) return commit(argc, argv);
    fprintf(stderr, "usage: %s read FILE LAST_GENERATION | commit ROOT DEVICE ID VALUE...\n",
            argv[0]);
    return 64;
}
