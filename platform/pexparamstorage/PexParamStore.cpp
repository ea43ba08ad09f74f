/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "PexParamStore"

#include <errno.h>
#include <log/log.h>
#include <pexparamstorage/PexParamStore.h>
#include <string.h>

#include "PexParamFile.h"
#include "common/SystemPaths.h"

namespace android {

PexParamStore& PexParamStore::getInstance() {
    // Never destroyed: the effect and the service may still use it from threads that outlive
    // static destruction at exit.
    static PexParamStore* instance = new PexParamStore();
    return *instance;
}

PexParamStore::PexParamStore() : mCommitted(new PexParamSnapshot()) {}

std::string PexParamStore::getPublishedPath() {
    return velora::SystemPaths::resolve(velora::SystemPaths::kPexParamFile);
}

int PexParamStore::setParam(uint32_t device, PexParameterId id, const int32_t* values,
                            uint32_t count) {
    if (values == nullptr && count > 0) {
        ALOGE("setParam: no values for %u values of 0x%08x on device 0x%x", count, id, device);
        return -EINVAL;
    }
    if (count > kMaxValueCount) {
        ALOGE("setParam: %u values of 0x%08x on device 0x%x are too many", count, id, device);
        return -E2BIG;
    }
    std::vector<int32_t> staged(values, values + count);
    Mutex::Autolock lock(mLock);
    followRoot_l();  // the bound is the new root's
    const std::pair<uint32_t, PexParameterId> key(device, id);
    auto previous = mStaged.find(key);
    const int64_t before =
        previous == mStaged.end() ? 0 : addedWords_l(key, previous->second.size());
    const int64_t after = addedWords_l(key, count);
    const int64_t total = static_cast<int64_t>(mCommittedWords) + mStagedWords - before + after;
    if (after > before && total > static_cast<int64_t>(kMaxPayloadBytes / 4)) {
        ALOGE(
            "setParam: %u values of 0x%08x on device 0x%x do not fit in the %u bytes of "
            "parameters",
            count, id, device, kMaxPayloadBytes);
        return -ENOSPC;
    }
    mStagedWords += after - before;
    mStaged[key] = std::move(staged);
    return 0;
}

int64_t PexParamStore::addedWords_l(const std::pair<uint32_t, PexParameterId>& key,
                                    size_t n) const {
    auto committed = mCommitted->records.find(key);
    const int64_t held = committed == mCommitted->records.end()
                             ? 0
                             : PexParamFile::kRecordHeaderWords + committed->second.values.size();
    return static_cast<int64_t>(PexParamFile::kRecordHeaderWords + n) - held;
}

void PexParamStore::recount_l() {
    mCommittedWords = 0;
    for (const auto& record : mCommitted->records) {
        mCommittedWords += PexParamFile::kRecordHeaderWords + record.second.values.size();
    }
    mStagedWords = 0;
    for (const auto& staged : mStaged) {
        mStagedWords += addedWords_l(staged.first, staged.second.size());
    }
}

void PexParamStore::followRoot_l() {
    const std::string path = getPublishedPath();
    if (path != mPath) {
        // Another root is another filesystem: what was committed belongs to the old one.
        mFile.reset();
        mPath = path;
        mCommitted.reset(new PexParamSnapshot());
        recount_l();
    }
}

int PexParamStore::openFile_l() {
    followRoot_l();
    const std::string& path = mPath;
    // A writer that found the file damaged may have put a new one in its place.
    if (mFile != nullptr && !mFile->isAt(path)) mFile.reset();
    if (mFile != nullptr) return 0;
    const int err = PexParamFile::openForWriting(path, &mFile);
    if (err != 0) {
        ALOGE("cannot open %s: %s", path.c_str(), strerror(-err));
    }
    return err;
}

void PexParamStore::syncFromFile_l() {
    if (mFile == nullptr || mFile->publishedGeneration() <= mCommitted->generation) return;
    std::unique_ptr<PexParamSnapshot> published(new PexParamSnapshot());
    if (mFile->read(published.get()) == 0 && published->generation > mCommitted->generation) {
        mCommitted = std::move(published);
        recount_l();
    }
}

int PexParamStore::lockCurrentFile_l() {
    for (;;) {
        int err = openFile_l();
        if (err == 0) err = mFile->lockWriters();
        if (err != 0 || mFile->isAt(mPath)) return err;
        // Replaced between opening and locking: lock the new one.
        mFile->unlockWriters();
        mFile.reset();
    }
}

int PexParamStore::commitChange() {
    Mutex::Autolock lock(mLock);
    int err = lockCurrentFile_l();
    const bool locked = err == 0;
    if (locked) syncFromFile_l();

    uint32_t generation = mCommitted->generation + 1;
    if (mCommitted->generation >= kMaxGeneration) {
        // Readers hold generations as int. Every parameter counts as changed in the first
        // generation of the new numbering, and a reader that asks for changes after a
        // generation beyond the current one gets everything.
        ALOGW("commitChange: generation %u is the last; the numbering starts over at 1",
              mCommitted->generation);
        generation = 1;
        for (auto& record : mCommitted->records) record.second.generation = generation;
    }
    for (auto& staged : mStaged) {
        auto it = mCommitted->records.find(staged.first);
        if (it == mCommitted->records.end()) {
            mCommitted->records.emplace(staged.first,
                                        PexParamRecord{generation, std::move(staged.second)});
        } else if (it->second.values != staged.second) {
            it->second.values = std::move(staged.second);
            it->second.generation = generation;
        }
    }
    mStaged.clear();
    mCommitted->generation = generation;
    recount_l();

    if (locked) {
        std::unique_ptr<PexParamFile> next;
        err = mFile->publish(mPath, *mCommitted, &next);
        mFile->unlockWriters();
        if (next != nullptr) mFile = std::move(next);
    }
    if (err != 0) {
        ALOGE("commitChange: generation %u is kept in this process only, %s: %s", generation,
              mPath.c_str(), strerror(-err));
    }
    return err;
}

int PexParamStore::getStoredParams(KeyedVector<uint32_t, PexParamCache*>* out, bool changedOnly,
                                   int* generation) {
    if (out == nullptr || (changedOnly && generation == nullptr)) {
        ALOGE("getStoredParams: nowhere to put the parameters");
        return -EINVAL;
    }
    uint32_t since = changedOnly && *generation > 0 ? static_cast<uint32_t>(*generation) : 0;
    Mutex::Autolock lock(mLock);
    if (openFile_l() == 0) syncFromFile_l();
    if (since > mCommitted->generation) since = 0;  // from before the numbering started over
    PexParamFile::exportParams(*mCommitted, out, changedOnly, since);
    if (generation != nullptr) *generation = static_cast<int>(mCommitted->generation);
    return 0;
}

void PexParamStore::releaseStoredParams(KeyedVector<uint32_t, PexParamCache*>* params) {
    if (params == nullptr) return;
    for (size_t i = 0; i < params->size(); ++i) delete params->valueAt(i);
    params->clear();
}

}  // namespace android
