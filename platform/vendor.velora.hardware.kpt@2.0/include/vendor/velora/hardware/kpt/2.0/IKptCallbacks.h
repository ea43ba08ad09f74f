/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>

namespace vendor {
namespace velora {
namespace hardware {
namespace kpt {
namespace V2_0 {

// The callback a client of the settings service registers: it is told of every change the
// service applied, with the buffer of the request that caused it. On the host, the transport
// glue implements it over its client connection and declares it dead (IBase::notifyDied) when
// that connection ends.
struct IKptCallbacks : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> onPexParamUpdate(
        const ::android::hardware::hidl_vec<uint8_t>& data) = 0;

  protected:
    ~IKptCallbacks() override;
};

}  // namespace V2_0
}  // namespace kpt
}  // namespace hardware
}  // namespace velora
}  // namespace vendor
