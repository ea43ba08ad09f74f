/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace android {
namespace {

using velora::testing::Bytes;
using velora::testing::CallbackLog;
using velora::testing::ExampleSettings;
using velora::testing::LogCapture;
using velora::testing::make_recording_client;
using velora::testing::MockKptCallbacks;
using velora::testing::words_to_bytes;

constexpr uint8_t kUntouched = 0xAB;

class VeloraManagerServiceTest : public ::testing::Test {
  protected:
    void TearDown() override { mService.clear(); }

    // Registers a recording client, which starts the manager.
    void start() { ASSERT_EQ(mService->registerClient(mClient, 0, 1000), 0); }

    // Sends a get request of exactly the given bytes and returns the answer buffer, whose
    // bytes start as kUntouched.
    Bytes get(const Bytes& request, size_t outLength, int* result = nullptr) {
        // Exact-size heap copies, so that any read or write beyond them is caught by ASan.
        std::vector<uint8_t> in(request);
        std::vector<uint8_t> out(outLength, kUntouched);
        int status = mService->getPexParam(in.empty() ? nullptr : in.data(), in.size(),
                                           out.empty() ? nullptr : out.data(), out.size());
        if (result != nullptr) *result = status;
        return out;
    }

    velora::KsContext& context() { return mSettings.context(); }

    ExampleSettings mSettings;
    // The clients' logs outlive the service, which calls its clients until it is gone.
    CallbackLog mLog;
    CallbackLog mOtherLog;
    sp<VeloraManagerService> mService = new VeloraManagerService(&mSettings.manager());
    sp<MockKptCallbacks> mClient = make_recording_client(mLog);
};

Bytes answer(int32_t value) { return words_to_bytes({value}); }

TEST_F(VeloraManagerServiceTest, RequestsBeforeTheFirstRegistrationAreRefused) {
    LogCapture log;
    int result = 0;
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x03}, 4, &result), Bytes(4, kUntouched));
    EXPECT_EQ(result, -ENODEV);
    const Bytes set = words_to_bytes({0, 0, 1});
    EXPECT_EQ(mService->setPexParam(set.data(), set.size()), -ENODEV);
    EXPECT_EQ(mService->getProfileName(0), "");
    EXPECT_TRUE(log.containsMessage("getProfileName KsManager doesn't initialize!"));
    EXPECT_EQ(mService->getAvailableTuningDevicesLen(0), 0);
    EXPECT_TRUE(log.containsMessage("getAvailableTuningDevicesLen KsManager doesn't initialize!"));
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kPexOn), 0);
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kFrontSpeakerAngle), -1);
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kTuningFormatVersion), -ENODEV);
    EXPECT_FALSE(mService->isInitialized());

    start();
    EXPECT_TRUE(mService->isInitialized());
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x03}, 4, &result), answer(4));
    EXPECT_EQ(result, 0);
}

TEST_F(VeloraManagerServiceTest, RegistryIsKeyedByUidPlusType) {
    LogCapture log;
    EXPECT_EQ(mService->registerClient(nullptr, 1, 10), -EINVAL);
    EXPECT_TRUE(
        log.contains("VeloraManagerService", ANDROID_LOG_WARN, "registerClient got NULL client"));
    EXPECT_EQ(mService->getClientCount(), 0u);

    sp<MockKptCallbacks> other = make_recording_client(mOtherLog);
    ASSERT_EQ(mService->registerClient(mClient, 2, 10), 0);
    EXPECT_TRUE(mService->hasDecCP());
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kDecoderClients), 1);
    // uid 11 with type 1 meets uid 10 with type 2 on key 12.
    EXPECT_EQ(mService->registerClient(other, 1, 11), -EEXIST);
    EXPECT_TRUE(log.contains("VeloraManagerService", ANDROID_LOG_WARN,
                             "register uid already existing 0xc"));
    EXPECT_EQ(mService->registerClient(mClient, 2, 10), -EEXIST);
    EXPECT_EQ(mService->getClientCount(), 1u);

    ASSERT_EQ(mService->registerClient(other, 0, 11), 0);
    EXPECT_EQ(mService->getClientCount(), 2u);
    // Type 0 is no decoder: the count stays at one.
    ASSERT_EQ(mService->unregisterClient(mClient, 2, 10), 0);
    EXPECT_FALSE(mService->hasDecCP());
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kDecoderClients), 0);
    EXPECT_EQ(mService->unregisterClient(mClient, 2, 10), -ENOENT);
    EXPECT_TRUE(log.containsMessage("removeNotificationClient(uid = 12) entry"));
    EXPECT_EQ(mService->getClientCount(), 1u);
}

