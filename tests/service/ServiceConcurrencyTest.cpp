/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Sixteen client threads at once against one service: readers, writers, tuning-device
// selection and registrations (some ending in death). Nothing may deadlock, every message must
// reach the watching client once, in the order applied, and the final state must match it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ServiceTestSupport.h"
#include "context/KsContext.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"

namespace android {
namespace {

using velora::testing::Bytes;
using velora::testing::CallbackLog;
using velora::testing::ExampleSettings;
using velora::testing::make_recording_client;
using velora::testing::MockKptCallbacks;
using velora::testing::words_to_bytes;

constexpr int kThreads = 16;
constexpr int kMaxIterations = 60;
// An unregistration saves the whole state in one transaction: registrations run fewer rounds.
constexpr int kMaxRegistrations = 20;
// Each thread stops at its bound or after this long, so the sanitizer builds stay short too.
constexpr auto kRunTime = std::chrono::milliseconds(2000);

constexpr int32_t kRegisteredMarker = 0x72656763;
constexpr int32_t kUnregisteredMarker = 0x75726567;
const char* const kSpeakerDevices[] = {"default_internal_speaker", "internal_speaker_mono"};

int32_t word(const Bytes& bytes, size_t index) {
    int32_t value = 0;
    if (bytes.size() >= (index + 1) * 4) memcpy(&value, bytes.data() + index * 4, 4);
    return value;
}

sp<MockKptCallbacks> make_quiet_client() {
    sp<MockKptCallbacks> client = new ::testing::NiceMock<MockKptCallbacks>();
    ON_CALL(*client, onPexParamUpdate(::testing::_)).WillByDefault([](const auto&) {
        return hardware::Void();
    });
    return client;
}

TEST(ServiceConcurrencyTest, SixteenClientThreadsAtOnce) {
    ExampleSettings settings;
    CallbackLog watcherLog;
    sp<VeloraManagerService> service = new VeloraManagerService(&settings.manager());
    sp<MockKptCallbacks> watcher = make_recording_client(watcherLog);
    ASSERT_EQ(service->registerClient(watcher, 0, 1), 0);
    ASSERT_TRUE(watcherLog.waitFor(1));
    const int devNull = open("/dev/null", O_WRONLY);
    ASSERT_GE(devNull, 0);

    std::atomic<int> posted{0};
    std::atomic<int> failures{0};
    const auto deadline = std::chrono::steady_clock::now() + kRunTime;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const int iterations = t % 4 == 3 ? kMaxRegistrations : kMaxIterations;
            for (int i = 0; i < iterations && std::chrono::steady_clock::now() < deadline; ++i) {
                switch (t % 4) {
                    case 0: {  // reads
                        const uint8_t profiles[] = {0, 0, 0, 3};
                        const uint8_t gains[] = {0, 0, 0, 1, 110, 0, 0, 0, 0, 0, 0, 0};
                        int32_t out[32];
                        const int got = service->getPexParam(profiles, 4, out, sizeof(out));
                        if (got != 0 || out[0] != 4) failures++;
                        service->getPexParam(gains, sizeof(gains), out, sizeof(out));
                        service->getIntParam(VeloraManagerService::kPexOn);
                        service->getIntParam(VeloraManagerService::kDecoderClients);
                        service->getSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER);
                        char names[64];
                        service->getAvailableTuningDevices(velora::PORT_USB, names, sizeof(names));
                        service->getProfileName(i % 4);
                        service->dump(devNull, Vector<String16>());
                        break;
                    }
                    case 1: {  // writes: gains, on/off and the selected profile in turn
                        Bytes buffer;
                        if (i % 3 == 0) {
                            std::vector<int32_t> words = {0x01000000, 0, 0, 110};
                            for (int band = 0; band < 20; ++band) {
                                words.push_back((t * 37 + i * 11 + band) % 577);
                            }
                            buffer = words_to_bytes(words);
                        } else if (i % 3 == 1) {
                            buffer = words_to_bytes({0x00000000, 0, (t + i) % 2});
                        } else {
                            buffer = words_to_bytes({0x0A000000, 0, (t + i) % 4});
                        }
                        (service->setPexParam(buffer.data(), buffer.size()) == 0 ? posted
                                                                                 : failures)++;
                        break;
                    }
                    case 2: {  // tuning-device selection
                        const char* name = kSpeakerDevices[(t + i) % 2];
                        service->setSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER, name,
                                                         strlen(name));
                        posted++;
                        break;
                    }
                    case 3: {  // a client comes and goes, or dies
                        sp<MockKptCallbacks> client = make_quiet_client();
                        const unsigned uid = 100000 + t * 10000 + i * 10;
                        const int type = 1 + i % 4;
                        if (service->registerClient(client, type, uid) != 0) {
                            failures++;
                            break;
                        }
                        posted++;
                        if (i % 3 == 0) {
                            client->notifyDied();
                        } else if (service->unregisterClient(client, type, uid) == 0) {
                            posted++;
                        } else {
                            failures++;
                        }
                        break;
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    close(devNull);
    EXPECT_EQ(failures.load(), 0);

    // Every message reached the watcher once: its own registration and everything posted.
    const size_t expected = 1 + posted.load();
    ASSERT_TRUE(watcherLog.waitFor(expected)) << watcherLog.count() << " of " << expected;
    EXPECT_EQ(service->getClientCount(), 1u);
    EXPECT_FALSE(service->hasDecCP());

    // The state is what the last applied writes say, in the order the watcher heard them.
    std::vector<int32_t> lastGains;
    int lastOn = -1;
    int lastProfile = -1;
    std::string lastDevice;
    std::map<int32_t, int> registrations;
    for (const Bytes& heard : watcherLog.buffers()) {
        const int32_t command = word(heard, 0);
        if (command == kRegisteredMarker) {
            registrations[word(heard, 2)]++;
        } else if (command == kUnregisteredMarker) {
            registrations[word(heard, 2)] += 100;
        } else if (command == 0x01000000) {
            lastGains.clear();
            for (size_t w = 4; w < heard.size() / 4; ++w) lastGains.push_back(word(heard, w));
        } else if (command == 0x00000000) {
            ASSERT_EQ(word(heard, 1), word(heard, 2));
            lastOn = word(heard, 2);
        } else if (command == 0x0A000000) {
            lastProfile = word(heard, 1);
        } else {
            lastDevice.assign(heard.begin(), heard.end());
        }
    }
    // Each transient client was announced once, and its unregistration once unless it died.
    for (const auto& [uid, seen] : registrations) {
        if (uid == 1) continue;
        const int iteration = (uid % 10000) / 10;
        EXPECT_EQ(seen, iteration % 3 == 0 ? 1 : 101) << "uid " << uid;
    }
    velora::KsContext& context = settings.context();
    if (!lastGains.empty()) {
        std::vector<int> gains = context.getProfileGeqParameter(0, velora::geq_gain);
        ASSERT_GE(gains.size(), lastGains.size());
        EXPECT_TRUE(std::equal(lastGains.begin(), lastGains.end(), gains.begin()));
    }
    if (lastOn >= 0) {
        EXPECT_EQ(context.getPexOn(), lastOn > 0);
    }
    if (lastProfile >= 0) {
        EXPECT_EQ(context.getSelectedProfile()->getProfileId(), lastProfile);
    }
    if (!lastDevice.empty()) {
        EXPECT_EQ(service->getSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER), lastDevice);
    }

    // Nothing arrives beyond what was posted.
    service.clear();
    EXPECT_EQ(watcherLog.count(), expected);
}

}  // namespace
}  // namespace android
