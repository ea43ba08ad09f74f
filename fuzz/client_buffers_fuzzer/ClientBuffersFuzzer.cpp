/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Whatever a client process may send: packed get requests with answer buffers of any size,
// packed set buffers, tuning-device names and ports, integer properties, dumps and
// re-registrations (which save), all through one started service on the example tuning
// file. Each client buffer is handed over in memory of exactly its length, so a read past it
// is caught. After each input the event loop is drained: a marker set buffer is posted behind
// everything else and the input ends only when the registered client has been called back
// with it, so every write of the input has been applied and announced.
//
// Input: a list of operations, each one byte of kind followed by its arguments.
#include <android-base/thread_annotations.h>
#include <fcntl.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <unistd.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/String16.h>
#include <utils/Vector.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/FuzzSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "service/VeloraManagerService.h"

using android::sp;
using android::VeloraManagerService;
using android::hardware::hidl_vec;
using android::hardware::Return;
using velora::fuzz::FuzzInput;
using velora::testing::TempRoot;

namespace {

// The marker's command byte is no set-buffer command, so the loop only passes it on.
constexpr uint32_t kMarkerCommand = 0x7E000000;
constexpr uint32_t kMarkerTag = 0x464C5348;
constexpr int kClientType = 0;
constexpr unsigned kClientUid = 4242;

class MarkerClient : public VeloraManagerService::IKptCallbacks {
  public:
    Return<void> onPexParamUpdate(const hidl_vec<uint8_t>& data) override {
        uint32_t words[3] = {};
        if (data.size() == sizeof(words)) {
            memcpy(words, data.data(), sizeof(words));
            if (words[0] == kMarkerCommand && words[2] == kMarkerTag) {
                android::Mutex::Autolock lock(mLock);
                mSeen = words[1];
                mArrived.broadcast();
            }
        }
        return android::hardware::Void();
    }

    void waitFor(uint32_t serial) {
        android::Mutex::Autolock lock(mLock);
        while (mSeen != serial) mArrived.wait(mLock);
    }

  private:
    android::Mutex mLock;
    android::Condition mArrived;
    uint32_t mSeen = 0;
};

bool install_example(const TempRoot& root) {
    root.install("examples/multimedia_velora_kiv_default.xml",
                 velora::SystemPaths::kDefaultTuningFile);
    return true;
}

struct Service {
    TempRoot& root = velora::fuzz::process_root();
    // Before the manager: it starts the settings system as it is constructed.
    bool installed = install_example(root);
    velora::KsContextManager manager;
    sp<VeloraManagerService> service;
    sp<MarkerClient> client;
    uint32_t serial = 0;
    int devNull = -1;

    Service() {
        service = new VeloraManagerService(&manager);
        // No timed saves: the service lives until the process ends, and a save falling due
        // while the process tears its static tables down would read freed memory. Inputs
        // still save through re-registrations, on this thread, where they are drained.
        service->setSaveDelay(0);
        client = new MarkerClient();
        service->registerClient(client, kClientType, kClientUid);
        devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    }

    void drain() {
        const uint32_t marker[3] = {kMarkerCommand, ++serial, kMarkerTag};
        service->setPexParam(marker, sizeof(marker));
        client->waitFor(serial);
    }
};

Service& service() {
    static Service* instance = [] {
        velora::fuzz::quiet_log();
        return new Service();
    }();
    return *instance;
}

// The client's bytes in memory of exactly their size (none at all for an empty buffer).
struct ExactBuffer {
    explicit ExactBuffer(const std::string& bytes) : size(bytes.size()) {
        if (size > 0) {
            data = new uint8_t[size];
            memcpy(data, bytes.data(), size);
        }
    }
    explicit ExactBuffer(size_t length) : size(length) {
        if (size > 0) data = new uint8_t[size]();
    }
    ~ExactBuffer() { delete[] data; }
    ExactBuffer(const ExactBuffer&) = delete;
    ExactBuffer& operator=(const ExactBuffer&) = delete;

    uint8_t* data = nullptr;
    size_t size;
};

void run_operation(Service& s, FuzzInput& in) {
    VeloraManagerService& service = *s.service;
    switch (in.byte() % 8) {
        case 0: {  // packed get request and an answer buffer of the client's size
            ExactBuffer request(in.piece(64));
            ExactBuffer answer(static_cast<size_t>(in.byte()) * 2);
            service.getPexParam(request.data, static_cast<unsigned>(request.size), answer.data,
                                static_cast<unsigned>(answer.size));
            break;
        }
        case 1: {  // packed set buffer
            ExactBuffer buffer(in.piece(128));
            service.setPexParam(buffer.data, static_cast<unsigned>(buffer.size));
            break;
        }
        case 2: {  // tuning device by name
            const int port = static_cast<int8_t>(in.byte());
            ExactBuffer name(in.piece(64));
            service.setSelectedTuningDevice(port, name.data, static_cast<int>(name.size));
            break;
        }
        case 3: {  // device-name list into a buffer of the client's size
            const int port = static_cast<int8_t>(in.byte());
            const int needed = service.getAvailableTuningDevicesLen(port);
            const uint8_t shortBy = in.byte() % 4;
            ExactBuffer out(needed > shortBy ? static_cast<size_t>(needed - shortBy) : 0);
            service.getAvailableTuningDevices(port, out.data, static_cast<int>(out.size));
            service.getSelectedTuningDevice(port);
            break;
        }
        case 4:  // integer property
            service.getIntParam(in.word());
            break;
        case 5: {  // integer property written
            const uint32_t code = in.word();
            const int64_t value = static_cast<int32_t>(in.word());
            service.setIntParam(code, value);
            break;
        }
        case 6: {  // profile name and dump
            service.getProfileName(static_cast<int32_t>(in.word()));
            android::Vector<android::String16> args;
            service.dump(s.devNull, args);
            break;
        }
        default:  // the client leaves, which saves the settings, and comes back
            service.unregisterClient(s.client, kClientType, kClientUid);
            service.registerClient(s.client, kClientType, kClientUid);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Service& s = service();
    FuzzInput in(data, size);
    while (in.remaining() > 0) run_operation(s, in);
    s.drain();
    return 0;
}