TEST_F(VeloraManagerServiceTest, PackedGetReadsTheCommandInItsOwnByteOrder) {
    start();
    ASSERT_TRUE(mService->isInitialized());
    context().setPexOn(true);
    context().setSelectedProfile(2);

    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x03}, 4), answer(4));
    // The same bytes the other way round are command 768, which answers nothing.
    EXPECT_EQ(get({0x03, 0x00, 0x00, 0x00}, 4), Bytes(4, kUntouched));
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x00}, 4), answer(1));
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x0A}, 4), answer(2));
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x0D}, 4), answer(0));
    // Command 11 with the profile in bytes 4-7.
    Bytes modified = {0x00, 0x00, 0x00, 0x0B, 0x01, 0x00, 0x00, 0x00};
    EXPECT_EQ(get(modified, 4), answer(0));
    ASSERT_TRUE(mSettings.manager().getKsContext() != nullptr);
    context().setProfileParameter(1, velora::ieq_amount, {3});
    EXPECT_EQ(get(modified, 4), answer(1));
    // Commands without an answer leave the buffer alone.
    for (uint8_t command : {4, 9, 12, 14, 200}) {
        EXPECT_EQ(get({0x00, 0x00, 0x00, command}, 4), Bytes(4, kUntouched)) << int(command);
    }
    // A 32-bit answer never goes past a shorter answer buffer.
    LogCapture log;
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x03}, 3), Bytes(3, kUntouched));
    EXPECT_TRUE(
        log.containsMessage("packAndReceiveParam : Invalid output length, not enough buffer!"));
}

TEST_F(VeloraManagerServiceTest, PackedGetOfParameterValues) {
    start();
    context().setProfileParameter(1, velora::ENDPOINT_HEADPHONE, velora::dialog_enhancer_amount,
                                  {9});
    context().setProfileParameter(1, velora::ENDPOINT_SPEAKER, velora::dialog_enhancer_amount, {4});
    // Command 1: id in bytes 4-7, profile in bytes 8-11.
    Bytes request = {0x00, 0x00, 0x00, 0x01};
    Bytes id = words_to_bytes({108});
    Bytes profile = words_to_bytes({1});
    request.insert(request.end(), id.begin(), id.end());
    request.insert(request.end(), profile.begin(), profile.end());
    EXPECT_EQ(get(request, 4), answer(4));
    // Eight bytes of room for one value: the rest stays untouched.
    Bytes wide = get(request, 8);
    EXPECT_EQ(Bytes(wide.begin(), wide.begin() + 4), answer(4));
    EXPECT_EQ(Bytes(wide.begin() + 4, wide.end()), Bytes(4, kUntouched));

    // Command 2: one byte carries the profile (high nibble) and the port (low nibble).
    Bytes portRequest = {0x00, 0x00, 0x00, 0x02};
    portRequest.insert(portRequest.end(), id.begin(), id.end());
    portRequest.push_back(0x13);  // profile 1, port 3 (headphone)
    EXPECT_EQ(get(portRequest, 4), answer(9));
    portRequest.back() = 0x14;  // bluetooth uses the headphone settings too
    EXPECT_EQ(get(portRequest, 4), answer(9));
    portRequest.back() = 0x10;  // internal speaker
    EXPECT_EQ(get(portRequest, 4), answer(4));
    portRequest.back() = 0x17;  // no port 7: nothing
    EXPECT_EQ(get(portRequest, 4), Bytes(4, kUntouched));

    // The gains need room for every value read back (more than twenty, since values from the
    // database carry a trailing 0): one word less and nothing is copied.
    LogCapture log;
    Bytes geq = {0x00, 0x00, 0x00, 0x01};
    Bytes geqId = words_to_bytes({110, 0});
    geq.insert(geq.end(), geqId.begin(), geqId.end());
    const std::vector<int> stored = context().getProfileGeqParameter(0, velora::geq_gain);
    ASSERT_GE(stored.size(), 20u);
    const size_t bytes = stored.size() * 4;
    EXPECT_EQ(get(geq, bytes - 4), Bytes(bytes - 4, kUntouched));
    EXPECT_TRUE(
        log.containsMessage("packAndReceiveParam : Invalid output length, not enough buffer!"));
    EXPECT_EQ(get(geq, bytes), words_to_bytes(std::vector<int32_t>(stored.begin(), stored.end())));
}

