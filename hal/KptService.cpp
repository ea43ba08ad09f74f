/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "KptService"

#include "hal/KptService.h"

#include <log/log.h>
#include <utils/String16.h>
#include <utils/Vector.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <vector>

namespace velora {

using ::android::Mutex;
using ::android::sp;
using ::android::VeloraManagerService;
using ::android::wp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;

// Told when a registered client's process dies; the cookie is its registry key. The service
// drops the client through its own link; this one keeps the key map in step.
class KptService::ClientDeath : public ::android::hardware::hidl_death_recipient {
  public:
    explicit ClientDeath(KptService* owner) : mOwner(owner) {}
    void serviceDied(uint64_t cookie, const wp<IBase>& who) override {
        KptService* owner = mOwner.load();
        if (owner != nullptr) owner->forgetClient(static_cast<uint32_t>(cookie), who.unsafe_get());
    }
    void detach() { mOwner.store(nullptr); }

  private:
    std::atomic<KptService*> mOwner;
};

// One call in progress; false once shutdown() has begun, and the call is then refused.
class KptService::Call {
  public:
    explicit Call(KptService* owner) : mOwner(owner) {
        Mutex::Autolock _l(mOwner->mLock);
        mAdmitted = !mOwner->mStopping;
        if (mAdmitted) mOwner->mCalls++;
    }
    ~Call() {
        if (!mAdmitted) return;
        Mutex::Autolock _l(mOwner->mLock);
        if (--mOwner->mCalls == 0) mOwner->mCallsDone.broadcast();
    }
    explicit operator bool() const { return mAdmitted; }

    static Status refused() {
        return Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "the service is stopping");
    }

  private:
    KptService* const mOwner;
    bool mAdmitted = false;
};

KptService::KptService(const sp<VeloraManagerService>& service)
    : mService(service), mDeath(new ClientDeath(this)) {}

KptService::~KptService() {
    shutdown();
    mDeath->detach();
}

void KptService::shutdown() {
    std::map<uint32_t, sp<IKptCallbacks>> clients;
    sp<VeloraManagerService> service;
    {
        Mutex::Autolock _l(mLock);
        mStopping = true;
        while (mCalls > 0) mCallsDone.wait(mLock);
        clients.swap(mClients);
        service = std::move(mService);
    }
    for (const auto& [key, callback] : clients) {
        ::android::hardware::Return<bool> unlinked = callback->unlinkToDeath(mDeath);
        (void)unlinked.isOk();
    }
    // The last reference in most hosts: the destructor applies what clients were told was
    // accepted, then saves the state and the settings.
    service.clear();
}

void KptService::forgetClient(uint32_t key, const IBase* who) {
    Mutex::Autolock _l(mLock);
    auto it = mClients.find(key);
    if (it != mClients.end() && static_cast<const IBase*>(it->second.get()) == who) {
        mClients.erase(it);
    }
}

KptService::Return<int32_t> KptService::registerClient(const sp<IKptCallbacks>& callback,
                                                       int32_t type, uint32_t uid) {
    Call call(this);
    if (!call) return Call::refused();
    Mutex::Autolock registry(mRegistryLock);
    // A null callback is refused by the service itself, with its own message.
    const int result = mService->registerClient(callback, type, uid);
    if (result != 0) return result;
    const uint32_t key = uid + static_cast<uint32_t>(type);
    {
        Mutex::Autolock _l(mLock);
        mClients[key] = callback;
    }
    ::android::hardware::Return<bool> linked = callback->linkToDeath(mDeath, key);
    if (!linked.isOk() || !static_cast<bool>(linked)) {
        // Already dead: the service heard of it through its own link.
        forgetClient(key, callback.get());
    }
    return 0;
}

int32_t KptService::unregisterClient(int32_t type, uint32_t uid, sp<IKptCallbacks>* removed) {
    removed->clear();
    Call call(this);
    if (!call) return -ENODEV;
    Mutex::Autolock registry(mRegistryLock);
    const uint32_t key = uid + static_cast<uint32_t>(type);
    sp<IKptCallbacks> holder;
    {
        Mutex::Autolock _l(mLock);
        auto it = mClients.find(key);
        if (it != mClients.end()) holder = it->second;
    }
    const int result = mService->unregisterClient(holder, type, uid);
    // Any other answer than "unknown key" means the service removed the key's client (a
    // failed save is reported after the removal).
    if (result != -ENOENT && holder != nullptr) {
        {
            Mutex::Autolock _l(mLock);
            mClients.erase(key);
        }
        ::android::hardware::Return<bool> unlinked = holder->unlinkToDeath(mDeath);
        (void)unlinked.isOk();
        *removed = holder;
    }
    return result;
}

KptService::Return<int32_t> KptService::unregisterClient(const sp<IKptCallbacks>& /*callback*/,
                                                         int32_t type, uint32_t uid) {
    sp<IKptCallbacks> removed;
    return unregisterClient(type, uid, &removed);
}

KptService::Return<int64_t> KptService::getIntParam(uint32_t code) {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getIntParam(code);
}

