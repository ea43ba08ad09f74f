/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "ServiceTestSupport.h"

#include <pexparamstorage/PexParamStore.h>
#include <utils/KeyedVector.h>

#include <cctype>
#include <cstring>

#include "common/SystemPaths.h"
#include "context/KsContextManager.h"

namespace velora::testing {

namespace {

// Far beyond any normal run, even under ThreadSanitizer; only a lost callback reaches it.
constexpr nsecs_t kCallbackBound = 60LL * 1000 * 1000 * 1000;

uint32_t code_to_id(const char* code) {
    uint32_t id = 0;
    for (size_t i = 0; i < strlen(code) && i < 4; ++i) {
        id |= static_cast<uint32_t>(tolower(static_cast<unsigned char>(code[i]))) << (8 * i);
    }
    return id;
}

}  // namespace

ExampleSettings::ExampleSettings() {
    mRoot.install("examples/multimedia_velora_kiv_default.xml", SystemPaths::kDefaultTuningFile);
    mManager = std::make_unique<KsContextManager>();
}

ExampleSettings::~ExampleSettings() = default;

KsContext& ExampleSettings::context() { return *mManager->getKsContext(); }

void ExampleSettings::restart() {
    mManager.reset();
    mManager = std::make_unique<KsContextManager>();
}

::android::hardware::Return<void> CallbackLog::record(
    const ::android::hardware::hidl_vec<uint8_t>& data) {
    android::Mutex::Autolock lock(mLock);
    mBuffers.emplace_back(data.begin(), data.end());
    mArrived.broadcast();
    return ::android::hardware::Void();
}

bool CallbackLog::waitFor(size_t count) {
    android::Mutex::Autolock lock(mLock);
    while (mBuffers.size() < count) {
        if (mArrived.waitRelative(mLock, kCallbackBound) != android::OK) {
            return mBuffers.size() >= count;
        }
    }
    return true;
}

size_t CallbackLog::count() const {
    android::Mutex::Autolock lock(mLock);
    return mBuffers.size();
}

std::vector<Bytes> CallbackLog::buffers() const {
    android::Mutex::Autolock lock(mLock);
    return mBuffers;
}

android::sp<MockKptCallbacks> make_recording_client(CallbackLog& log) {
    android::sp<MockKptCallbacks> client = new ::testing::NiceMock<MockKptCallbacks>();
    ON_CALL(*client, onPexParamUpdate(::testing::_))
        .WillByDefault([&log](const ::android::hardware::hidl_vec<uint8_t>& data) {
            return log.record(data);
        });
    return client;
}

Bytes words_to_bytes(const std::vector<int32_t>& words) {
    Bytes bytes(words.size() * sizeof(int32_t));
    if (!bytes.empty()) memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

std::vector<int32_t> stored_param(uint32_t device, const char* code) {
    android::KeyedVector<uint32_t, android::PexParamCache*> params;
    android::PexParamStore::getInstance().getStoredParams(&params, /*changedOnly=*/false, nullptr);
    std::vector<int32_t> values;
    ssize_t index = params.indexOfKey(device);
    if (index >= 0) {
        const std::vector<int32_t>* found = params.valueAt(index)->getParam(code_to_id(code));
        if (found != nullptr) values = *found;
    }
    android::PexParamStore::releaseStoredParams(&params);
    return values;
}

}  // namespace velora::testing
