/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/StrongPointer.h>
#include <vendor/velora/hardware/kpt/2.0/IKpt.h>

#include <cstdint>
#include <map>

#include "service/VeloraManagerService.h"

namespace velora {

// The vendor interface IKpt over one VeloraManagerService: what hwbinder calls on a device
// and what velorad's socket calls on the host. It checks the arguments the service cannot
// (buffer sizes a client asks for), watches every registered callback for death, keeps which
// callback holds which registry key (uid + type, as the service keys them), and maps debug()
// to the service's dump.
//
// Threading: every operation may be called from any number of threads at once. mLock guards
// the callback map and the count of calls in progress; registrations and unregistrations are
// serialised by mRegistryLock so that the map follows the service's registry.
class KptService : public ::vendor::velora::hardware::kpt::V2_0::IKpt {
  public:
    using IKptCallbacks = ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks;
    template <typename T>
    using Return = ::android::hardware::Return<T>;
    template <typename T>
    using hidl_vec = ::android::hardware::hidl_vec<T>;

    // Largest answer buffer a client may ask the service to fill.
    static constexpr uint32_t kMaxAnswerLength = 1u << 20;

    explicit KptService(const ::android::sp<::android::VeloraManagerService>& service);
    ~KptService() override;

    // Refuses every later call (a failed status), waits for the calls in progress, and lets
    // the service go, whose destructor applies the pending changes and saves everything.
    // Returns once that is done when nothing else holds the service.
    void shutdown();

    // As unregisterClient, and names the callback the service removed: the one registered
    // under the same key, which need not be the caller's when two uid and type pairs add up
    // to one key. Null when nothing was removed.
    int32_t unregisterClient(int32_t type, uint32_t uid, ::android::sp<IKptCallbacks>* removed);

    Return<int32_t> registerClient(const ::android::sp<IKptCallbacks>& callback, int32_t type,
                                   uint32_t uid) override;
    Return<int32_t> unregisterClient(const ::android::sp<IKptCallbacks>& callback, int32_t type,
                                     uint32_t uid) override;
    Return<int64_t> getIntParam(uint32_t code) override;
    Return<void> setIntParam(uint32_t code, int64_t value) override;
    Return<void> getPexParam(const hidl_vec<uint8_t>& request, uint32_t answerLength,
                             getPexParam_cb _hidl_cb) override;
    Return<int32_t> setPexParam(const hidl_vec<uint8_t>& data) override;
    Return<void> getAvailableTuningDevices(int32_t port, int32_t length,
                                           getAvailableTuningDevices_cb _hidl_cb) override;
    Return<int32_t> getAvailableTuningDevicesLen(int32_t port) override;
    Return<void> getSelectedTuningDevice(int32_t port,
                                         getSelectedTuningDevice_cb _hidl_cb) override;
    Return<void> setSelectedTuningDevice(int32_t port, const hidl_vec<uint8_t>& name) override;
    Return<void> getProfileName(int32_t profile, getProfileName_cb _hidl_cb) override;
    Return<int32_t> getProfileIeqPreset(int32_t profile) override;
    Return<bool> getPexEnabled() override;
    Return<bool> isMonoInternalSpeaker() override;
    Return<bool> isSpeakerPortraitMode() override;
    Return<int32_t> getTuningParamDSA() override;
    Return<int32_t> getTuningParamDHSA() override;
    Return<int32_t> getTuningParamDFSA() override;
    Return<uint32_t> getActiveDevice() override;
    Return<int32_t> getDefaultXmlFormatVersion() override;
    Return<int32_t> setParam(uint32_t device, uint32_t id,
                             const hidl_vec<int32_t>& values) override;
    Return<int32_t> commitChange() override;
    Return<void> debug(const ::android::hardware::hidl_handle& fd,
                       const hidl_vec<::android::hardware::hidl_string>& options) override;

  private:
    class ClientDeath;
    class Call;

    // Forgets the callback under the key when it is still the one registered there.
    void forgetClient(uint32_t key, const ::android::hidl::base::V1_0::IBase* who);

    ::android::sp<::android::VeloraManagerService> mService;
    ::android::sp<ClientDeath> mDeath;

    ::android::Mutex mRegistryLock ACQUIRED_BEFORE(mLock);
    mutable ::android::Mutex mLock;
    ::android::Condition mCallsDone;
    int mCalls GUARDED_BY(mLock) = 0;
    bool mStopping GUARDED_BY(mLock) = false;
    std::map<uint32_t, ::android::sp<IKptCallbacks>> mClients GUARDED_BY(mLock);
};

}  // namespace velora
