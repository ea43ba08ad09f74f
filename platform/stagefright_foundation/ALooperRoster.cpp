/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "ALooperRoster"

#include "ALooperRoster.h"

#include <log/log.h>

namespace android {

ALooperRoster& ALooperRoster::getInstance() {
    // Never destroyed: loopers may still unregister from static destructors at exit.
    static ALooperRoster* roster = new ALooperRoster();
    return *roster;
}

ALooper::handler_id ALooperRoster::registerHandler(const sp<ALooper>& looper,
                                                   const sp<AHandler>& handler) {
    if (looper == nullptr || handler == nullptr) {
        ALOGE("registerHandler: null looper or handler");
        return INVALID_OPERATION;
    }
    Mutex::Autolock lock(mLock);
    if (handler->id() != 0) {
        ALOGE("handler %d is already registered with a looper", handler->id());
        return INVALID_OPERATION;
    }
    const ALooper::handler_id id = mNextHandlerID++;
    mHandlers[id] = Entry{looper, looper.get(), handler};
    handler->setID(id);
    return id;
}

void ALooperRoster::unregisterHandler(ALooper::handler_id id) {
    sp<AHandler> handler;  // released after the lock: its destructor may come back here
    {
        Mutex::Autolock lock(mLock);
        auto it = mHandlers.find(id);
        if (it == mHandlers.end()) {
            ALOGW("unregisterHandler: handler %d is not registered", id);
            return;
        }
        handler = it->second.handler.promote();
        if (handler != nullptr) handler->setID(0);
        mHandlers.erase(it);
    }
}

void ALooperRoster::unregisterHandlersOf(const ALooper* looper) {
    std::vector<sp<AHandler>> handlers;
    {
        Mutex::Autolock lock(mLock);
        for (auto it = mHandlers.begin(); it != mHandlers.end();) {
            if (it->second.looperKey == looper) {
                sp<AHandler> handler = it->second.handler.promote();
                if (handler != nullptr) {
                    handler->setID(0);
                    handlers.push_back(handler);
                }
                it = mHandlers.erase(it);
            } else {
                ++it;
            }
        }
    }
}

sp<ALooper> ALooperRoster::findLooper(ALooper::handler_id id) {
    Mutex::Autolock lock(mLock);
    auto it = mHandlers.find(id);
    return it == mHandlers.end() ? nullptr : it->second.looper.promote();
}

sp<AHandler> ALooperRoster::findHandler(ALooper::handler_id id, const ALooper* looper) {
    Mutex::Autolock lock(mLock);
    auto it = mHandlers.find(id);
    if (it == mHandlers.end() || it->second.looperKey != looper) return nullptr;
    return it->second.handler.promote();
}

}  // namespace android
