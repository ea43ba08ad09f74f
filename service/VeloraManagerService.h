/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <android-base/thread_annotations.h>
#include <hidl/HidlSupport.h>
#include <pexparamstorage/PexParamCache.h>
#include <pexparamstorage/PexParamStore.h>
#include <utils/Condition.h>
#include <utils/KeyedVector.h>
#include <utils/Mutex.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>
#include <utils/Vector.h>
#include <vendor/velora/hardware/kpt/2.0/IKptCallbacks.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>

namespace velora {
class KsContextManager;
class KsManager;
}  // namespace velora

namespace android {

// A four-character code as the service's clients send it: the first character in the most
// significant byte ("ADEV" is 0x41444556).
constexpr uint32_t fourcc(const char (&code)[5]) {
    return (static_cast<uint32_t>(static_cast<uint8_t>(code[0])) << 24) |
           (static_cast<uint32_t>(static_cast<uint8_t>(code[1])) << 16) |
           (static_cast<uint32_t>(static_cast<uint8_t>(code[2])) << 8) |
           static_cast<uint32_t>(static_cast<uint8_t>(code[3]));
}

// The settings service object that the vendor interface glue calls for its clients. It owns
// the KsManager and the event loop (EventHandler) that applies client writes, keeps the
// registry of client callbacks (NotificationClient), answers integer queries by code, packs and
// unpacks parameter buffers, and passes raw writes through to the shared parameter store.
//
// Threading: every operation may be called from any number of binder threads at once. Reads
// are answered on the caller's thread; writes are posted to the event loop and applied there
// in arrival order, after which every registered client is called back. mLock guards the
// registry only and is held while clients are called back; mInitLock serialises the lazy
// start-up of the manager with the reloads the loop runs.
class VeloraManagerService : public RefBase {
  public:
    class EventHandler;
    class NotificationClient;

    using IKptCallbacks = ::vendor::velora::hardware::kpt::V2_0::IKptCallbacks;

    // Integer-property codes.
    static constexpr uint32_t kActiveDevice = fourcc("ADEV");
    static constexpr uint32_t kChannelCount = fourcc("CHCT");
    static constexpr uint32_t kPexOn = fourcc("PEXO");
    static constexpr uint32_t kDecoderClients = fourcc("DCCP");
    static constexpr uint32_t kSurroundSpeakerAngle = fourcc("DDSA");
    static constexpr uint32_t kHeightSpeakerAngle = fourcc("DHSA");
    static constexpr uint32_t kFrontSpeakerAngle = fourcc("DFSA");
    // Two values that clients store in the service and read back; the service gives them no
    // meaning of its own.
    static constexpr uint32_t kStoredDEAM = fourcc("DEAM");
    static constexpr uint32_t kStoredDECT = fourcc("DECT");
    static constexpr uint32_t kLastParamChangeTime = fourcc("LCTP");
    static constexpr uint32_t kLastActiveDeviceTime = fourcc("LCTM");
    static constexpr uint32_t kMonoSpeaker = fourcc("SPKM");
    static constexpr uint32_t kSpeakerPortrait = fourcc("SPKP");
    static constexpr uint32_t kTuningFormatVersion = fourcc("DTFV");
    static constexpr uint32_t kReloadTuningFile = fourcc("RLTF");

    // Commands of the packed get buffer.
    static constexpr uint32_t kGetPexOn = 0;
    static constexpr uint32_t kGetParameter = 1;
    static constexpr uint32_t kGetPortParameter = 2;
    static constexpr uint32_t kGetNumOfProfiles = 3;
    static constexpr uint32_t kGetSelectedProfile = 10;
    static constexpr uint32_t kGetProfileModified = 11;
    static constexpr uint32_t kGetMonoSpeaker = 13;

    // The highest port number clients may name.
    static constexpr int kMaxPort = 6;

    // Uses the process-wide KsContextManager.
    VeloraManagerService();
    // Uses the given KsContextManager, which must outlive the service (host tools and tests
    // that bring the settings system up themselves).
    explicit VeloraManagerService(velora::KsContextManager* contextManager);
    ~VeloraManagerService() override;

    // Clients. registerClient runs the manager's start-up on first use. Both return 0, or
    // -EINVAL for a null callback, -EEXIST when the key is taken, -ENOENT for an unknown key.
    // unregisterClient saves the settings and returns 0 only once they are on disk; a save
    // that failed gives its negative errno (the client is unregistered all the same).
    int registerClient(const sp<IKptCallbacks>& callback, int type, unsigned uid);
    int unregisterClient(const sp<IKptCallbacks>& callback, int type, unsigned uid);
    bool hasDecCP() const;
    // The number of registered clients.
    size_t getClientCount() const;

    // Integer properties by four-character code; -1 for an unknown code.
    int64_t getIntParam(unsigned code);
    void setIntParam(unsigned code, int64_t value);

    // Packed parameter get: answers into out; 0, or -ENODEV before start-up.
    int getPexParam(const void* in, unsigned inLength, void* out, unsigned outLength);
    // Packed parameter set: posted to the event loop; 0, or -ENODEV before start-up.
    int setPexParam(const void* buffer, unsigned length);

    // Tuning devices of a port (0 to 6).
    void getAvailableTuningDevices(int port, void* out, int length);
    int getAvailableTuningDevicesLen(int port);
    std::string getSelectedTuningDevice(int port);
    // Posted to the event loop; the name's bytes up to length (or a first zero byte).
    void setSelectedTuningDevice(int port, const void* name, int length);

