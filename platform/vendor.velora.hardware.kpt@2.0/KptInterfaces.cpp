/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// What the device's generated sources give the service's interfaces, for the host: their
// descriptors, and registration and lookup through the host's in-process service registry.
#include <hidl/HidlTransportSupport.h>
#include <vendor/velora/hardware/kpt/2.0/IKpt.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

namespace vendor {
namespace velora {
namespace hardware {
namespace kpt {
namespace V2_0 {

using ::android::sp;
using ::android::hardware::details::getRawServiceInternal;
using ::android::hardware::details::registerAsServiceInternal;

const char* IKpt::descriptor = "vendor.velora.hardware.kpt@2.0::IKpt";
const char* IKptCallbacks::descriptor = "vendor.velora.hardware.kpt@2.0::IKptCallbacks";

::android::status_t IKpt::registerAsService(const std::string& serviceName) {
    return registerAsServiceInternal(this, descriptor, serviceName);
}

sp<IKpt> IKpt::getService(const std::string& serviceName, bool /*getStub*/) {
    return dynamic_cast<IKpt*>(getRawServiceInternal(descriptor, serviceName, true).get());
}

sp<IKpt> IKpt::tryGetService(const std::string& serviceName, bool /*getStub*/) {
    return dynamic_cast<IKpt*>(getRawServiceInternal(descriptor, serviceName, false).get());
}

}  // namespace V2_0
}  // namespace kpt
}  // namespace hardware
}  // namespace velora
}  // namespace vendor
