/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <stddef.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <string>

namespace android {
namespace hardware {

// The pool of threads that serve incoming calls. The host has no binder driver: its callers
// are in the same process (tests, the host daemon's socket threads), so the pool has no
// threads of its own and a thread that joins it only waits.
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);
// Waits until quitRpcThreadpool() is called (host only; on a device it serves calls forever).
void joinRpcThreadpool();
// Host only: lets every thread waiting in joinRpcThreadpool() return.
void quitRpcThreadpool();

namespace details {

// The host's service registry, used by the generated registerAsService() and getService().
// It holds services weakly: a service lives as long as its process holds it, and is found
// only while it lives. Registering a name again replaces the earlier service.
status_t registerAsServiceInternal(const sp<::android::hidl::base::V1_0::IBase>& service,
                                   const std::string& descriptor, const std::string& name);
// The service registered under the interface descriptor and name, or null. With `wait`, waits
// until one is registered, as getService() does for a service a device declares.
sp<::android::hidl::base::V1_0::IBase> getRawServiceInternal(const std::string& descriptor,
                                                             const std::string& name, bool wait);

}  // namespace details
}  // namespace hardware
}  // namespace android
