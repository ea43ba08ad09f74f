/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// The service from the client's side: registration, set buffers through the event loop,
// callbacks to every client, the parameter store's committed values, death of a client, and
// what survives the service.

#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/Status.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <future>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/AndroidDevice.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"
#include "store/StoreTestSupport.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace android {
namespace {

using velora::testing::Bytes;
using velora::testing::CallbackLog;
using velora::testing::first;
using velora::testing::LogCapture;
using velora::testing::make_recording_client;
using velora::testing::MockKptCallbacks;
using velora::testing::stored_param;
using velora::testing::text_bytes;
using velora::testing::words_to_bytes;

// What every client hears after a registration or an unregistration: marker, type and uid.
Bytes registered(int32_t type, int32_t uid) { return words_to_bytes({0x72656763, type, uid}); }
Bytes unregistered(int32_t type, int32_t uid) { return words_to_bytes({0x75726567, type, uid}); }

class ServiceEndToEndTest : public ::testing::Test {
  protected:
    void TearDown() override { mService.clear(); }

    void send(const Bytes& buffer) {
        // An exact-size copy: the service must read nothing beyond it.
        Bytes copy(buffer);
        ASSERT_EQ(mService->setPexParam(copy.empty() ? nullptr : copy.data(), copy.size()), 0);
    }

    velora::KsContext& context() { return mSettings.context(); }

    velora::testing::ExampleSettings mSettings;
    // The clients' logs outlive the service, which calls its clients until it is gone.
    CallbackLog mLogA;
    CallbackLog mLogB;
    sp<MockKptCallbacks> mA = make_recording_client(mLogA);
    sp<MockKptCallbacks> mB = make_recording_client(mLogB);
    sp<VeloraManagerService> mService = new VeloraManagerService(&mSettings.manager());
};

TEST_F(ServiceEndToEndTest, TwoClientsHearEveryChangeAfterItIsApplied) {
    ASSERT_EQ(mService->registerClient(mA, 0, 1000), 0);
    ASSERT_TRUE(mLogA.waitFor(1));
    ASSERT_EQ(mService->registerClient(mB, 1, 2000), 0);

    send(words_to_bytes({0x00000000, 77, 1}));             // effect on
    send(words_to_bytes({0x0A000000, 0, 2}));              // select profile 2
    send(words_to_bytes({0x01000000, 0, 2, 103, 1}));      // its volume leveler on
    send(words_to_bytes({0x02000000, 0, 2, 3, 108, 12}));  // headphone port: dialog amount
    const std::string device = "internal_speaker_mono";
    mService->setSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER, device.data(), device.size());

    ASSERT_TRUE(mLogA.waitFor(7));
    ASSERT_TRUE(mLogB.waitFor(6));
    const std::vector<Bytes> expected = {
        registered(0, 1000),
        registered(1, 2000),
        words_to_bytes({0x00000000, 1, 1}),  // word 1 carries the applied value
        words_to_bytes({0x0A000000, 2, 2}),
        words_to_bytes({0x01000000, 0, 2, 103, 1}),
        words_to_bytes({0x02000000, 0, 2, 3, 108, 12}),
        text_bytes(device),
    };
    EXPECT_EQ(mLogA.buffers(), expected);
    EXPECT_EQ(mLogB.buffers(), std::vector<Bytes>(expected.begin() + 1, expected.end()));

    EXPECT_TRUE(mService->getPexEnabled());
    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), 2);
    EXPECT_EQ(
        context().getProfileParameter(2, velora::ENDPOINT_OTHER, velora::volume_leveler_enable),
        std::vector<int>{1});
    EXPECT_EQ(context().getProfileParameter(2, velora::ENDPOINT_HEADPHONE,
                                            velora::dialog_enhancer_amount),
              std::vector<int>{12});
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER), device);
    EXPECT_TRUE(mService->isMonoInternalSpeaker());

    // What the effect sees: every device fed by a port with a headphone tuning got the new
    // amount, the speaker kept its own; the leveler reached every device.
    EXPECT_EQ(stored_param(velora::DEVICE_OUT_WIRED_HEADPHONE, "DEA"), std::vector<int32_t>{12});
    EXPECT_EQ(stored_param(velora::DEVICE_OUT_BLUETOOTH_A2DP, "DEA"), std::vector<int32_t>{12});
    EXPECT_NE(first(stored_param(velora::DEVICE_OUT_SPEAKER, "DEA")), 12);
    for (uint32_t device : {velora::DEVICE_OUT_SPEAKER, velora::DEVICE_OUT_WIRED_HEADPHONE,
                            velora::DEVICE_OUT_AUX_DIGITAL}) {
        EXPECT_EQ(stored_param(device, "DVLE"), std::vector<int32_t>{1}) << device;
    }
}

