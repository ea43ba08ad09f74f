/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <utils/RefBase.h>

#include <cstdint>

#include "service/VeloraManagerService.h"

namespace android {

// One registered client: its callback, its type and its registry key (uid plus type). It is
// also the recipient of the callback's death notification, on which it takes itself out of
// the service's registry.
//
// Threading: onPexParamUpdate() is called by the event loop with the registry lock held;
// serviceDied() comes from the transport's thread and takes that lock itself.
class VeloraManagerService::NotificationClient : public hardware::hidl_death_recipient {
  public:
    NotificationClient(const wp<VeloraManagerService>& service, const sp<IKptCallbacks>& callback,
                       int type, uint32_t key);
    ~NotificationClient() override;

    // Tells this client; false when the call did not reach it.
    bool onPexParamUpdate(const void* data, unsigned length);

    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) override;

    int getType() const { return mType; }
    uint32_t getKey() const { return mKey; }
    const sp<IKptCallbacks>& getCallback() const { return mCallback; }

  private:
    const int mType;
    const uint32_t mKey;
    const sp<IKptCallbacks> mCallback;
    const wp<VeloraManagerService> mService;
};

}  // namespace android
