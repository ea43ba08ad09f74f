/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "PexParamFileReader"

#include <errno.h>
#include <log/log.h>
#include <pexparamstorage/PexParamFileReader.h>

#include "PexParamFile.h"

namespace android {

namespace {

constexpr int kReopenTries = 100;

}  // namespace

PexParamFileReader::PexParamFileReader(const std::string& path) : mPath(path) {}

PexParamFileReader::~PexParamFileReader() {}

int PexParamFileReader::read(KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly,
                             int* generation) {
    if (out == nullptr || (changedOnly && generation == nullptr)) {
        return -EINVAL;
    }
    uint32_t since = changedOnly && *generation > 0 ? static_cast<uint32_t>(*generation) : 0;
    Mutex::Autolock lock(mLock);
    PexParamSnapshot snapshot;
    int err = mFile == nullptr ? PexParamFile::openForReading(mPath, &mFile) : 0;
    if (err == 0) err = mFile->read(&snapshot);
    // Every commit puts a new file under the name and marks the one before as no parameter
    // file; a reader that held it, or opened it just before it was replaced, opens the new
    // one. A writer that commits faster than this reader opens could keep it behind, so the
    // tries are bounded.
    for (int tries = 0; err == -EBADMSG && tries < kReopenTries; ++tries) {
        if (mFile != nullptr && mFile->isAt(mPath)) break;
        mFile.reset();
        err = PexParamFile::openForReading(mPath, &mFile);
        if (err == 0) err = mFile->read(&snapshot);
    }
    if (err != 0) {
        // Opened afresh next time: the file may have been repaired or recreated meanwhile.
        mFile.reset();
        return err;
    }
    if (since > snapshot.generation) since = 0;  // from before the numbering started over
    PexParamFile::exportParams(snapshot, out, changedOnly, since);
    if (generation != nullptr) *generation = static_cast<int>(snapshot.generation);
    return 0;
}

}  // namespace android
