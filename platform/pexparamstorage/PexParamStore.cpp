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
    mStaged[{device, id}] = std::move(staged);
    return 0;
}

int PexParamStore::openFile_l() {
    const std::string path = getPublishedPath();
    if (path != mPath) {
        // Another root is another filesystem: what was committed belongs to the old one.
        mFile.reset();
        mPath = path;
        mCommitted.reset(new PexParamSnapshot());
    }
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
    }
}

int PexParamStore::commitChange() {
    Mutex::Autolock lock(mLock);
    int err = openFile_l();
    bool locked = false;
    if (err == 0) {
        err = mFile->lockWriters();
        locked = err == 0;
    }
    if (locked) syncFromFile_l();

    const uint32_t generation = mCommitted->generation + 1;
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

    if (locked) {
        err = mFile->publish(*mCommitted);
        mFile->unlockWriters();
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
    const uint32_t since = changedOnly && *generation > 0 ? static_cast<uint32_t>(*generation) : 0;
    Mutex::Autolock lock(mLock);
    if (openFile_l() == 0) syncFromFile_l();
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
