/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <pexparamstorage/PexParamCache.h>
#include <pexparamstorage/PexParamTypes.h>
#include <stdint.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace android {

class PexParamFile;
struct PexParamSnapshot;

// The parameter store shared between the settings service and the effect. One per process.
//
// Writes are staged with setParam() and become visible together with commitChange(), which
// publishes every committed parameter to a memory-mapped file, "/data/vendor/velora/
// pexparams.bin" under the filesystem root, where any process reads them (see
// PexParamFileReader). A reader never sees part of a commit. Each commit is numbered: the
// store's generation counts the commits made to the file, and every parameter remembers the
// generation in which its values last changed.
//
// The file is the store's published state: when the store opens it (at first use, and again
// whenever the filesystem root has moved) it takes over what the file holds; when another
// process has committed to the same file meanwhile, the store reads that in before its own
// next commit or read, so commits from several processes add up instead of overwriting each
// other. When the file cannot be written, a commit still takes effect in this process and
// reports the error; the next successful commit publishes everything.
//
// Threading: every operation may be called from any thread; they are serialised by one lock.
class PexParamStore {
  public:
    // A parameter may hold at most this many values. The effect's largest parameters are
    // tables of bands or channels of a few dozen to a few hundred values.
    static constexpr uint32_t kMaxValueCount = 2048;
    // Every parameter committed or staged, as the file stores it (four words of record header
    // and the values), takes at most this many bytes together; the file then never grows
    // beyond its 64-byte header plus this, rounded up to whole pages.
    static constexpr uint32_t kMaxPayloadBytes = 8u << 20;
    // Generations run from 1 to the largest an int carries to readers; the commit after it
    // starts the numbering over at 1.
    static constexpr uint32_t kMaxGeneration = 0x7FFFFFFF;

    // Created on first use, under the lock of function-local statics, and never destroyed.
    static PexParamStore& getInstance();

    // Stages the values of one parameter of one device until the next commitChange(), replacing
    // what was staged for it before. Returns -EINVAL when `values` is null with a count above 0,
    // -E2BIG when the count exceeds kMaxValueCount, -ENOSPC when the committed and staged
    // parameters would no longer fit in kMaxPayloadBytes (nothing is staged then).
    int setParam(uint32_t device, PexParameterId id, const int32_t* values, uint32_t count);

    // Applies everything staged as one commit (the next generation, even when nothing was
    // staged) and publishes the whole committed state to the file. Returns 0, or the negative
    // errno of the file operation that failed (the commit then holds in this process only).
    int commitChange();

    // Reads back what is committed, one PexParamCache per device in `out` (keyed by device).
    // Caches already in `out` are updated in place, new ones are added; the caller owns every
    // cache in `out` (releaseStoredParams frees them).
    //  - changedOnly false: every committed parameter; `generation`, when not null, receives
    //    the current generation.
    //  - changedOnly true: only the parameters whose values changed in a commit after the
    //    generation given in *generation (0 gives all), which then receives the current one.
    //    So a reader that keeps its `out` and its generation follows the store incrementally.
    //    A generation beyond the current one was handed out before the numbering started
    //    over (or the file was started over): it gives all parameters too.
    // Returns 0, or -EINVAL for a null `out`, or changedOnly with a null `generation`.
    int getStoredParams(KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly,
                        int* generation);

    // Deletes every cache in `params` and empties it.
    static void releaseStoredParams(KeyedVector<uint32_t, PexParamCache*>* params);

    // The published file under the current filesystem root.
    static std::string getPublishedPath();

  private:
    PexParamStore();
    ~PexParamStore() = delete;
    PexParamStore(const PexParamStore&) = delete;
    PexParamStore& operator=(const PexParamStore&) = delete;

    // Starts over from nothing committed when the filesystem root has moved.
    void followRoot_l() REQUIRES(mLock);
    // Opens the file of the current root when it is not the one open; returns 0 or -errno.
    int openFile_l() REQUIRES(mLock);
    // Takes over the file's state when another process has committed beyond ours.
    void syncFromFile_l() REQUIRES(mLock);
    // Takes the writer lock of the file now under the path; one that replaced ours (a damaged
    // file recreated by another writer) is opened first. Returns 0 or -errno.
    int lockCurrentFile_l() REQUIRES(mLock);
    // The words a (device, id) with n values adds to the payload beyond what it holds now.
    int64_t addedWords_l(const std::pair<uint32_t, PexParameterId>& key, size_t n) const
        REQUIRES(mLock);
    // Counts the payload afresh after the committed state was replaced.
    void recount_l() REQUIRES(mLock);

    Mutex mLock;
    std::map<std::pair<uint32_t, PexParameterId>, std::vector<int32_t>> mStaged GUARDED_BY(mLock);
    std::unique_ptr<PexParamSnapshot> mCommitted GUARDED_BY(mLock);
    std::unique_ptr<PexParamFile> mFile GUARDED_BY(mLock);
    std::string mPath GUARDED_BY(mLock);
    // Payload words of the committed state, and what the staged values add to them.
    uint64_t mCommittedWords GUARDED_BY(mLock) = 0;
    int64_t mStagedWords GUARDED_BY(mLock) = 0;
};

}  // namespace android