TEST_F(ServiceEndToEndTest, FailingClientIsLoggedAndTheOthersStillHear) {
    LogCapture log;
    sp<MockKptCallbacks> failing = new ::testing::StrictMock<MockKptCallbacks>();
    EXPECT_CALL(*failing, onPexParamUpdate(::testing::_)).Times(2).WillRepeatedly([](const auto&) {
        return hardware::Return<void>(hardware::Status::fromStatusT(DEAD_OBJECT));
    });
    ASSERT_EQ(mService->registerClient(mB, 0, 600), 0);
    ASSERT_TRUE(mLogB.waitFor(1));
    // The failing client is called first (lower key) for each message; once b has heard a
    // message, the failure for it is logged. Each message is waited for before counting.
    ASSERT_EQ(mService->registerClient(failing, 0, 500), 0);
    ASSERT_TRUE(mLogB.waitFor(2));
    EXPECT_EQ(log.countMessage("Call client failed on 500"), 1u) << log.dump();
    send(words_to_bytes({0x00000000, 0, 1}));
    ASSERT_TRUE(mLogB.waitFor(3));
    EXPECT_EQ(mLogB.buffers(), (std::vector<Bytes>{registered(0, 600), registered(0, 500),
                                                   words_to_bytes({0x00000000, 1, 1})}));
    EXPECT_EQ(log.countMessage("Call client failed on 500"), 2u) << log.dump();
    EXPECT_TRUE(
        log.contains("VeloraManagerService", ANDROID_LOG_ERROR, "Call client failed on 500"));
    // A failed call is no death: the client stays registered.
    EXPECT_EQ(mService->getClientCount(), 2u);
}

TEST_F(ServiceEndToEndTest, DyingClientIsRemoved) {
    LogCapture log;
    ASSERT_EQ(mService->registerClient(mB, 0, 2000), 0);
    ASSERT_TRUE(mLogB.waitFor(1));
    ASSERT_EQ(mService->registerClient(mA, 1, 1000), 0);
    ASSERT_TRUE(mLogA.waitFor(1));
    ASSERT_TRUE(mService->hasDecCP());

    mA->notifyDied();  // the transport declares a's process dead
    EXPECT_TRUE(log.containsMessage("binderDied : client uid 1001"));
    EXPECT_TRUE(log.containsMessage("removeNotificationClient(uid = 1001) exit"));
    EXPECT_EQ(mService->getClientCount(), 1u);
    EXPECT_FALSE(mService->hasDecCP());

    send(words_to_bytes({0x0A000000, 0, 1}));
    ASSERT_TRUE(mLogB.waitFor(3));
    EXPECT_EQ(mLogB.buffers().back(), words_to_bytes({0x0A000000, 1, 1}));
    // a would have been called before b (lower key) had it still been registered.
    EXPECT_EQ(mLogA.count(), 1u);
    EXPECT_EQ(mService->unregisterClient(mA, 1, 1000), -ENOENT);
}