KptService::Return<void> KptService::setIntParam(uint32_t code, int64_t value) {
    Call call(this);
    if (!call) return Call::refused();
    mService->setIntParam(code, value);
    return Void();
}

KptService::Return<void> KptService::getPexParam(const hidl_vec<uint8_t>& request,
                                                 uint32_t answerLength, getPexParam_cb _hidl_cb) {
    Call call(this);
    if (!call) return Call::refused();
    if (answerLength > kMaxAnswerLength) {
        ALOGE("getPexParam: answer length %u is over the limit of %u bytes", answerLength,
              kMaxAnswerLength);
        _hidl_cb(-EINVAL, hidl_vec<uint8_t>());
        return Void();
    }
    hidl_vec<uint8_t> answer(answerLength);
    const int result = mService->getPexParam(request.data(), static_cast<unsigned>(request.size()),
                                             answer.data(), answerLength);
    _hidl_cb(result, answer);
    return Void();
}

KptService::Return<int32_t> KptService::setPexParam(const hidl_vec<uint8_t>& data) {
    Call call(this);
    if (!call) return Call::refused();
    return mService->setPexParam(data.data(), static_cast<unsigned>(data.size()));
}

KptService::Return<void> KptService::getAvailableTuningDevices(
    int32_t port, int32_t length, getAvailableTuningDevices_cb _hidl_cb) {
    Call call(this);
    if (!call) return Call::refused();
    if (length > static_cast<int32_t>(kMaxAnswerLength)) {
        ALOGE("getAvailableTuningDevices: length %d is over the limit of %u bytes", length,
              kMaxAnswerLength);
        _hidl_cb(-EINVAL, hidl_vec<uint8_t>());
        return Void();
    }
    // A negative length reaches the service as it is; it refuses it with its own message.
    hidl_vec<uint8_t> names(length > 0 ? static_cast<size_t>(length) : 0);
    mService->getAvailableTuningDevices(port, names.data(), length);
    _hidl_cb(0, names);
    return Void();
}

KptService::Return<int32_t> KptService::getAvailableTuningDevicesLen(int32_t port) {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getAvailableTuningDevicesLen(port);
}

KptService::Return<void> KptService::getSelectedTuningDevice(int32_t port,
                                                             getSelectedTuningDevice_cb _hidl_cb) {
    Call call(this);
    if (!call) return Call::refused();
    const std::string name = mService->getSelectedTuningDevice(port);
    _hidl_cb(hidl_string(name.data(), name.size()));
    return Void();
}

KptService::Return<void> KptService::setSelectedTuningDevice(int32_t port,
                                                             const hidl_vec<uint8_t>& name) {
    Call call(this);
    if (!call) return Call::refused();
    mService->setSelectedTuningDevice(port, name.data(), static_cast<int>(name.size()));
    return Void();
}

KptService::Return<void> KptService::getProfileName(int32_t profile, getProfileName_cb _hidl_cb) {
    Call call(this);
    if (!call) return Call::refused();
    const std::string name = mService->getProfileName(profile);
    _hidl_cb(hidl_string(name.data(), name.size()));
    return Void();
}

KptService::Return<int32_t> KptService::getProfileIeqPreset(int32_t profile) {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getProfileIeqPreset(profile);
}

KptService::Return<bool> KptService::getPexEnabled() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getPexEnabled();
}

KptService::Return<bool> KptService::isMonoInternalSpeaker() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->isMonoInternalSpeaker();
}

KptService::Return<bool> KptService::isSpeakerPortraitMode() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->isSpeakerPortraitMode();
}

KptService::Return<int32_t> KptService::getTuningParamDSA() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getTuningParamDSA();
}

KptService::Return<int32_t> KptService::getTuningParamDHSA() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getTuningParamDHSA();
}

KptService::Return<int32_t> KptService::getTuningParamDFSA() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getTuningParamDFSA();
}

KptService::Return<uint32_t> KptService::getActiveDevice() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getActiveDevice();
}

KptService::Return<int32_t> KptService::getDefaultXmlFormatVersion() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->getDefaultXmlFormatVersion();
}

KptService::Return<int32_t> KptService::setParam(uint32_t device, uint32_t id,
                                                 const hidl_vec<int32_t>& values) {
    Call call(this);
    if (!call) return Call::refused();
    return mService->setParam(device, static_cast<::android::PexParameterId>(id), values.data(),
                              static_cast<unsigned>(values.size()));
}

KptService::Return<int32_t> KptService::commitChange() {
    Call call(this);
    if (!call) return Call::refused();
    return mService->commitChange();
}

KptService::Return<void> KptService::debug(const hidl_handle& fd,
                                           const hidl_vec<hidl_string>& options) {
    Call call(this);
    if (!call) return Call::refused();
    const native_handle_t* handle = fd.getNativeHandle();
    if (handle == nullptr || handle->numFds < 1 || handle->data[0] < 0) {
        ALOGE("debug: no descriptor to write the dump to");
        return Void();
    }
    ::android::Vector<::android::String16> args;
    for (const hidl_string& option : options) args.add(::android::String16(option.c_str()));
    mService->dump(handle->data[0], args);
    return Void();
}

}  // namespace velora
