/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <pthread.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>

#include <vector>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

// The root of every HIDL interface. On the host it carries the death notification of the
// object: recipients linked with linkToDeath are told once, through serviceDied(cookie, who),
// when the host transport declares the object's process dead with notifyDied().
//
// Guarantees: each link is notified at most once; after unlinkToDeath returns, the recipient
// is not called for that object any more (an unlink from another thread waits for a
// notification of that recipient that is running; an unlink from inside serviceDied does not
// wait). Recipients are held weakly, so a recipient that holds the object keeps no cycle; one
// that is gone by the time of death is skipped.
//
// Threading: every operation may be called from any thread. Recipients are called on the
// thread that calls notifyDied(), without any lock of this object held.
struct IBase : virtual public RefBase {
    static const char* descriptor;

    IBase();

    // False: on the host every object lives in the process that calls it.
    virtual bool isRemote() const { return false; }

    // Writes the object's state for a debugging tool to the handle's first descriptor; the
    // options are the tool's arguments. Writes nothing unless an interface implements it.
    virtual ::android::hardware::Return<void> debug(
        const ::android::hardware::hidl_handle& fd,
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options);

    // Returns false, linking nothing, when the recipient is null or the object is already
    // dead. The same recipient may be linked more than once (each link is told once).
    virtual ::android::hardware::Return<bool> linkToDeath(
        const sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie);
    // Removes every link of the recipient; returns false when it had none (never linked,
    // already unlinked, or already told of the death).
    virtual ::android::hardware::Return<bool> unlinkToDeath(
        const sp<::android::hardware::hidl_death_recipient>& recipient);

    // Host transport entry point: the process serving this object is gone. Called by the glue
    // that carries the interface (on a device the binder driver does this). Tells every
    // linked recipient once, in the order they were linked; later calls do nothing. The
    // caller holds a strong reference to the object for the duration of the call.
    void notifyDied();
    bool isDead() const;

  protected:
    ~IBase() override;

  private:
    struct Link {
        wp<::android::hardware::hidl_death_recipient> recipient;
        uint64_t cookie;
    };

    mutable Mutex mDeathLock;
    Condition mNotifyDone;
    std::vector<Link> mLinks GUARDED_BY(mDeathLock);
    bool mDead GUARDED_BY(mDeathLock) = false;
    // The recipient being told right now, and the thread that tells it.
    const ::android::hardware::hidl_death_recipient* mNotifying GUARDED_BY(mDeathLock) = nullptr;
    pthread_t mNotifyingThread GUARDED_BY(mDeathLock) = {};

    IBase(const IBase&) = delete;
    IBase& operator=(const IBase&) = delete;
};

}  // namespace V1_0
}  // namespace base
}  // namespace hidl
}  // namespace android