TEST_F(ServiceEndToEndTest, SetBuffersWithoutTheirWholeArgumentsChangeNothing) {
    LogCapture log;
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    context().setPexOn(true);
    context().setSelectedProfile(2);
    const std::vector<int> amount = context().getProfileParameter(0, velora::ieq_amount);
    ASSERT_NE(amount, std::vector<int>{9});

    // 22 bytes of command 1: one whole value; the two trailing bytes are no value.
    Bytes odd = words_to_bytes({0x01000000, 0, 0, 107, 9});
    odd.insert(odd.end(), {0xFF, 0x7F});
    Bytes shortReset = words_to_bytes({0x0C000000, 0});
    shortReset.insert(shortReset.end(), {0x00, 0x00});
    const std::vector<Bytes> sent = {
        {},                                       // no command word: not "effect off"
        {0x00, 0x00, 0x00},                       // the same
        {0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF},     // command 0 without its on/off word
        words_to_bytes({0x0A000000, 0}),          // select without a profile: not profile 0
        odd,                                      // profile 0 modified by a whole value
        shortReset,                               // reset without a whole profile word
        words_to_bytes({0x01000000, 0, 0, 107}),  // command 1 without values: refused
        words_to_bytes({0x0A000000, 0, 9}),       // unknown profile: word 1 still carries it
        words_to_bytes({0x05000000, 1, 2}),       // unknown command: passed on as it came
    };
    for (const Bytes& buffer : sent) send(buffer);
    ASSERT_TRUE(mLogA.waitFor(1 + sent.size()));
    // Every client hears every buffer, as it came unless a command was applied.
    std::vector<Bytes> expected(sent);
    expected[7] = words_to_bytes({0x0A000000, 9, 9});
    const std::vector<Bytes> heard = mLogA.buffers();
    EXPECT_EQ(std::vector<Bytes>(heard.begin() + 1, heard.end()), expected);

    EXPECT_TRUE(context().getPexOn());
    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), 2);
    EXPECT_EQ(context().getProfileParameter(0, velora::ieq_amount), std::vector<int>{9});
    EXPECT_EQ(log.countMessage("parseAndSendParam : Invalid input length!"), 6u) << log.dump();
}

TEST_F(ServiceEndToEndTest, TuningDeviceIsSelectedByNameOnTheLoop) {
    LogCapture log;
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    // An empty name (no bytes, or a zero first) is posted as any other: every client hears
    // of it, and the loop refuses it as no device of the port.
    const char zeroFirst[] = "\0usb_c_earphones";
    mService->setSelectedTuningDevice(velora::PORT_USB, "", 0);
    mService->setSelectedTuningDevice(velora::PORT_USB, zeroFirst, 16);
    // A name sent with its terminating zero is the same name.
    const char withZero[] = "usb_c_earphones";
    mService->setSelectedTuningDevice(velora::PORT_USB, withZero, sizeof(withZero));
    const std::string unknown = "nope";
    mService->setSelectedTuningDevice(velora::PORT_HDMI, unknown.data(), unknown.size());
    mService->setSelectedTuningDevice(9, unknown.data(), unknown.size());
    EXPECT_TRUE(log.containsMessage("setSelectedTuningDevice invalid port number, 9"));

    ASSERT_TRUE(mLogA.waitFor(5));
    const std::vector<Bytes> expected = {Bytes(), Bytes(zeroFirst, zeroFirst + 16),
                                         Bytes(withZero, withZero + sizeof(withZero)),
                                         text_bytes(unknown)};
    const std::vector<Bytes> heard = mLogA.buffers();
    EXPECT_EQ(std::vector<Bytes>(heard.begin() + 1, heard.end()), expected);
    EXPECT_EQ(log.countMessage(" is not a valid tuning device for port usb, please call "
                               "getAvailableTuningDevice(port) to check first!"),
              2u)
        << log.dump();
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_USB), "usb_c_earphones");
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_HDMI), "default_hdmi");
    EXPECT_TRUE(
        log.containsMessage("nope is not a valid tuning device for port hdmi, please call "
                            "getAvailableTuningDevice(port) to check first!"));
}

TEST_F(ServiceEndToEndTest, ReloadOfTheTuningFileTellsClientsOnlyWhenItWorked) {
    LogCapture log;
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    // No OEM file: the reload fails and nobody is told; the marker write comes next.
    mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    const Bytes marker = words_to_bytes({0x05000000, 0, 0});
    send(marker);
    ASSERT_TRUE(mLogA.waitFor(2));
    EXPECT_EQ(mLogA.buffers()[1], marker);

    mSettings.root().install("examples/kiv-extra.xml", velora::SystemPaths::kOemTuningFile);
    mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    ASSERT_TRUE(mLogA.waitFor(3));
    EXPECT_EQ(mLogA.buffers()[2], Bytes());
    EXPECT_EQ(log.countMessage("Notify clients that PEX params changed after reload tuning file."),
              2u);
    EXPECT_EQ(log.countMessage("Tell KsContextManager to reload tuning XML."), 2u);
    const int length = mService->getAvailableTuningDevicesLen(velora::PORT_HDMI);
    std::vector<char> names(length);
    mService->getAvailableTuningDevices(velora::PORT_HDMI, names.data(), length);
    EXPECT_NE(std::string(names.begin(), names.end()).find("oem_soundbar_hdmi"), std::string::npos);
}

