/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

// The annotations before utils/Mutex.h, which then makes them no-ops for compilers without
// the thread-safety analysis.
#include <android-base/thread_annotations.h>
#include <gmock/gmock.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/StrongPointer.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "testutil/TempRoot.h"

namespace velora {
class KsContext;
class KsContextManager;
}  // namespace velora

namespace velora::testing {

using Bytes = std::vector<uint8_t>;

// The settings system brought up from the example tuning file on a temporary root, with a
// KsContextManager of its own (not the process-wide one), so every test starts from defaults.
class ExampleSettings {
  public:
    ExampleSettings();
    ~ExampleSettings();

    TempRoot& root() { return mRoot; }
    KsContextManager& manager() { return *mManager; }
    KsContext& context();
    // A new running state over the same root and database, as a restarted process would have.
    void restart();

  private:
    TempRoot mRoot;
    std::unique_ptr<KsContextManager> mManager;
};

class MockKptCallbacks : public ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks {
  public:
    MOCK_METHOD(::android::hardware::Return<void>, onPexParamUpdate,
                (const ::android::hardware::hidl_vec<uint8_t>& data), (override));
};

// The buffers one client was called back with, in order; tests wait on it instead of sleeping.
class CallbackLog {
  public:
    ::android::hardware::Return<void> record(const ::android::hardware::hidl_vec<uint8_t>& data);
    // False when count callbacks do not arrive within a bound far beyond any normal run.
    bool waitFor(size_t count);
    size_t count() const;
    std::vector<Bytes> buffers() const;

  private:
    mutable android::Mutex mLock;
    android::Condition mArrived;
    std::vector<Bytes> mBuffers;
};

// A client that records every callback in log (which must outlive it) and answers success.
android::sp<MockKptCallbacks> make_recording_client(CallbackLog& log);

// The bytes of 32-bit words in native order, as a client packs them.
Bytes words_to_bytes(const std::vector<int32_t>& words);
inline Bytes text_bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

// Values read back from the database carry a trailing 0, and a write equal to the start of a
// stored vector leaves it as it is: what counts for a switch or an amount is its first element.
inline int first(const std::vector<int>& values) { return values.empty() ? INT_MIN : values[0]; }

// The committed values of one parameter of one device in the shared parameter store; empty
// when the store holds none.
std::vector<int32_t> stored_param(uint32_t device, const char* code);

}  // namespace velora::testing
