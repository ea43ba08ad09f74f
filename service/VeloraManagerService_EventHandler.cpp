/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VeloraManagerService"

#include "service/VeloraManagerService_EventHandler.h"

#include <log/log.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <utils/SystemClock.h>

#include <cstring>
#include <string>
#include <vector>

#include "context/KsContext.h"
#include "model/Port.h"
#include "service/KsManager.h"
#include "service/PackedBuffer.h"

namespace android {

namespace {

// Bytes of the set buffer before the values of a parameter command (command, result, profile,
// id) and of a port-parameter command (the same plus the port).
constexpr size_t kParameterHeader = 16;
constexpr size_t kPortParameterHeader = 20;
// Bytes a command with one argument needs (command, result, argument).
constexpr size_t kSingleArgument = 12;

}  // namespace

VeloraManagerService::EventHandler::EventHandler(velora::KsManager* manager,
                                                 VeloraManagerService* service)
    : mLooper(new ALooper()), mKsManager(manager), mService(service) {
    mLooper->setName(kLooperName);
}

VeloraManagerService::EventHandler::~EventHandler() = default;

void VeloraManagerService::EventHandler::start() {
    mLooper->registerHandler(this);
    mLooper->start();
}

void VeloraManagerService::EventHandler::stop() {
    mLooper->unregisterHandler(id());
    mLooper->stop();
}

void VeloraManagerService::EventHandler::flush() {
    if (mLoopThread.load() == std::this_thread::get_id()) {
        return;  // the messages before this one cannot run until it returns
    }
    int64_t ticket;
    {
        Mutex::Autolock _l(mFlushLock);
        ticket = ++mFlushRequested;
    }
    sp<AMessage> msg = new AMessage(kWhatFlush, this);
    msg->setInt64("ticket", ticket);
    if (msg->post() != OK) {
        return;
    }
    Mutex::Autolock _l(mFlushLock);
    while (mFlushHandled < ticket) {
        mFlushed.wait(mFlushLock);
    }
}

void VeloraManagerService::EventHandler::sendMessage(const void* data, unsigned length,
                                                     unsigned what) {
    // The caller's memory is only borrowed for the call: the loop works on its own copy.
    sp<ABuffer> buffer = new ABuffer(length);
    if (length > 0 && data != nullptr) {
        memcpy(buffer->data(), data, length);
    }
    sp<AMessage> msg = new AMessage(what, this);
    msg->setBuffer("buffer", buffer);
    msg->post();
}

void VeloraManagerService::EventHandler::sendMessage(const void* data, unsigned length, int port,
                                                     unsigned what) {
    sp<ABuffer> buffer = new ABuffer(length);
    if (length > 0 && data != nullptr) {
        memcpy(buffer->data(), data, length);
    }
    sp<AMessage> msg = new AMessage(what, this);
    msg->setBuffer("buffer", buffer);
    msg->setInt32("port", port);
    msg->post();
}

void VeloraManagerService::EventHandler::onMessageReceived(const sp<AMessage>& msg) {
    mLoopThread.store(std::this_thread::get_id());
    if (msg->what() == kWhatFlush) {
        int64_t ticket = 0;
        msg->findInt64("ticket", &ticket);
        Mutex::Autolock _l(mFlushLock);
        if (ticket > mFlushHandled) {
            mFlushHandled = ticket;
        }
        mFlushed.broadcast();
        return;
    }

    sp<ABuffer> buffer;
    msg->findBuffer("buffer", &buffer);
    void* data = buffer != nullptr ? buffer->data() : nullptr;
    unsigned length = buffer != nullptr ? static_cast<unsigned>(buffer->size()) : 0;

    switch (msg->what()) {
        case kWhatRegisterClient:
            break;
        case kWhatSetTuning: {
            int32_t port = -1;
            msg->findInt32("port", &port);
            // The name is the bytes the client sent, up to a terminating zero if it sent one.
            const char* name = static_cast<const char*>(data);
            const std::string device(name != nullptr ? name : "",
                                     name != nullptr ? strnlen(name, length) : 0);
            // Without a port there is nothing to select; a name that is no device of the
            // port, the empty one included, is refused by the selection with its line.
            if (mService->isInitialized() && port >= 0 && port < velora::kPortCount) {
                mKsManager->setSelectedTuning(static_cast<velora::Port>(port), device);
            }
            break;
        }
        case kWhatSetParam:
            if (mService->isInitialized()) {
                parseAndSendParam(data, length);
                mService->mLastParamChangeTime = uptimeMillis();
            }
            break;
        case kWhatReloadTuning:
            // Tells the clients itself, and only when the reload worked.
            mService->reloadTuningFile();
            noteStateChanges();
            return;
        case kWhatSave:
            onSaveDue();
            return;
        case kWhatSaveFailed:
            requestSave();
            return;
        default:
            data = nullptr;
            length = 0;
            break;
    }
    noteStateChanges();
    mService->doOnPexParamUpdate(data, length);
}

void VeloraManagerService::EventHandler::noteStateChanges() {
    if (!mService->isInitialized()) return;
    velora::KsContext* context = mKsManager->getKsContext();
    const uint64_t changes = context != nullptr ? context->getChangeCount() : 0;
    if (changes == mSeenChangeCount) return;
    mSeenChangeCount = changes;
    requestSave();
}

void VeloraManagerService::EventHandler::requestSave() {
    const int64_t delayMs = mService->getSaveDelay();
    // The save is due one delay after the first change it carries; later changes go with it
    // rather than move it, so a steady stream of writes (a slider being dragged) is saved once
    // per delay instead of never or on every write.
    if (mSavePending || delayMs <= 0) return;
    mSavePending = true;
    sp<AMessage> msg = new AMessage(kWhatSave, this);
    msg->post(delayMs * 1000);
}

void VeloraManagerService::EventHandler::retrySave() {
    sp<AMessage> msg = new AMessage(kWhatSaveFailed, this);
    msg->post();
}

void VeloraManagerService::EventHandler::onSaveDue() {
    mSavePending = false;
    mService->saveChangedState();
}

void VeloraManagerService::EventHandler::parseAndSendParam(void* buffer, unsigned length) {
    velora::PackedBuffer packed(buffer, length);
    // Without a whole command word there is no command: zeros in its place would read as
    // command 0 and switch the effect off.
    if (!packed.covers(sizeof(int32_t))) {
        ALOGE("%s : Invalid input length!", "parseAndSendParam");
        return;
    }
    const uint32_t command = static_cast<uint32_t>(packed.getWord(0));

    size_t needed = 0;
    switch (command) {
        case kSetPexOn:
        case kSetSelectedProfile:
        case kResetProfile:
            needed = kSingleArgument;
            break;
        case kSetParameter:
            needed = kParameterHeader;
            break;
        case kSetPortParameter:
            needed = kPortParameterHeader;
            break;
        default:
            break;
    }
    if (needed > 0 && (!packed.covers(needed) || length % sizeof(int32_t) != 0)) {
        ALOGE("%s : Invalid input length!", "parseAndSendParam");
    }
    // A buffer too short for its command's arguments changes nothing: bytes it does not hold
    // would otherwise make a profile, a port, an id or the on/off value. Values are whole
    // words, so the trailing bytes of a partial word are no value.
    if (!packed.covers(needed)) {
        return;
    }

    switch (command) {
        case kSetPexOn: {
            const int32_t on = packed.getWord(2);
            mKsManager->setKsOn(on > 0);
            mKsManager->saveKsState();
            packed.setWord(1, on);
            break;
        }
        case kSetParameter: {
            const int profile = packed.getWord(2);
            const int id = packed.getWord(3);
            mKsManager->setParameter(profile, id, packed.getWordsFrom(kParameterHeader / 4));
            break;
        }
        case kSetPortParameter: {
            const int profile = packed.getWord(2);
            const int port = packed.getWord(3);
            const int id = packed.getWord(4);
            mKsManager->setProfilePortParameter(profile, port, id,
                                                packed.getWordsFrom(kPortParameterHeader / 4));
            break;
        }
        case kSetSelectedProfile: {
            const int profile = packed.getWord(2);
            if (mKsManager->setSelectedProfile(profile) &&
                mKsManager->getSelectedProfile() == profile) {
                mKsManager->saveKsProfile();
            }
            packed.setWord(1, profile);
            break;
        }
        case kResetProfile: {
            const int profile = packed.getWord(2);
            mKsManager->resetProfile(profile);
            packed.setWord(1, profile);
            break;
        }
        default:
            break;
    }
}

}  // namespace android