TEST_F(ServiceEndToEndTest, ReloadRequestsWaitingOnTheLoopJoinIntoOne) {
    LogCapture log;
    mSettings.root().install("examples/kiv-extra.xml", velora::SystemPaths::kOemTuningFile);
    // A client that holds the loop in its first callback, so that every request below is
    // posted while the loop waits.
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    sp<MockKptCallbacks> holding = new ::testing::NiceMock<MockKptCallbacks>();
    ON_CALL(*holding, onPexParamUpdate(::testing::_))
        .WillByDefault([this, released](const hardware::hidl_vec<uint8_t>& data) {
            released.wait();
            return mLogA.record(data);
        });
    ASSERT_EQ(mService->registerClient(holding, 0, 1), 0);
    for (int i = 0; i < 100; ++i) {
        mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    }
    const Bytes write = words_to_bytes({0x0A000000, 0, 1});
    send(write);
    release.set_value();

    // The write is heard after one reload, not a hundred.
    ASSERT_TRUE(mLogA.waitFor(3));
    EXPECT_EQ(mLogA.buffers(),
              (std::vector<Bytes>{registered(0, 1), Bytes(), words_to_bytes({0x0A000000, 1, 1})}));
    EXPECT_EQ(log.countMessage("Tell KsContextManager to reload tuning XML."), 1u);
    // A request after that reload started is a reload of its own.
    mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    ASSERT_TRUE(mLogA.waitFor(4));
    EXPECT_EQ(log.countMessage("Tell KsContextManager to reload tuning XML."), 2u);
}

TEST_F(ServiceEndToEndTest, UnregistrationTellsTheOthersAndReportsWhetherTheSaveReachedTheDisk) {
    LogCapture log;
    mService->setSaveDelay(0);
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    ASSERT_TRUE(mLogA.waitFor(1));
    ASSERT_EQ(mService->registerClient(mB, 0, 2), 0);
    ASSERT_EQ(mService->registerClient(mA, 0, 3), 0);
    send(words_to_bytes({0x01000000, 0, 1, 107, 5}));
    ASSERT_TRUE(mLogA.waitFor(4));
    const auto storedAmount = [this]() {
        velora::KsContextManager reader;  // a second start-up over the same database
        return first(reader.getKsContext()->getProfileParameter(1, velora::ieq_amount));
    };
    const int before = storedAmount();
    ASSERT_NE(before, 5);

    // A write that fails half-way rolls the whole save back; the change waits for the next.
    const std::string path = mSettings.root().hostPath("/data/vendor/velora/kiv_sqlite3.db");
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "ALTER TABLE geq_presets RENAME TO moved", 0, 0, 0), SQLITE_OK);
    EXPECT_EQ(mService->unregisterClient(mA, 0, 3), -EIO);
    EXPECT_TRUE(log.contains("KsContext", ANDROID_LOG_ERROR,
                             "save(): settings not saved (Input/output error), kept for the "
                             "next save"));
    ASSERT_EQ(sqlite3_exec(other, "ALTER TABLE moved RENAME TO geq_presets", 0, 0, 0), SQLITE_OK);
    sqlite3_close(other);
    EXPECT_EQ(storedAmount(), before);

    ASSERT_EQ(mService->unregisterClient(mA, 0, 1), 0);
    // b: its own registration and a's second, the write, the two unregistrations.
    ASSERT_TRUE(mLogB.waitFor(5));
    EXPECT_EQ(mLogB.buffers().back(), unregistered(0, 1));
    EXPECT_EQ(storedAmount(), 5);
}

