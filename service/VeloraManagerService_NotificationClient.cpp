/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VeloraManagerService"

#include "service/VeloraManagerService_NotificationClient.h"

#include <log/log.h>

#include <cstring>

namespace android {

VeloraManagerService::NotificationClient::NotificationClient(
    const wp<VeloraManagerService>& service, const sp<IKptCallbacks>& callback, int type,
    uint32_t key)
    : mType(type), mKey(key), mCallback(callback), mService(service) {}

VeloraManagerService::NotificationClient::~NotificationClient() = default;

bool VeloraManagerService::NotificationClient::onPexParamUpdate(const void* data, unsigned length) {
    hardware::hidl_vec<uint8_t> bytes;
    if (data != nullptr && length > 0) {
        bytes.resize(length);
        memcpy(bytes.data(), data, length);
    }
    hardware::Return<void> result = mCallback->onPexParamUpdate(bytes);
    return result.isOk();
}

void VeloraManagerService::NotificationClient::serviceDied(
    uint64_t /*cookie*/, const wp<hidl::base::V1_0::IBase>& /*who*/) {
    sp<VeloraManagerService> service = mService.promote();
    if (service != nullptr) {
        service->removeNotificationClient(mKey);
    }
    ALOGW("binderDied : client uid %d", mKey);
}

}  // namespace android