    std::string getProfileName(int id);
    // The IEQ preset the profile has selected (what external id 104 writes, which reading 104
    // does not give back): a preset type, -EINVAL for an unknown profile, -ENODEV before the
    // manager is initialised.
    int getProfileIeqPreset(int id);
    bool getPexEnabled();
    bool isMonoInternalSpeaker();
    bool isSpeakerPortraitMode();
    int getTuningParamDSA();
    int getTuningParamDHSA();
    int getTuningParamDFSA();
    uint32_t getActiveDevice();
    // The tuning file's format version, major in bits 16-23, minor in bits 8-15 and
    // maintenance in bits 0-7; -ENODEV before start-up, -EINVAL for a malformed version.
    int getDefaultXmlFormatVersion();

    // Pass-through to the shared parameter store. setParam takes the devices and parameter
    // codes the effect reads, and returns -EINVAL for others; the store's own refusals
    // (-E2BIG above PexParamStore::kMaxValueCount values) come back as they are.
    int setParam(unsigned device, PexParameterId id, const int* values, unsigned count);
    int commitChange();
    int getStoredParams(KeyedVector<unsigned, PexParamCache*>* out, bool changedOnly,
                        int* generation);

    status_t dump(int fd, const Vector<String16>& args);
    void dumpPermissionDenial(int fd);

    // Calls every registered client back with the bytes; the registry lock is held throughout.
    void doOnPexParamUpdate(const void* data, unsigned length);
    void removeNotificationClient(unsigned key);

    // The time from a change of the settings to the save on the event loop that carries it
    // (with the changes made meanwhile); 0 saves only when a client unregisters and when the
    // service goes.
    static constexpr int64_t kDefaultSaveDelayMs = 1000;
    void setSaveDelay(int64_t ms) { mSaveDelayMs.store(ms < 0 ? 0 : ms); }
    int64_t getSaveDelay() const { return mSaveDelayMs.load(); }
    // The saves of the whole state the service has made (after changes, on unregistration,
    // at the end), failed ones included.
    uint64_t getSaveCount() const { return mSaveCount.load(); }
    // The saves that have ended, failed ones included.
    uint64_t getEndedSaveCount() const;
    // Waits until at least `ended` saves have ended and, with saved, until the last one
    // succeeded; false when that does not happen within timeoutMs. For hosts and tests.
    bool waitForSaves(uint64_t ended, bool saved, int64_t timeoutMs);

    // The service's last save, made once before it goes (the destructor makes it when no one
    // did): applies the writes accepted so far, stops the event loop, and saves the whole
    // state, tried again every 100 ms until it succeeds or budgetMs have passed. 0, or the
    // negative errno of the last attempt, which is logged at error level: the changes since
    // the last save are lost. A host exits non-zero then.
    static constexpr int64_t kLastSaveBudgetMs = 3000;
    int saveAtEnd(int64_t budgetMs = kLastSaveBudgetMs);

    // True once the manager has started.
    bool isInitialized() const { return mInitialized.load(std::memory_order_acquire); }

  protected:
    void onFirstRef() override;

  private:
    // Runs the manager's start-up unless it has run; true when the manager is usable.
    bool ensureInitialized();
    // Reloads the tuning file and tells the clients; runs on the event loop.
    void reloadTuningFile();
    // Saves the whole state: 0, or the save's negative errno. A failed save is tried again on
    // the event loop one save delay later, until one succeeds. A run of failures is logged
    // once, by its first save, and its end once, by the save that succeeds again; every save
    // in between is quiet, whoever makes it.
    int saveState();
    // Saves the whole state when it holds changes not on disk yet or the last save failed;
    // runs on the event loop.
    void saveChangedState();
    void packAndReceiveParam(const void* in, unsigned inLength, void* out, unsigned outLength);
    bool checkPort(const char* operation, int port);

    mutable Mutex mLock;
    KeyedVector<uint32_t, sp<NotificationClient>> mNotificationClients GUARDED_BY(mLock);
    sp<EventHandler> mEventHandler;
    // Clients of types 1 to 4 (decoders).
    std::atomic<int32_t> mDecClientCount{0};

    velora::KsContextManager* const mContextManager;
    velora::KsManager* mKsManager = nullptr;
    Mutex mInitLock;
    std::atomic<bool> mInitialized{false};
    // A reload of the tuning file is posted to the loop and has not started yet.
    std::atomic<bool> mReloadWaiting{false};

    std::atomic<uint32_t> mActiveDevice{0};
    std::atomic<uint32_t> mChannelCount{0};
    std::atomic<int64_t> mLastParamChangeTime{0};
    std::atomic<int64_t> mLastActiveDeviceTime{0};
    std::atomic<int64_t> mStoredDEAM{0};
    std::atomic<int32_t> mStoredDECT{0};
    std::atomic<int64_t> mSaveDelayMs{kDefaultSaveDelayMs};
    std::atomic<uint64_t> mSaveCount{0};
    std::atomic<bool> mSavedAtEnd{false};

    mutable Mutex mSaveLock;
    Condition mSaveEnded;
    uint64_t mEndedSaves GUARDED_BY(mSaveLock) = 0;
    // Failed saves since the last one that succeeded, and the time (UTC) and errno of the
    // latest; the dump shows them while the run lasts.
    unsigned mFailedSaves GUARDED_BY(mSaveLock) = 0;
    time_t mLastSaveFailedAt GUARDED_BY(mSaveLock) = 0;
    int mLastSaveError GUARDED_BY(mSaveLock) = 0;

    friend class EventHandler;
    friend class NotificationClient;
};

}  // namespace android
