/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "AHandler"

#include <media/stagefright/foundation/AHandler.h>

#include "ALooperRoster.h"

namespace android {

AHandler::AHandler() : mID(0) {}

AHandler::~AHandler() {
    // A handler dropped while still registered leaves no entry behind, so messages posted to
    // its id afterwards are refused instead of queued for nobody.
    const ALooper::handler_id id = mID.load(std::memory_order_acquire);
    if (id != 0) ALooperRoster::getInstance().unregisterHandler(id);
}

sp<ALooper> AHandler::getLooper() const {
    const ALooper::handler_id id = mID.load(std::memory_order_acquire);
    return id == 0 ? nullptr : ALooperRoster::getInstance().findLooper(id);
}

}  // namespace android
