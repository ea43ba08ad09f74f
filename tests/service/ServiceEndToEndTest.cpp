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

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/AndroidDevice.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace android {
namespace {

using hardware::Return;
using hardware::Status;
using ::testing::_;
using velora::testing::Bytes;
using velora::testing::CallbackLog;
using velora::testing::ExampleSettings;
using velora::testing::LogCapture;
using velora::testing::make_recording_client;
using velora::testing::MockKptCallbacks;
using velora::testing::stored_param;
using velora::testing::text_bytes;
using velora::testing::words_to_bytes;

// What every client hears after a registration: the marker, the type and the uid.
Bytes registered(int32_t type, int32_t uid) { return words_to_bytes({0x72656763, type, uid}); }

Bytes unregistered(int32_t type, int32_t uid) { return words_to_bytes({0x75726567, type, uid}); }

int first(const std::vector<int>& values) { return values.empty() ? INT32_MIN : values[0]; }

class ServiceEndToEndTest : public ::testing::Test {
  protected:
    void TearDown() override { mService.clear(); }

    void send(const Bytes& buffer) {
        // An exact-size copy: the service must read nothing beyond it.
        std::vector<uint8_t> copy(buffer);
        ASSERT_EQ(mService->setPexParam(copy.empty() ? nullptr : copy.data(), copy.size()), 0);
    }

    velora::KsContext& context() { return mSettings.context(); }

    ExampleSettings mSettings;
    // The clients' logs outlive the service, which calls its clients until it is gone.
    CallbackLog mLogA;
    CallbackLog mLogB;
    sp<VeloraManagerService> mService = new VeloraManagerService(&mSettings.manager());
};

TEST_F(ServiceEndToEndTest, TwoClientsHearEveryChangeAfterItIsApplied) {
    CallbackLog& logA = mLogA;
    CallbackLog& logB = mLogB;
    sp<MockKptCallbacks> a = make_recording_client(logA);
    sp<MockKptCallbacks> b = make_recording_client(logB);
    ASSERT_EQ(mService->registerClient(a, 0, 1000), 0);
    ASSERT_TRUE(logA.waitFor(1));
    ASSERT_EQ(mService->registerClient(b, 1, 2000), 0);

    send(words_to_bytes({0x00000000, 77, 1}));             // effect on
    send(words_to_bytes({0x0A000000, 0, 2}));              // select profile 2
    send(words_to_bytes({0x01000000, 0, 2, 103, 1}));      // its volume leveler on
    send(words_to_bytes({0x02000000, 0, 2, 3, 108, 12}));  // headphone port: dialog amount
    const std::string device = "internal_speaker_mono";
    mService->setSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER, device.data(), device.size());

    ASSERT_TRUE(logA.waitFor(7));
    ASSERT_TRUE(logB.waitFor(6));
    const std::vector<Bytes> expected = {
        registered(0, 1000),
        registered(1, 2000),
        words_to_bytes({0x00000000, 1, 1}),  // word 1 carries the applied value
        words_to_bytes({0x0A000000, 2, 2}),
        words_to_bytes({0x01000000, 0, 2, 103, 1}),
        words_to_bytes({0x02000000, 0, 2, 3, 108, 12}),
        text_bytes(device),
    };
    EXPECT_EQ(logA.buffers(), expected);
    EXPECT_EQ(logB.buffers(), std::vector<Bytes>(expected.begin() + 1, expected.end()));

    // The state.
    EXPECT_TRUE(mService->getPexEnabled());
    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), 2);
    EXPECT_EQ(
        context().getProfileParameter(2, velora::ENDPOINT_OTHER, velora::volume_leveler_enable),
        std::vector<int>{1});
    EXPECT_EQ(context().getProfileParameter(2, velora::ENDPOINT_HEADPHONE,
                                            velora::dialog_enhancer_amount),
              std::vector<int>{12});
    EXPECT_NE(first(context().getProfileParameter(2, velora::ENDPOINT_SPEAKER,
                                                  velora::dialog_enhancer_amount)),
              12);
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
    EXPECT_CALL(*failing, onPexParamUpdate(_)).Times(2).WillRepeatedly([](const auto&) {
        return Return<void>(Status::fromStatusT(DEAD_OBJECT));
    });
    CallbackLog& logB = mLogB;
    sp<MockKptCallbacks> b = make_recording_client(logB);
    ASSERT_EQ(mService->registerClient(b, 0, 600), 0);
    ASSERT_TRUE(logB.waitFor(1));
    ASSERT_EQ(mService->registerClient(failing, 0, 500), 0);
    send(words_to_bytes({0x00000000, 0, 1}));

    // b hears both registrations and the write; failing, called first for its lower key, was
    // called for its own registration and the write.
    ASSERT_TRUE(logB.waitFor(3));
    EXPECT_EQ(logB.last(), words_to_bytes({0x00000000, 1, 1}));
    EXPECT_EQ(log.countMessage("Call client failed on 500"), 2u) << log.dump();
    EXPECT_TRUE(
        log.contains("VeloraManagerService", ANDROID_LOG_ERROR, "Call client failed on 500"));
    // A failed call is no death: the client stays registered.
    EXPECT_EQ(mService->getClientCount(), 2u);
}

