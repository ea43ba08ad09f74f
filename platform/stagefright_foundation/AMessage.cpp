/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "AMessage"

#include <errno.h>
#include <log/log.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AMessage.h>

#include "ALooperRoster.h"

namespace android {

AMessage::AMessage() : mWhat(0), mTarget(0) {}

AMessage::AMessage(uint32_t what, const sp<const AHandler>& handler) : mWhat(what), mTarget(0) {
    setTarget(handler);
}

AMessage::AMessage(uint32_t what, ALooper::handler_id target) : mWhat(what), mTarget(target) {}

AMessage::~AMessage() {}

void AMessage::setTarget(const sp<const AHandler>& handler) {
    mTarget = handler == nullptr ? 0 : handler->id();
}

AMessage::Item* AMessage::allocateItem(const char* name) {
    for (Item& item : mItems) {
        if (item.name == name) {
            item.buffer.clear();
            item.number = 0;
            return &item;
        }
    }
    mItems.push_back(Item{name, Type::Int32, 0, nullptr});
    return &mItems.back();
}

const AMessage::Item* AMessage::findItem(const char* name, Type type) const {
    for (const Item& item : mItems) {
        if (item.name == name) return item.type == type ? &item : nullptr;
    }
    return nullptr;
}

void AMessage::setInt32(const char* name, int32_t value) {
    Item* item = allocateItem(name);
    item->type = Type::Int32;
    item->number = value;
}

bool AMessage::findInt32(const char* name, int32_t* value) const {
    const Item* item = findItem(name, Type::Int32);
    if (item == nullptr) return false;
    *value = static_cast<int32_t>(item->number);
    return true;
}

void AMessage::setInt64(const char* name, int64_t value) {
    Item* item = allocateItem(name);
    item->type = Type::Int64;
    item->number = value;
}

bool AMessage::findInt64(const char* name, int64_t* value) const {
    const Item* item = findItem(name, Type::Int64);
    if (item == nullptr) return false;
    *value = item->number;
    return true;
}

void AMessage::setBuffer(const char* name, const sp<ABuffer>& buffer) {
    Item* item = allocateItem(name);
    item->type = Type::Buffer;
    item->buffer = buffer;
}

bool AMessage::findBuffer(const char* name, sp<ABuffer>* buffer) const {
    const Item* item = findItem(name, Type::Buffer);
    if (item == nullptr) return false;
    *buffer = item->buffer;
    return true;
}

bool AMessage::contains(const char* name) const {
    for (const Item& item : mItems) {
        if (item.name == name) return true;
    }
    return false;
}

status_t AMessage::post(int64_t delayUs) {
    sp<ALooper> looper = mTarget == 0 ? nullptr : ALooperRoster::getInstance().findLooper(mTarget);
    if (looper == nullptr) {
        ALOGW("failed to post message 0x%08x: handler %d is not registered", mWhat, mTarget);
        return -ENOENT;
    }
    looper->post(this, delayUs);
    return OK;
}

}  // namespace android
