/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "VeloraManagerService"

#include "service/VeloraManagerService.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <log/log.h>
#include <unistd.h>
#include <utils/SystemClock.h>
#include <utils/Timers.h>

#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "context/KsContext.h"
#include "effect/PexController.h"
#include "effect/PexParameter.h"
#include "model/PresetType.h"
#include "service/KsManager.h"
#include "service/PackedBuffer.h"
#include "service/VeloraManagerService_EventHandler.h"
#include "service/VeloraManagerService_NotificationClient.h"
#include "store/TextHelpers.h"

namespace android {

using velora::KsContextManager;
using velora::KsManager;

namespace {

// The first word of the buffer that the loop hands the clients after a registration or an
// unregistration; type and uid follow. Its top byte is no set-buffer command, so clients that
// read every buffer as a set buffer pass over it.
constexpr uint32_t kRegisteredMarker = fourcc("regc");
constexpr uint32_t kUnregisteredMarker = fourcc("ureg");

// The external id of the dialog enhancer switch, shown by dump.
constexpr int kDialogEnhancerId = 105;

// Bounds of each part of the tuning file's format version, which travels in one byte each.
constexpr int kMaxVersionPart = 255;

bool is_decoder_type(int type) { return type >= 1 && type <= 4; }

bool is_effect_parameter(PexParameterId id) {
    for (int p = 0; p < velora::kPexParameterCount; ++p) {
        if (velora::pex_parameter_id(static_cast<velora::PexParameter>(p)) == id) {
            return true;
        }
    }
    return false;
}

// Parses one decimal part of a version text; false unless the whole text is a number.
bool parse_version_part(const std::string& text, int* value) {
    if (text.empty() || text.size() > 10) {
        return false;
    }
    char* end = nullptr;
    long long parsed = strtoll(text.c_str(), &end, 10);
    if (end == nullptr || *end != '\0' || parsed < INT_MIN || parsed > INT_MAX) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}

void write_answer(void* out, unsigned outLength, int32_t value) {
    // A 32-bit answer needs a 32-bit buffer; a shorter one is left untouched rather than
    // written past its end.
    if (out == nullptr || outLength < sizeof(value)) {
        ALOGE("%s : Invalid output length, not enough buffer!", "packAndReceiveParam");
        return;
    }
    memcpy(out, &value, sizeof(value));
}

void write_values(void* out, unsigned outLength, const std::vector<int>& values) {
    size_t bytes = values.size() * sizeof(int32_t);
    if (bytes > outLength || (bytes > 0 && out == nullptr)) {
        ALOGE("%s : Invalid output length, not enough buffer!", "packAndReceiveParam");
        return;
    }
    if (bytes > 0) {
        memcpy(out, values.data(), bytes);
    }
}

}  // namespace

VeloraManagerService::VeloraManagerService() : VeloraManagerService(nullptr) {}

VeloraManagerService::VeloraManagerService(KsContextManager* contextManager)
    : mContextManager(contextManager) {}

void VeloraManagerService::onFirstRef() {
    ALOGI("%s ", "onFirstRef");
    mKsManager = mContextManager != nullptr ? new KsManager(*mContextManager) : new KsManager();
    mEventHandler = new EventHandler(mKsManager, this);
    mEventHandler->start();
}

VeloraManagerService::~VeloraManagerService() {
    ALOGI("%s ", "~VeloraManagerService");
    if (!mSavedAtEnd.load()) saveAtEnd();
    KeyedVector<uint32_t, sp<NotificationClient>> clients;
    {
        Mutex::Autolock _l(mLock);
        clients = mNotificationClients;
        mNotificationClients.clear();
    }
    // The callbacks may outlive the service (their transport holds them): they drop their
    // links to recipients that no longer have a registry to leave.
    for (size_t i = 0; i < clients.size(); ++i) {
        const sp<NotificationClient>& client = clients.valueAt(i);
        client->getCallback()->unlinkToDeath(client);
    }
    delete mKsManager;
}

bool VeloraManagerService::ensureInitialized() {
    if (isInitialized()) {
        return true;
    }
    Mutex::Autolock _l(mInitLock);
    if (!mInitialized.load(std::memory_order_relaxed) && mKsManager->init() == 0) {
        mInitialized.store(true, std::memory_order_release);
#if defined(__GLIBC__)
        // Start-up frees far more than the service keeps (the parsed tuning file, the rows
        // read), and glibc holds freed memory below later allocations; give it back.
        malloc_trim(0);
#endif
    }
    return isInitialized();
}

int VeloraManagerService::registerClient(const sp<IKptCallbacks>& callback, int type,
                                         unsigned uid) {
    if (callback == nullptr) {
        ALOGW("%s got NULL client", "registerClient");
        return -EINVAL;
    }
    ensureInitialized();
    ALOGD("%s(type = %d, uid = %u) entry", "registerClient", type, uid);

    // The key is the sum of uid and type, so different pairs may meet on one key; the second
    // of them is refused.
    const uint32_t key = uid + static_cast<uint32_t>(type);
    sp<NotificationClient> client;
    int result = 0;
    {
        Mutex::Autolock _l(mLock);
        if (mNotificationClients.indexOfKey(key) < 0) {
            client = new NotificationClient(this, callback, type, key);
            ALOGV("registerClient() client %p, uid %d", client.get(), uid);
            mNotificationClients.add(key, client);
            if (is_decoder_type(type)) {
                mDecClientCount++;
            }
        } else {
            ALOGW("register uid already existing 0x%x", key);
            result = -EEXIST;
        }
    }
    // Linked outside the registry lock: a transport that reports an already dead client at
    // once calls back into removeNotificationClient, which takes that lock.
    if (client != nullptr) {
        hardware::Return<bool> linked = callback->linkToDeath(client, key);
        if (!linked.isOk() || !static_cast<bool>(linked)) {
            ALOGE("%s: cannot watch client 0x%x for death", "registerClient", key);
        }
    }

    const int32_t payload[] = {static_cast<int32_t>(kRegisteredMarker), type,
                               static_cast<int32_t>(uid)};
    mEventHandler->sendMessage(payload, sizeof(payload), EventHandler::kWhatRegisterClient);
    ALOGD("Last registered codec type is %d", type);
    ALOGD("%s(type = %d, uid = %u) exit", "registerClient", type, uid);
    return result;
}

int VeloraManagerService::unregisterClient(const sp<IKptCallbacks>& callback, int type,
                                           unsigned uid) {
    ALOGD("%s(type = %d, uid = %u) entry", "unregisterClient", type, uid);
    const uint32_t key = uid + static_cast<uint32_t>(type);
    bool found = false;
    {
        Mutex::Autolock _l(mLock);
        found = mNotificationClients.indexOfKey(key) >= 0;
    }
    if (!found) {
        ALOGW("unregisterClient() client %p, uid %d does not exist in Velora Server",
              callback.get(), uid);
        ALOGD("%s(type = %d, uid = %u) exit", "unregisterClient", type, uid);
        return -ENOENT;
    }
    removeNotificationClient(key);
    const int32_t payload[] = {static_cast<int32_t>(kUnregisteredMarker), type,
                               static_cast<int32_t>(uid)};
    mEventHandler->sendMessage(payload, sizeof(payload), EventHandler::kWhatRegisterClient);
    // The client's changes are on disk when this returns 0; a failed save is its result.
    int result = 0;
    if (isInitialized()) {
        result = saveState();
    }
    ALOGD("%s(type = %d, uid = %u) exit", "unregisterClient", type, uid);
    return result;
}

int VeloraManagerService::saveAtEnd(int64_t budgetMs) {
    mSavedAtEnd.store(true);
    // Writes the clients were told were accepted are applied first; then the loop stops before
    // the save, so that the save holds every change and nothing changes behind it.
    if (mEventHandler != nullptr) {
        mEventHandler->flush();
        mEventHandler->stop();
        mEventHandler.clear();
    }
    if (!isInitialized()) return 0;
    const nsecs_t deadline = systemTime(SYSTEM_TIME_MONOTONIC) + milliseconds(budgetMs);
    unsigned attempts = 0;
    int result;
    for (;;) {
        ++attempts;
        result = saveState();
        if (result == 0 || systemTime(SYSTEM_TIME_MONOTONIC) >= deadline) break;
        // A full disk or a lock held by another process may clear within the budget.
        usleep(100 * 1000);
    }
    if (result != 0) {
        ALOGE(
            "last save failed %u times within %lld ms (%s): the changes since the last save "
            "are lost",
            attempts, static_cast<long long>(budgetMs), strerror(-result));
    }
    return result;
}

int VeloraManagerService::saveState() {
    mSaveCount++;
    bool quiet;
    {
        Mutex::Autolock _l(mSaveLock);
        quiet = mFailedSaves > 0;
    }
    const int result = mKsManager->saveKsStateAndSettings(quiet);
    {
        Mutex::Autolock _l(mSaveLock);
        ++mEndedSaves;
        if (result != 0) {
            ++mFailedSaves;
            mLastSaveFailedAt = time(nullptr);
            mLastSaveError = result;
        } else if (mFailedSaves > 0) {
            ALOGI("settings saved after %u failed attempts", mFailedSaves);
            mFailedSaves = 0;
        }
        mSaveEnded.broadcast();
    }
    // Gone only in the destructor, whose save is the last.
    if (result != 0 && mEventHandler != nullptr) {
        mEventHandler->retrySave();
    }
    return result;
}

void VeloraManagerService::saveChangedState() {
    velora::KsContext* context = mKsManager->getKsContext();
    bool failing;
    {
        Mutex::Autolock _l(mSaveLock);
        failing = mFailedSaves > 0;
    }
    // After a failure the save is made even when nothing changed since: the failed one may
    // have been a save point's, made with nothing unsaved, and its run ends only with a save.
    if (context != nullptr && (failing || context->hasUnsavedChanges())) {
        saveState();
    }
}

uint64_t VeloraManagerService::getEndedSaveCount() const {
    Mutex::Autolock _l(mSaveLock);
    return mEndedSaves;
}

bool VeloraManagerService::waitForSaves(uint64_t ended, bool saved, int64_t timeoutMs) {
    const nsecs_t deadline = systemTime(SYSTEM_TIME_MONOTONIC) + milliseconds(timeoutMs);
    Mutex::Autolock _l(mSaveLock);
    while (mEndedSaves < ended || (saved && mFailedSaves > 0)) {
        const nsecs_t left = deadline - systemTime(SYSTEM_TIME_MONOTONIC);
        if (left <= 0) return false;
        mSaveEnded.waitRelative(mSaveLock, left);
    }
    return true;
}

bool VeloraManagerService::hasDecCP() const { return mDecClientCount.load() != 0; }

size_t VeloraManagerService::getClientCount() const {
    Mutex::Autolock _l(mLock);
    return mNotificationClients.size();
}

void VeloraManagerService::removeNotificationClient(unsigned key) {
    ALOGD("%s(uid = %u) entry", "removeNotificationClient", key);
    sp<NotificationClient> removed;
    {
        Mutex::Autolock _l(mLock);
        ssize_t index = mNotificationClients.indexOfKey(key);
        if (index >= 0) {
            removed = mNotificationClients.valueAt(index);
            mNotificationClients.removeItemsAt(index);
            if (is_decoder_type(removed->getType())) {
                mDecClientCount--;
            }
        }
    }
    // The client object goes (and with it the callback reference) outside the lock.
    if (removed != nullptr) {
        removed->getCallback()->unlinkToDeath(removed);
    }
    ALOGD("%s(uid = %u) exit", "removeNotificationClient", key);
}

void VeloraManagerService::doOnPexParamUpdate(const void* data, unsigned length) {
    ALOGV("%s() entry", "doOnPexParamUpdate");
    Mutex::Autolock _l(mLock);
    if (mNotificationClients.size() == 0) {
        ALOGV("%s() exit", "doOnPexParamUpdate");
        return;
    }
    for (size_t i = 0; i < mNotificationClients.size(); ++i) {
        const sp<NotificationClient>& client = mNotificationClients.valueAt(i);
        if (client == nullptr || client->getCallback() == nullptr) {
            continue;
        }
        if (!client->onPexParamUpdate(data, length)) {
            ALOGE("Call client failed on %d", mNotificationClients.keyAt(i));
        }
    }
    ALOGV("%s() exit", "doOnPexParamUpdate");
}

int64_t VeloraManagerService::getIntParam(unsigned code) {
    const bool initialized = isInitialized();
    switch (code) {
        case kActiveDevice:
            return getActiveDevice();
        case kChannelCount:
            return mChannelCount.load();
        case kPexOn:
            return initialized ? mKsManager->getKsOn() : 0;
        case kDecoderClients:
            return hasDecCP() ? 1 : 0;
        case kSurroundSpeakerAngle:
            return initialized ? mKsManager->getTuningParamDSA() : -1;
        case kHeightSpeakerAngle:
            return initialized ? mKsManager->getTuningParamDHSA() : -1;
        case kFrontSpeakerAngle:
            return initialized ? mKsManager->getTuningParamDFSA() : -1;
        case kStoredDEAM:
            return mStoredDEAM.load();
        case kStoredDECT:
            return mStoredDECT.load();
        case kLastParamChangeTime:
            return mLastParamChangeTime.load();
        case kLastActiveDeviceTime:
            return mLastActiveDeviceTime.load();
        case kMonoSpeaker:
            return initialized ? mKsManager->isMonoInternalSpeaker() : 0;
        case kSpeakerPortrait:
            return initialized ? mKsManager->isSpeakerPortraitMode() : 0;
        case kTuningFormatVersion:
            return getDefaultXmlFormatVersion();
        default:
            return -1;
    }
}

void VeloraManagerService::setIntParam(unsigned code, int64_t value) {
    switch (code) {
        case kStoredDEAM:
            mStoredDEAM = value;
            break;
        case kStoredDECT:
            mStoredDECT = static_cast<int32_t>(static_cast<uint32_t>(value & 0xFFFFFFFF));
            break;
        case kReloadTuningFile:
            // The reload changes the state and so reaches the effect controller; like every
            // other change it is made on the loop, never beside it. A request while a reload
            // waits on the loop joins it: that reload reads the file after this request, and
            // a storm of requests costs one reload instead of delaying every later write.
            if (!mReloadWaiting.exchange(true)) {
                mEventHandler->sendMessage(nullptr, 0, EventHandler::kWhatReloadTuning);
            }
            break;
        default:
            break;
    }
}

void VeloraManagerService::reloadTuningFile() {
    // From here on a request needs a reload of its own: this one may read the file too early.
    mReloadWaiting.store(false);
    ALOGD("Notify clients that PEX params changed after reload tuning file.");
    int result;
    {
        // Not beside a start-up that is registering the controller with the same context.
        Mutex::Autolock _l(mInitLock);
        result = mKsManager->reloadTuningXml();
    }
    if (result == 0) {
        doOnPexParamUpdate(nullptr, 0);
    }
}

int VeloraManagerService::getPexParam(const void* in, unsigned inLength, void* out,
                                      unsigned outLength) {
    if (!isInitialized()) {
        return -ENODEV;
    }
    packAndReceiveParam(in, inLength, out, outLength);
    return 0;
}

void VeloraManagerService::packAndReceiveParam(const void* in, unsigned inLength, void* out,
                                               unsigned outLength) {
    velora::PackedBuffer request(in, inLength);
    // A request is answered only when it holds every byte its command reads: zeros in place of
    // missing bytes would make a command, an id, a profile or a port the client never sent.
    if (!request.covers(4)) {
        ALOGE("%s : Invalid input length!", "packAndReceiveParam");
        return;
    }
    const uint32_t command = request.getRequestCommand();
    size_t needed = 4;
    if (command == kGetParameter) {
        needed = 12;
    } else if (command == kGetPortParameter) {
        needed = 9;
    } else if (command == kGetProfileModified) {
        needed = 8;
    }
    if (!request.covers(needed)) {
        ALOGE("%s : Invalid input length!", "packAndReceiveParam");
        return;
    }

    switch (command) {
        case kGetPexOn:
            write_answer(out, outLength, mKsManager->getKsOn() ? 1 : 0);
            break;
        case kGetParameter: {
            const int id = request.getWord(1);
            const int profile = request.getWord(2);
            write_values(out, outLength, mKsManager->getParameter(profile, id));
            break;
        }
        case kGetPortParameter: {
            const int id = request.getWord(1);
            // One byte carries both: the profile in the high nibble, the port in the low one.
            const uint8_t profileAndPort = request.getByte(8);
            const int profile = profileAndPort >> 4;
            const int port = profileAndPort & 0x0F;
            write_values(out, outLength, mKsManager->getProfilePortParameter(profile, port, id));
            break;
        }
        case kGetNumOfProfiles:
            write_answer(out, outLength, mKsManager->getNumOfProfiles());
            break;
        case kGetSelectedProfile:
            write_answer(out, outLength, mKsManager->getSelectedProfile());
            break;
        case kGetProfileModified:
            write_answer(out, outLength, mKsManager->isProfileModified(request.getWord(1)) ? 1 : 0);
            break;
        case kGetMonoSpeaker:
            write_answer(out, outLength, mKsManager->isMonoInternalSpeaker() ? 1 : 0);
            break;
        default:
            break;
    }
}

int VeloraManagerService::setPexParam(const void* buffer, unsigned length) {
    if (!isInitialized()) {
        return -ENODEV;
    }
    mEventHandler->sendMessage(buffer, length, EventHandler::kWhatSetParam);
    return 0;
}

bool VeloraManagerService::checkPort(const char* operation, int port) {
    if (!isInitialized()) {
        ALOGE("%s KsManager doesn't initialize!", operation);
        return false;
    }
    if (port < 0 || port > kMaxPort) {
        ALOGE("%s invalid port number, %d", operation, port);
        return false;
    }
    return true;
}

void VeloraManagerService::getAvailableTuningDevices(int port, void* out, int length) {
    if (!checkPort("getAvailableTuningDevices", port)) {
        return;
    }
    // One list serves both the size check and the copy, so a reload in between cannot make
    // them disagree.
    const std::vector<std::string> names =
        mKsManager->getAvailableTuningDevices(static_cast<velora::Port>(port));
    size_t needed = 0;
    for (const std::string& name : names) {
        needed += name.size() + 1;
    }
    if (length < 0 || needed > static_cast<size_t>(length) || (needed > 0 && out == nullptr)) {
        ALOGE("%s not enough buffer for transferring device name lists for port %d",
              "getAvailableTuningDevices", port);
        return;
    }
    char* cursor = static_cast<char*>(out);
    for (const std::string& name : names) {
        memcpy(cursor, name.c_str(), name.size() + 1);
        cursor += name.size() + 1;
    }
}

int VeloraManagerService::getAvailableTuningDevicesLen(int port) {
    if (!checkPort("getAvailableTuningDevicesLen", port)) {
        return 0;
    }
    return mKsManager->getAvailableTuningDevicesLen(static_cast<velora::Port>(port));
}

std::string VeloraManagerService::getSelectedTuningDevice(int port) {
    if (!checkPort("getSelectedTuningDevice", port)) {
        return "";
    }
    return mKsManager->getSelectedTuningName(static_cast<velora::Port>(port));
}

void VeloraManagerService::setSelectedTuningDevice(int port, const void* name, int length) {
    if (!checkPort("setSelectedTuningDevice", port)) {
        return;
    }
    // An empty name is posted too: every client hears of the request, and the loop refuses
    // it as it refuses any name that is no device of the port.
    const unsigned size = name != nullptr && length > 0 ? static_cast<unsigned>(length) : 0;
    mEventHandler->sendMessage(name, size, port, EventHandler::kWhatSetTuning);
}

std::string VeloraManagerService::getProfileName(int id) {
    if (!isInitialized()) {
        ALOGE("%s KsManager doesn't initialize!", "getProfileName");
        return "";
    }
    return mKsManager->getProfileName(id);
}

int VeloraManagerService::getProfileIeqPreset(int id) {
    if (!isInitialized()) {
        ALOGE("%s KsManager doesn't initialize!", "getProfileIeqPreset");
        return -ENODEV;
    }
    return mKsManager->getProfileIeqPreset(id);
}

bool VeloraManagerService::getPexEnabled() { return isInitialized() && mKsManager->getKsOn(); }

bool VeloraManagerService::isMonoInternalSpeaker() {
    return isInitialized() && mKsManager->isMonoInternalSpeaker();
}

bool VeloraManagerService::isSpeakerPortraitMode() {
    return isInitialized() && mKsManager->isSpeakerPortraitMode();
}

int VeloraManagerService::getTuningParamDSA() {
    return isInitialized() ? mKsManager->getTuningParamDSA() : -1;
}

int VeloraManagerService::getTuningParamDHSA() {
    return isInitialized() ? mKsManager->getTuningParamDHSA() : -1;
}

int VeloraManagerService::getTuningParamDFSA() {
    return isInitialized() ? mKsManager->getTuningParamDFSA() : -1;
}

uint32_t VeloraManagerService::getActiveDevice() {
    mLastActiveDeviceTime = uptimeMillis();
    return mActiveDevice.load();
}

int VeloraManagerService::getDefaultXmlFormatVersion() {
    if (!isInitialized()) {
        return -ENODEV;
    }
    const std::string version = mKsManager->getDefaultXmlFormatVersion();
    const std::vector<std::string> parts = velora::split_string(version, ".");
    int major = 0;
    int minor = 0;
    int maintain = 0;
    if (parts.size() != 3 || !parse_version_part(parts[0], &major) ||
        !parse_version_part(parts[1], &minor) || !parse_version_part(parts[2], &maintain)) {
        ALOGE("XML version %s is not in Major.Minor.Maintain format!", version.c_str());
        return -EINVAL;
    }
    if (major < 0 || major > kMaxVersionPart || minor < 0 || minor > kMaxVersionPart ||
        maintain < 0 || maintain > kMaxVersionPart) {
        ALOGE("XML version %d.%d.%d is invalid!\n", major, minor, maintain);
        return -EINVAL;
    }
    return (major << 16) | (minor << 8) | maintain;
}

int VeloraManagerService::setParam(unsigned device, PexParameterId id, const int* values,
                                   unsigned count) {
    // Only what the effect reads: its devices and its parameter codes. The store refuses more
    // values than a parameter holds, so no client can grow the parameter file beyond the
    // effect's own parameters at their largest.
    if (velora::PexController::kDevices.count(static_cast<velora::AndroidDevice>(device)) == 0) {
        ALOGE("%s: device 0x%x has no effect parameters", "setParam", device);
        return -EINVAL;
    }
    if (!is_effect_parameter(id)) {
        ALOGE("%s: 0x%08x is no effect parameter", "setParam", id);
        return -EINVAL;
    }
    return PexParamStore::getInstance().setParam(device, id, values, count);
}

int VeloraManagerService::commitChange() { return PexParamStore::getInstance().commitChange(); }

int VeloraManagerService::getStoredParams(KeyedVector<unsigned, PexParamCache*>* out,
                                          bool changedOnly, int* generation) {
    return PexParamStore::getInstance().getStoredParams(out, changedOnly, generation);
}

status_t VeloraManagerService::dump(int fd, const Vector<String16>& /*args*/) {
    dprintf(fd, "VeloraManagerService Information dump:\n");
    dprintf(fd, "Registered clients : %zu\n", getClientCount());
    if (!isInitialized()) {
        dprintf(fd, "KsManager doesn't initialize!\n");
        const std::string failure = mKsManager->getStartFailure();
        if (!failure.empty()) dprintf(fd, "Start-up failed : %s\n", failure.c_str());
        return NO_ERROR;
    }
    dprintf(fd, "KIV Status : %s\n", mKsManager->getKsOn() ? "ON" : "OFF");
    const int profile = mKsManager->getSelectedProfile();
    dprintf(fd, "Profile ID : %d\n", profile);
    // The profile's selected preset (what id 104 writes; reading 104 gives no value back).
    const int preset = mKsManager->getKsContext()->getProfileIeqPreset(profile);
    const char* presetName = preset >= 0 && preset < velora::kPresetTypeCount
                                 ? velora::kPresetTypeNames[preset]
                                 : "unknown";
    dprintf(fd, "Profile IEQ Preset : %s\n", presetName);
    const std::vector<int> dialog = mKsManager->getParameter(profile, kDialogEnhancerId);
    const char* dialogState = dialog.empty() ? "unknown" : (dialog[0] ? "ON" : "OFF");
    dprintf(fd, "Dialog Enhance state : %s\n", dialogState);
    dprintf(fd, "Is Mono Speaker : %s\n", mKsManager->isMonoInternalSpeaker() ? "YES" : "NO");
    Mutex::Autolock _l(mSaveLock);
    if (mFailedSaves > 0) {
        char when[32] = "?";
        struct tm utc;
        if (gmtime_r(&mLastSaveFailedAt, &utc) != nullptr) {
            strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S UTC", &utc);
        }
        dprintf(fd, "last save failed at %s: %s (%u attempts since the last save)\n", when,
                strerror(-mLastSaveError), mFailedSaves);
    }
    return NO_ERROR;
}

void VeloraManagerService::dumpPermissionDenial(int fd) {
    dprintf(fd, "Permission Denial: can't dump VeloraManagerService\n");
}

}  // namespace android
