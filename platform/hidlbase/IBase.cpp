/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "HidlBase"

#include <android/hidl/base/1.0/IBase.h>
#include <log/log.h>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

using ::android::hardware::hidl_death_recipient;
using ::android::hardware::Return;

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

IBase::IBase() {}

IBase::~IBase() {}

Return<void> IBase::debug(const ::android::hardware::hidl_handle& /*fd*/,
                          const ::android::hardware::hidl_vec<::android::hardware::hidl_string>&
                          /*options*/) {
    return ::android::hardware::Void();
}

Return<bool> IBase::linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) {
    if (recipient == nullptr) {
        return false;
    }
    Mutex::Autolock lock(mDeathLock);
    if (mDead) {
        ALOGW("linkToDeath: the object is already dead");
        return false;
    }
    mLinks.push_back(Link{recipient, cookie});
    return true;
}

Return<bool> IBase::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
    if (recipient == nullptr) {
        return false;
    }
    Mutex::Autolock lock(mDeathLock);
    bool found = false;
    for (auto it = mLinks.begin(); it != mLinks.end();) {
        if (it->recipient.unsafe_get() == recipient.get()) {
            it = mLinks.erase(it);
            found = true;
        } else {
            ++it;
        }
    }
    // A notification of this recipient may be running on another thread: once unlinked, the
    // caller may tear the recipient's owner down, so wait until that call has returned.
    // From inside serviceDied itself there is nothing to wait for.
    while (mNotifying == recipient.get() && !pthread_equal(mNotifyingThread, pthread_self())) {
        mNotifyDone.wait(mDeathLock);
    }
    return found;
}

bool IBase::isDead() const {
    Mutex::Autolock lock(mDeathLock);
    return mDead;
}

void IBase::notifyDied() {
    const wp<IBase> who(this);
    mDeathLock.lock();
    if (mDead) {
        mDeathLock.unlock();
        return;
    }
    mDead = true;
    // One link at a time, taken out of the list before its call, so that a recipient unlinked
    // meanwhile (by another recipient, or from another thread) is never called.
    while (!mLinks.empty()) {
        const Link link = mLinks.front();
        mLinks.erase(mLinks.begin());
        sp<hidl_death_recipient> recipient = link.recipient.promote();
        if (recipient == nullptr) continue;
        mNotifying = recipient.get();
        mNotifyingThread = pthread_self();
        mDeathLock.unlock();

        recipient->serviceDied(link.cookie, who);
        // Released without the lock: the recipient's destructor may unlink itself.
        recipient.clear();

        mDeathLock.lock();
        mNotifying = nullptr;
        mNotifyDone.broadcast();
    }
    mDeathLock.unlock();
}

}  // namespace V1_0
}  // namespace base
}  // namespace hidl
}  // namespace android
