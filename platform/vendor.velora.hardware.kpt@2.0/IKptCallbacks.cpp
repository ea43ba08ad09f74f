/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

namespace vendor {
namespace velora {
namespace hardware {
namespace kpt {
namespace V2_0 {

const char* IKptCallbacks::descriptor = "vendor.velora.hardware.kpt@2.0::IKptCallbacks";

IKptCallbacks::~IKptCallbacks() {}

}  // namespace V2_0
}  // namespace kpt
}  // namespace hardware
}  // namespace velora
}  // namespace vendor