TEST_F(ServiceEndToEndTest, ChangesAreSavedOneDelayAfterTheyCameAndAStormSavesOncePerDelay) {
    constexpr int kDelayMs = 100;
    constexpr int kWrites = 200;
    mService->setSaveDelay(kDelayMs);
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    ASSERT_TRUE(mLogA.waitFor(1));
    const std::string path = mSettings.root().hostPath("/data/vendor/velora/kiv_sqlite3.db");
    const auto storedAmount = [&path]() {
        const std::vector<velora::testing::Row> rows = velora::testing::table_rows(
            path, "profiles", "profile_id='2' AND custom_name='custom'");
        return rows.empty() ? std::string() : velora::testing::cell(rows[0], "ieq_amount");
    };
    const auto waitForStored = [&](const std::string& text) {
        for (int i = 0; i < 30000 && storedAmount() != text; ++i) usleep(1000);
        return storedAmount() == text;
    };

    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= kWrites; ++i) send(words_to_bytes({0x01000000, 0, 2, 107, i % 16}));
    ASSERT_TRUE(mLogA.waitFor(1 + kWrites));
    ASSERT_TRUE(waitForStored(std::to_string(kWrites % 16) + ","));
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    EXPECT_GE(mService->getSaveCount(), 1u);
    EXPECT_LE(mService->getSaveCount(), static_cast<uint64_t>(took.count() / kDelayMs + 2))
        << took.count() << " ms";

    // Without a delay only the save points save: a save posted by the change would run
    // before the marker that follows it.
    mService->setSaveDelay(0);
    const uint64_t saves = mService->getSaveCount();
    send(words_to_bytes({0x01000000, 0, 2, 107, 1}));
    send(words_to_bytes({0x05000000, 0, 0}));
    ASSERT_TRUE(mLogA.waitFor(3 + kWrites));
    EXPECT_EQ(mService->getSaveCount(), saves);
    EXPECT_EQ(storedAmount(), std::to_string(kWrites % 16) + ",");
}

TEST_F(ServiceEndToEndTest, DestructionAppliesPendingWritesSavesAndANewServiceSeesIt) {
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    const bool on = context().getPexOn();
    send(words_to_bytes({0x00000000, 0, on ? 0 : 1}));
    send(words_to_bytes({0x0A000000, 0, 3}));
    // Neither of these is saved when it is applied.
    send(words_to_bytes({0x01000000, 0, 3, 107, 12}));
    const std::string device = "internal_speaker_mono";
    mService->setSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER, device.data(), device.size());

    // No waiting: the writes the service accepted are applied before it goes.
    mService.clear();
    EXPECT_EQ(mLogA.count(), 5u);

    mSettings.restart();
    mService = new VeloraManagerService(&mSettings.manager());
    ASSERT_EQ(mService->registerClient(mA, 0, 1), 0);
    EXPECT_EQ(mService->getPexEnabled(), !on);
    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), 3);
    EXPECT_EQ(first(context().getProfileParameter(3, velora::ieq_amount)), 12);
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER), device);
    EXPECT_TRUE(mService->isMonoInternalSpeaker());
}

// The one test through the process-wide KsContextManager, as a device has it. The singleton
// lives until the process ends; ctest runs every test in a process of its own.
TEST(ServiceProcessWideStateTest, DefaultServiceUsesTheProcessWideContextManager) {
    velora::testing::TempRoot root;
    root.install("examples/multimedia_velora_kiv_default.xml",
                 velora::SystemPaths::kDefaultTuningFile);
    CallbackLog callbacks;
    sp<VeloraManagerService> service = new VeloraManagerService();
    ASSERT_EQ(service->registerClient(make_recording_client(callbacks), 0, 1), 0);
    EXPECT_TRUE(velora::KsContextManager::hasInstance());
    uint8_t request[] = {0x00, 0x00, 0x00, 0x03};
    int32_t profiles = 0;
    ASSERT_EQ(service->getPexParam(request, sizeof(request), &profiles, sizeof(profiles)), 0);
    EXPECT_EQ(profiles, 4);
    ASSERT_TRUE(callbacks.waitFor(1));
    service.clear();
}

}  // namespace
}  // namespace android
