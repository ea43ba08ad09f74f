/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "HidlTransport"

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <map>
#include <utility>

namespace android {
namespace hardware {

using ::android::hidl::base::V1_0::IBase;

namespace {

struct Transport {
    Mutex lock;
    Condition changed;
    bool quit = false;
    std::map<std::pair<std::string, std::string>, wp<IBase>> services;
};

Transport& transport() {
    static Transport* instance = new Transport();
    return *instance;
}

}  // namespace

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
    ALOGI("call pool of %zu thread(s)%s", maxThreads, callerWillJoin ? ", caller joins" : "");
    Transport& t = transport();
    Mutex::Autolock _l(t.lock);
    t.quit = false;
}

void joinRpcThreadpool() {
    Transport& t = transport();
    Mutex::Autolock _l(t.lock);
    while (!t.quit) t.changed.wait(t.lock);
}

void quitRpcThreadpool() {
    Transport& t = transport();
    Mutex::Autolock _l(t.lock);
    t.quit = true;
    t.changed.broadcast();
}

namespace details {

status_t registerAsServiceInternal(const sp<IBase>& service, const std::string& descriptor,
                                   const std::string& name) {
    if (service == nullptr) return BAD_VALUE;
    Transport& t = transport();
    Mutex::Autolock _l(t.lock);
    t.services[{descriptor, name}] = service;
    t.changed.broadcast();
    return OK;
}

sp<IBase> getRawServiceInternal(const std::string& descriptor, const std::string& name, bool wait) {
    Transport& t = transport();
    Mutex::Autolock _l(t.lock);
    for (;;) {
        auto it = t.services.find({descriptor, name});
        sp<IBase> service = it == t.services.end() ? nullptr : it->second.promote();
        if (service != nullptr || !wait) return service;
        t.changed.wait(t.lock);
    }
}

}  // namespace details
}  // namespace hardware
}  // namespace android