TEST_F(VeloraManagerServiceTest, ShortAndOddGetRequestsAreReadWithinTheirLength) {
    start();
    context().setPexOn(false);
    LogCapture log;
    // Two bytes: logged, and read as command 0 with the missing bytes as zero.
    EXPECT_EQ(get({0x00, 0x00}, 4), answer(0));
    EXPECT_TRUE(log.containsMessage("packAndReceiveParam : Invalid input length!"));
    EXPECT_EQ(get({}, 4), answer(0));

    context().setProfileParameter(1, velora::ieq_amount, {13});
    // Command 1 with a ten-byte request: the profile's missing top bytes read as zero.
    log.clear();
    Bytes request = {0x00, 0x00, 0x00, 0x01, 107, 0x00, 0x00, 0x00, 0x01, 0x00};
    EXPECT_EQ(get(request, 4), answer(13));
    EXPECT_TRUE(log.containsMessage("packAndReceiveParam : Invalid input length!"));
    // Command 2 needs byte 8 only.
    log.clear();
    Bytes portRequest = {0x00, 0x00, 0x00, 0x02, 108, 0x00, 0x00, 0x00, 0x00};
    // The loaded amount, with the trailing 0 of values read back from the database.
    EXPECT_EQ(get(portRequest, 8), words_to_bytes({6, 0}));
    EXPECT_FALSE(log.containsMessage("packAndReceiveParam : Invalid input length!"));
}

TEST_F(VeloraManagerServiceTest, IntegerParametersByCode) {
    start();
    context().setPexOn(true);
    using S = VeloraManagerService;
    EXPECT_EQ(mService->getIntParam(fourcc("ABCD")), -1);
    mService->setIntParam(fourcc("ABCD"), 5);
    mService->setIntParam(S::kPexOn, 0);  // read-only code: no effect
    EXPECT_EQ(mService->getIntParam(S::kPexOn), 1);
    EXPECT_EQ(mService->getIntParam(S::kChannelCount), 0);

    mService->setIntParam(S::kStoredDEAM, 0x123456789ALL);
    EXPECT_EQ(mService->getIntParam(S::kStoredDEAM), 0x123456789ALL);
    mService->setIntParam(S::kStoredDECT, 0x100000005LL);
    EXPECT_EQ(mService->getIntParam(S::kStoredDECT), 5);
    mService->setIntParam(S::kStoredDECT, -1);
    EXPECT_EQ(mService->getIntParam(S::kStoredDECT), -1);

    // Reading the active device stamps the time read by "LCTM".
    EXPECT_EQ(mService->getIntParam(S::kLastActiveDeviceTime), 0);
    EXPECT_EQ(mService->getIntParam(S::kActiveDevice), 0);
    EXPECT_GT(mService->getIntParam(S::kLastActiveDeviceTime), 0);

    // The tuning in force on the internal speaker: stereo, portrait, its three angles.
    EXPECT_EQ(mService->getIntParam(S::kMonoSpeaker), 0);
    EXPECT_EQ(mService->getIntParam(S::kSpeakerPortrait), 1);
    EXPECT_EQ(mService->getIntParam(S::kSurroundSpeakerAngle), 30);
    EXPECT_EQ(mService->getIntParam(S::kHeightSpeakerAngle), 10);
    EXPECT_EQ(mService->getIntParam(S::kFrontSpeakerAngle), 10);
    // "1.0.0": one byte per part.
    EXPECT_EQ(mService->getIntParam(S::kTuningFormatVersion), 0x010000);
}