TEST_F(ServiceEndToEndTest, DyingClientIsRemoved) {
    LogCapture log;
    CallbackLog& logA = mLogA;
    CallbackLog& logB = mLogB;
    sp<MockKptCallbacks> a = make_recording_client(logA);
    sp<MockKptCallbacks> b = make_recording_client(logB);
    ASSERT_EQ(mService->registerClient(b, 0, 2000), 0);
    ASSERT_TRUE(logB.waitFor(1));
    ASSERT_EQ(mService->registerClient(a, 1, 1000), 0);
    ASSERT_TRUE(logA.waitFor(1));
    ASSERT_TRUE(mService->hasDecCP());

    // The transport declares a's process dead.
    a->notifyDied();
    EXPECT_TRUE(log.containsMessage("binderDied : client uid 1001"));
    EXPECT_TRUE(log.containsMessage("removeNotificationClient(uid = 1001) exit"));
    EXPECT_EQ(mService->getClientCount(), 1u);
    EXPECT_FALSE(mService->hasDecCP());

    send(words_to_bytes({0x0A000000, 0, 1}));
    ASSERT_TRUE(logB.waitFor(3));
    EXPECT_EQ(logB.last(), words_to_bytes({0x0A000000, 1, 1}));
    // a would have been called before b (lower key) had it still been registered.
    EXPECT_EQ(logA.count(), 1u);
    EXPECT_EQ(mService->unregisterClient(a, 1, 1000), -ENOENT);
}

TEST_F(ServiceEndToEndTest, ShortOddAndUnknownSetBuffersAreAppliedWithinTheirLength) {
    LogCapture log;
    CallbackLog& callbacks = mLogA;
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);
    context().setPexOn(true);
    const int selected = context().getSelectedProfile()->getProfileId();
    const std::vector<int> amount = context().getProfileParameter(0, velora::ieq_amount);

    // 16 bytes of command 1: no values, which the manager refuses.
    const Bytes noValues = words_to_bytes({0x01000000, 0, 0, 107});
    send(noValues);
    // An unknown profile: nothing selected, word 1 still carries it.
    send(words_to_bytes({0x0A000000, 0, 9}));
    // Six bytes of command 0: the missing "on" word reads as zero, so the effect goes off;
    // only the two bytes of word 1 that exist are written back.
    send({0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF});
    // An unknown command is passed on as it came.
    const Bytes unknown = words_to_bytes({0x05000000, 1, 2});
    send(unknown);
    // 22 bytes of command 1: one whole value; the two trailing bytes are no value.
    Bytes odd = words_to_bytes({0x01000000, 0, 0, 107, 9});
    odd.push_back(0xFF);
    odd.push_back(0x7F);
    send(odd);

    ASSERT_TRUE(callbacks.waitFor(6));
    const std::vector<Bytes> heard = callbacks.buffers();
    EXPECT_EQ(heard[1], noValues);
    EXPECT_EQ(heard[2], words_to_bytes({0x0A000000, 9, 9}));
    EXPECT_EQ(heard[3], (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(heard[4], unknown);
    EXPECT_EQ(heard[5], odd);

    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), selected);
    EXPECT_FALSE(context().getPexOn());
    EXPECT_NE(amount, std::vector<int>{9});
    EXPECT_EQ(context().getProfileParameter(0, velora::ieq_amount), std::vector<int>{9});
    EXPECT_EQ(log.countMessage("parseAndSendParam : Invalid input length!"), 2u) << log.dump();
}

TEST_F(ServiceEndToEndTest, TuningDeviceIsSelectedByNameOnTheLoop) {
    LogCapture log;
    CallbackLog& callbacks = mLogA;
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);

    // A name sent with its terminating zero is the same name.
    const char withZero[] = "usb_c_earphones";
    mService->setSelectedTuningDevice(velora::PORT_USB, withZero, sizeof(withZero));
    const std::string unknown = "nope";
    mService->setSelectedTuningDevice(velora::PORT_HDMI, unknown.data(), unknown.size());
    mService->setSelectedTuningDevice(9, unknown.data(), unknown.size());
    EXPECT_TRUE(log.containsMessage("setSelectedTuningDevice invalid port number, 9"));

    ASSERT_TRUE(callbacks.waitFor(3));
    EXPECT_EQ(callbacks.buffers()[1], Bytes(withZero, withZero + sizeof(withZero)));
    EXPECT_EQ(callbacks.buffers()[2], text_bytes(unknown));
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_USB), "usb_c_earphones");
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_HDMI), "default_hdmi");
    EXPECT_TRUE(
        log.containsMessage("nope is not a valid tuning device for port hdmi, please call "
                            "getAvailableTuningDevice(port) to check first!"));
}

