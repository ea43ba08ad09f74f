/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <media/stagefright/foundation/ALooper.h>
#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <string>
#include <vector>

namespace android {

struct ABuffer;
struct AHandler;

// A message for a handler: a kind (`what`), the target handler's id and named items.
// Setting an item replaces any item of the same name; find* succeeds only for an item of the
// same name and type.
// Threading: not synchronised. Fill it, then post it; the poster must not touch it afterwards.
struct AMessage : public RefBase {
    AMessage();
    AMessage(uint32_t what, const sp<const AHandler>& handler);
    AMessage(uint32_t what, ALooper::handler_id target);

    void setWhat(uint32_t what) { mWhat = what; }
    uint32_t what() const { return mWhat; }

    void setTarget(const sp<const AHandler>& handler);
    void setTarget(ALooper::handler_id target) { mTarget = target; }
    ALooper::handler_id target() const { return mTarget; }

    void setInt32(const char* name, int32_t value);
    bool findInt32(const char* name, int32_t* value) const;
    void setInt64(const char* name, int64_t value);
    bool findInt64(const char* name, int64_t* value) const;
    void setBuffer(const char* name, const sp<ABuffer>& buffer);
    bool findBuffer(const char* name, sp<ABuffer>* buffer) const;
    bool contains(const char* name) const;

    // Queues the message on the looper of its target handler, due after `delayUs`
    // microseconds (a negative delay counts as 0). Returns -ENOENT when the target is not a
    // registered handler of a living looper.
    status_t post(int64_t delayUs = 0);

  protected:
    ~AMessage() override;

  private:
    enum class Type { Int32, Int64, Buffer };
    struct Item {
        std::string name;
        Type type;
        int64_t number;
        sp<ABuffer> buffer;
    };

    Item* allocateItem(const char* name);
    const Item* findItem(const char* name, Type type) const;

    uint32_t mWhat;
    ALooper::handler_id mTarget;
    std::vector<Item> mItems;

    AMessage(const AMessage&) = delete;
    AMessage& operator=(const AMessage&) = delete;
};

}  // namespace android