TEST_F(VeloraManagerServiceTest, TuningDeviceNamesArePackedWithTheirZeros) {
    start();
    EXPECT_EQ(mService->getAvailableTuningDevicesLen(velora::PORT_USB), 28);
    std::vector<char> names(28, 'x');
    mService->getAvailableTuningDevices(velora::PORT_USB, names.data(), names.size());
    std::vector<std::string> listed;
    for (size_t at = 0; at < names.size(); at += listed.back().size() + 1) {
        listed.emplace_back(names.data() + at);
    }
    EXPECT_THAT(listed, ::testing::UnorderedElementsAre("default_usb", "usb_c_earphones"));

    LogCapture log;
    std::vector<char> tooShort(27, 'x');
    mService->getAvailableTuningDevices(velora::PORT_USB, tooShort.data(), tooShort.size());
    EXPECT_EQ(tooShort, std::vector<char>(27, 'x'));
    EXPECT_TRUE(
        log.containsMessage("getAvailableTuningDevices not enough buffer for transferring "
                            "device name lists for port 5"));
    mService->getAvailableTuningDevices(7, names.data(), names.size());
    EXPECT_TRUE(log.containsMessage("getAvailableTuningDevices invalid port number, 7"));
    EXPECT_EQ(mService->getSelectedTuningDevice(-1), "");
    EXPECT_TRUE(log.containsMessage("getSelectedTuningDevice invalid port number, -1"));
    EXPECT_EQ(mService->getSelectedTuningDevice(velora::PORT_HEADPHONE), "default_headphone");
    EXPECT_EQ(mService->getProfileName(3), "Custom");
}

TEST_F(VeloraManagerServiceTest, DumpTellsTheStateInWords) {
    start();
    context().setPexOn(true);
    context().setSelectedProfile(1);
    context().setProfileParameter(1, velora::ieq_id, {velora::PRESET_WARM});
    int fd = memfd_create("dump", 0);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(mService->dump(fd, Vector<String16>()), NO_ERROR);
    mService->dumpPermissionDenial(fd);
    std::string text(4096, '\0');
    ASSERT_EQ(lseek(fd, 0, SEEK_SET), 0);
    ssize_t length = read(fd, text.data(), text.size());
    close(fd);
    ASSERT_GT(length, 0);
    text.resize(length);
    EXPECT_EQ(text,
              "VeloraManagerService Information dump:\n"
              "Registered clients : 1\n"
              "KIV Status : ON\n"
              "Profile ID : 1\n"
              "Profile IEQ Preset : warm\n"
              "Dialog Enhance state : ON\n"
              "Is Mono Speaker : NO\n"
              "Permission Denial: can't dump VeloraManagerService\n");
}

// A tuning file whose format version has a part beyond one byte.
TEST(VeloraManagerServiceVersionTest, FormatVersionPartsMustFitOneByte) {
    velora::testing::TempRoot root;
    std::string text;
    {
        FILE* file = fopen(
            (velora::testing::TempRoot::sourceDir() + "/examples/multimedia_velora_kiv_default.xml")
                .c_str(),
            "r");
        ASSERT_NE(file, nullptr);
        char chunk[4096];
        size_t n;
        while ((n = fread(chunk, 1, sizeof(chunk), file)) > 0) text.append(chunk, n);
        fclose(file);
    }
    const std::string from = "maintenance=\"0\"/>";
    size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, from.size(), "maintenance=\"300\"/>");
    root.write(velora::SystemPaths::kDefaultTuningFile, text);
    velora::KsContextManager manager;
    ASSERT_EQ(manager.getDefaultXmlFormatVersion(), "1.0.300");

    LogCapture log;
    CallbackLog callbacks;
    {
        sp<VeloraManagerService> service = new VeloraManagerService(&manager);
        ASSERT_EQ(service->registerClient(make_recording_client(callbacks), 0, 1), 0);
        EXPECT_EQ(service->getDefaultXmlFormatVersion(), -EINVAL);
    }
    EXPECT_TRUE(log.containsMessage("XML version 1.0.300 is invalid!\n"));
}

}  // namespace
}  // namespace android