TEST_F(ServiceEndToEndTest, ReloadOfTheTuningFileTellsClientsOnlyWhenItWorked) {
    LogCapture log;
    CallbackLog& callbacks = mLogA;
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);

    // No OEM file: the reload fails and nobody is told; the marker write comes next.
    mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    const Bytes marker = words_to_bytes({0x05000000, 0, 0});
    send(marker);
    ASSERT_TRUE(callbacks.waitFor(2));
    EXPECT_EQ(callbacks.buffers()[1], marker);

    mSettings.root().install("examples/kiv-extra.xml", velora::SystemPaths::kOemTuningFile);
    mService->setIntParam(VeloraManagerService::kReloadTuningFile, 0);
    ASSERT_TRUE(callbacks.waitFor(3));
    EXPECT_EQ(callbacks.buffers()[2], Bytes());
    EXPECT_EQ(log.countMessage("Notify clients that PEX params changed after reload tuning file."),
              2u);
    const int length = mService->getAvailableTuningDevicesLen(velora::PORT_HDMI);
    std::vector<char> names(length);
    mService->getAvailableTuningDevices(velora::PORT_HDMI, names.data(), length);
    EXPECT_NE(std::string(names.begin(), names.end()).find("oem_soundbar_hdmi"), std::string::npos);
}

TEST_F(ServiceEndToEndTest, UnregistrationTellsTheOthersAndSavesTheSettings) {
    CallbackLog& callbacks = mLogA;
    CallbackLog& otherCallbacks = mLogB;
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    sp<MockKptCallbacks> other = make_recording_client(otherCallbacks);
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);
    ASSERT_TRUE(callbacks.waitFor(1));
    ASSERT_EQ(mService->registerClient(other, 0, 2), 0);
    send(words_to_bytes({0x01000000, 0, 1, 107, 5}));
    ASSERT_TRUE(callbacks.waitFor(3));
    ASSERT_EQ(mService->unregisterClient(client, 0, 1), 0);
    // The other client: its registration, the write, the unregistration.
    ASSERT_TRUE(otherCallbacks.waitFor(3));
    EXPECT_EQ(otherCallbacks.last(), unregistered(0, 1));
    EXPECT_EQ(callbacks.count(), 3u);

    // A second start-up over the same database, while the service still runs.
    velora::KsContextManager reader;
    ASSERT_NE(reader.getKsContext(), nullptr);
    EXPECT_EQ(first(reader.getKsContext()->getProfileParameter(1, velora::ieq_amount)), 5);
}

TEST_F(ServiceEndToEndTest, DestructionAppliesPendingWritesSavesAndANewServiceSeesIt) {
    CallbackLog& callbacks = mLogA;
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);
    const bool on = context().getPexOn();
    send(words_to_bytes({0x00000000, 0, on ? 0 : 1}));
    send(words_to_bytes({0x0A000000, 0, 3}));
    // Neither of these is saved when it is applied.
    send(words_to_bytes({0x01000000, 0, 3, 107, 12}));
    const std::string device = "internal_speaker_mono";
    mService->setSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER, device.data(), device.size());

    // No waiting: the writes the service accepted are applied before it goes.
    mService.clear();
    EXPECT_EQ(callbacks.count(), 5u);

    mSettings.restart();
    mService = new VeloraManagerService(&mSettings.manager());
    ASSERT_EQ(mService->registerClient(client, 0, 1), 0);
    EXPECT_EQ(mService->getPexEnabled(), !on);
    EXPECT_EQ(context().getSelectedProfile()->getProfileId(), 3);
    EXPECT_EQ(first(context().getProfileParameter(3, velora::ieq_amount)), 12);
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_INTERNAL_SPEAKER), device);
    EXPECT_TRUE(mService->isMonoInternalSpeaker());
}

// The one test that goes through the process-wide KsContextManager, as a device does. The
// singleton lives until the process ends; ctest runs every test in a process of its own.
TEST(ServiceProcessWideStateTest, DefaultServiceUsesTheProcessWideContextManager) {
    velora::testing::TempRoot root;
    root.install("examples/multimedia_velora_kiv_default.xml",
                 velora::SystemPaths::kDefaultTuningFile);
    CallbackLog callbacks;
    sp<VeloraManagerService> service = new VeloraManagerService();
    sp<MockKptCallbacks> client = make_recording_client(callbacks);
    ASSERT_EQ(service->registerClient(client, 0, 1), 0);
    EXPECT_TRUE(velora::KsContextManager::hasInstance());
    uint8_t request[] = {0x00, 0x00, 0x00, 0x03};
    int32_t profiles = 0;
    ASSERT_EQ(service->getPexParam(request, sizeof(request), &profiles, sizeof(profiles)), 0);
    EXPECT_EQ(profiles, 4);
    EXPECT_EQ(service->getIntParam(VeloraManagerService::kTuningFormatVersion), 0x010000);
    ASSERT_TRUE(callbacks.waitFor(1));
    service.clear();
}

}  // namespace
}  // namespace android
