/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <pexparamstorage/PexParamCache.h>
#include <stdint.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>

#include <memory>
#include <string>

namespace android {

class PexParamFile;

// Reads the parameters a PexParamStore published, from any process, without taking any lock
// that a writer waits for: the effect's side of the store, and what tools use to show it.
// Each read gives one whole commit. The file is mapped once and remapped when it has grown.
// Threading: every operation may be called from any thread.
class PexParamFileReader {
  public:
    // `path` is a host path, e.g. PexParamStore::getPublishedPath().
    explicit PexParamFileReader(const std::string& path);
    ~PexParamFileReader();

    const std::string& getPath() const { return mPath; }

    // Same contract as PexParamStore::getStoredParams, over the published file. Returns 0,
    // -ENOENT when nothing was published yet, -EBADMSG for a file that is not a parameter
    // file (or holds a commit its writer left half-written), -EAGAIN when no whole commit
    // could be read in time (a live writer stopped mid-commit), or another negative errno from
    // opening or mapping the file.
    int read(KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly, int* generation);

  private:
    const std::string mPath;
    Mutex mLock;
    std::unique_ptr<PexParamFile> mFile GUARDED_BY(mLock);

    PexParamFileReader(const PexParamFileReader&) = delete;
    PexParamFileReader& operator=(const PexParamFileReader&) = delete;
};

}  // namespace android
