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
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"
#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "context/KsContextManager.h"
#include "effect/PexParameter.h"
#include "model/AndroidDevice.h"
#include "model/PresetType.h"
#include "model/Profile.h"
#include "service/VeloraManagerService.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace android {
namespace {

using velora::testing::Bytes;
using velora::testing::CallbackLog;
using velora::testing::LogCapture;
using velora::testing::words_to_bytes;

constexpr uint8_t kUntouched = 0xAB;

// A get request: the command in byte 3 (the byte counted first), then the given words.
Bytes request(uint8_t command, const std::vector<int32_t>& words = {}) {
    Bytes bytes = {0x00, 0x00, 0x00, command};
    const Bytes tail = words_to_bytes(words);
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
}

Bytes answer(int32_t value) { return words_to_bytes({value}); }

class VeloraManagerServiceTest : public ::testing::Test {
  protected:
    void TearDown() override { mService.clear(); }

    // Registers a recording client, which starts the manager.
    void start() { ASSERT_EQ(mService->registerClient(mClient, 0, 1000), 0); }

    // The answer buffer, whose bytes start as kUntouched, of a get of exactly these bytes.
    Bytes get(const Bytes& in, size_t outLength, int* result = nullptr) {
        // Exact-size heap copies, so that any access beyond them is caught by ASan.
        Bytes copy(in);
        Bytes out(outLength, kUntouched);
        int status = mService->getPexParam(copy.empty() ? nullptr : copy.data(), copy.size(),
                                           out.empty() ? nullptr : out.data(), out.size());
        if (result != nullptr) *result = status;
        return out;
    }

    velora::KsContext& context() { return mSettings.context(); }

    velora::testing::ExampleSettings mSettings;
    // The clients' logs outlive the service, which calls its clients until it is gone.
    CallbackLog mLog;
    CallbackLog mOtherLog;
    sp<VeloraManagerService> mService = new VeloraManagerService(&mSettings.manager());
    sp<velora::testing::MockKptCallbacks> mClient = make_recording_client(mLog);
};

TEST_F(VeloraManagerServiceTest, RequestsBeforeTheFirstRegistrationAreRefused) {
    LogCapture log;
    int result = 0;
    EXPECT_EQ(get(request(3), 4, &result), Bytes(4, kUntouched));
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
    EXPECT_EQ(get(request(3), 4, &result), answer(4));
    EXPECT_EQ(result, 0);
}

TEST_F(VeloraManagerServiceTest, RegistryIsKeyedByUidPlusType) {
    LogCapture log;
    EXPECT_EQ(mService->registerClient(nullptr, 1, 10), -EINVAL);
    EXPECT_TRUE(
        log.contains("VeloraManagerService", ANDROID_LOG_WARN, "registerClient got NULL client"));
    EXPECT_EQ(mService->getClientCount(), 0u);

    sp<velora::testing::MockKptCallbacks> other = make_recording_client(mOtherLog);
    ASSERT_EQ(mService->registerClient(mClient, 2, 10), 0);
    EXPECT_TRUE(mService->hasDecCP());
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kDecoderClients), 1);
    // uid 11 with type 1 meets uid 10 with type 2 on key 12.
    EXPECT_EQ(mService->registerClient(other, 1, 11), -EEXIST);
    EXPECT_TRUE(log.contains("VeloraManagerService", ANDROID_LOG_WARN,
                             "register uid already existing 0xc"));
    EXPECT_EQ(mService->registerClient(mClient, 2, 10), -EEXIST);
    EXPECT_EQ(mService->getClientCount(), 1u);

    // Type 0 is no decoder: the count drops to zero with the type-2 client.
    ASSERT_EQ(mService->registerClient(other, 0, 11), 0);
    EXPECT_EQ(mService->getClientCount(), 2u);
    ASSERT_EQ(mService->unregisterClient(mClient, 2, 10), 0);
    EXPECT_FALSE(mService->hasDecCP());
    EXPECT_EQ(mService->getIntParam(VeloraManagerService::kDecoderClients), 0);
    EXPECT_EQ(mService->unregisterClient(mClient, 2, 10), -ENOENT);
    EXPECT_TRUE(log.containsMessage("removeNotificationClient(uid = 12) entry"));
    EXPECT_EQ(mService->getClientCount(), 1u);
}

TEST_F(VeloraManagerServiceTest, PackedGetReadsTheCommandInItsOwnByteOrder) {
    start();
    context().setPexOn(true);
    context().setSelectedProfile(2);

    EXPECT_EQ(get(request(3), 4), answer(4));
    // The same bytes the other way round are command 768, which answers nothing.
    EXPECT_EQ(get({0x03, 0x00, 0x00, 0x00}, 4), Bytes(4, kUntouched));
    EXPECT_EQ(get(request(0), 4), answer(1));
    EXPECT_EQ(get(request(10), 4), answer(2));
    EXPECT_EQ(get(request(13), 4), answer(0));
    // Command 11 with the profile in bytes 4-7.
    EXPECT_EQ(get(request(11, {1}), 4), answer(0));
    context().setProfileParameter(1, velora::ieq_amount, {3});
    EXPECT_EQ(get(request(11, {1}), 4), answer(1));
    // Commands without an answer leave the buffer alone.
    for (uint8_t command : {4, 9, 12, 14, 200}) {
        EXPECT_EQ(get(request(command), 4), Bytes(4, kUntouched)) << int(command);
    }
    // A 32-bit answer never goes past a shorter answer buffer.
    LogCapture log;
    EXPECT_EQ(get(request(3), 3), Bytes(3, kUntouched));
    EXPECT_TRUE(
        log.containsMessage("packAndReceiveParam : Invalid output length, not enough buffer!"));
}

TEST_F(VeloraManagerServiceTest, PackedGetOfParameterValues) {
    start();
    context().setProfileParameter(1, velora::ENDPOINT_HEADPHONE, velora::dialog_enhancer_amount,
                                  {9});
    context().setProfileParameter(1, velora::ENDPOINT_SPEAKER, velora::dialog_enhancer_amount, {4});
    // Command 1: id in bytes 4-7, profile in bytes 8-11; the plain read is the speaker's.
    EXPECT_EQ(get(request(1, {108, 1}), 4), answer(4));
    // Eight bytes of room for one value: the rest stays untouched.
    Bytes wide = get(request(1, {108, 1}), 8);
    EXPECT_EQ(Bytes(wide.begin(), wide.begin() + 4), answer(4));
    EXPECT_EQ(Bytes(wide.begin() + 4, wide.end()), Bytes(4, kUntouched));

    // Command 2: one byte carries the profile (high nibble) and the port (low nibble).
    const std::vector<std::pair<uint8_t, Bytes>> ports = {
        {0x13, answer(9)},             // profile 1, headphone
        {0x14, answer(9)},             // bluetooth uses the headphone settings too
        {0x10, answer(4)},             // internal speaker
        {0x17, Bytes(4, kUntouched)},  // no port 7: nothing
    };
    for (const auto& [profilePort, expected] : ports) {
        Bytes portRequest = request(2, {108});
        portRequest.push_back(profilePort);
        EXPECT_EQ(get(portRequest, 4), expected) << std::hex << int(profilePort);
    }

    // The gains need room for every value read back (more than twenty, since values from the
    // database carry a trailing 0): one word less and nothing is copied.
    LogCapture log;
    const std::vector<int> stored = context().getProfileGeqParameter(0, velora::geq_gain);
    ASSERT_GE(stored.size(), 20u);
    const size_t bytes = stored.size() * 4;
    EXPECT_EQ(get(request(1, {110, 0}), bytes - 4), Bytes(bytes - 4, kUntouched));
    EXPECT_TRUE(
        log.containsMessage("packAndReceiveParam : Invalid output length, not enough buffer!"));
    EXPECT_EQ(get(request(1, {110, 0}), bytes),
              words_to_bytes(std::vector<int32_t>(stored.begin(), stored.end())));
}

TEST_F(VeloraManagerServiceTest, GetRequestsWithoutEveryByteTheirCommandReadsAnswerNothing) {
    start();
    context().setPexOn(false);
    context().setProfileParameter(1, velora::ieq_amount, {13});
    LogCapture log;
    // Each would be answered were its missing bytes read as zero: command 0, profile 1 (its top
    // bytes), the port byte, the profile of command 11.
    const std::vector<Bytes> shortRequests = {
        {},
        {0x00, 0x00},
        {0x00, 0x00, 0x00, 0x01, 107, 0x00, 0x00, 0x00, 0x01, 0x00},
        {0x00, 0x00, 0x00, 0x02, 108, 0x00, 0x00, 0x00},
        {0x00, 0x00, 0x00, 0x0B, 0x01, 0x00, 0x00},
    };
    for (const Bytes& in : shortRequests) {
        int result = -1;
        EXPECT_EQ(get(in, 4, &result), Bytes(4, kUntouched)) << in.size();
        EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(log.countMessage("packAndReceiveParam : Invalid input length!"),
              shortRequests.size());
    // A length without bytes behind it is no request either.
    Bytes out(4, kUntouched);
    EXPECT_EQ(mService->getPexParam(nullptr, 12, out.data(), out.size()), 0);
    EXPECT_EQ(out, Bytes(4, kUntouched));

    // Command 2 needs byte 8 only; the loaded amount comes with its trailing 0.
    log.clear();
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x02, 108, 0x00, 0x00, 0x00, 0x00}, 8),
              words_to_bytes({6, 0}));
    EXPECT_EQ(get({0x00, 0x00, 0x00, 0x01, 107, 0, 0, 0, 0x01, 0, 0, 0}, 4), answer(13));
    EXPECT_FALSE(log.containsMessage("packAndReceiveParam : Invalid input length!"));
}

TEST_F(VeloraManagerServiceTest, IntegerParametersByCode) {
    start();
    context().setPexOn(true);
    using S = VeloraManagerService;
    mService->setIntParam(fourcc("ABCD"), 5);
    EXPECT_EQ(mService->getIntParam(fourcc("ABCD")), -1);
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

TEST_F(VeloraManagerServiceTest, StorePassThroughTakesOnlyWhatTheEffectReads) {
    using velora::testing::stored_param;
    const uint32_t dvla = velora::pex_code_to_id("DVLA");
    const std::vector<int> values = {1, -2, 300};
    const std::vector<int> tooMany(PexParamStore::kMaxValueCount + 1, 1);
    ASSERT_EQ(mService->setParam(velora::DEVICE_OUT_SPEAKER, dvla, values.data(), 3), 0);
    // A device or a code the effect has no parameters for, or more values than a parameter
    // holds, would only grow the parameter file.
    EXPECT_EQ(mService->setParam(0x1, dvla, values.data(), 3), -EINVAL);
    EXPECT_EQ(mService->setParam(velora::DEVICE_OUT_SPEAKER, 0x12345678, values.data(), 3),
              -EINVAL);
    EXPECT_EQ(mService->setParam(velora::DEVICE_OUT_DEFAULT, dvla, tooMany.data(), tooMany.size()),
              -E2BIG);
    ASSERT_EQ(mService->commitChange(), 0);
    EXPECT_EQ(stored_param(velora::DEVICE_OUT_SPEAKER, "DVLA"), values);
    EXPECT_TRUE(stored_param(0x1, "DVLA").empty());
    EXPECT_TRUE(stored_param(velora::DEVICE_OUT_DEFAULT, "DVLA").empty());
}

TEST_F(VeloraManagerServiceTest, TuningDeviceNamesArePackedWithTheirZeros) {
    start();
    ASSERT_EQ(mService->getAvailableTuningDevicesLen(velora::PORT_USB), 28);
    std::vector<char> names(28, 'x');
    mService->getAvailableTuningDevices(velora::PORT_USB, names.data(), names.size());
    std::vector<std::string> listed;
    for (size_t at = 0; at < names.size(); at += listed.back().size() + 1) {
        listed.emplace_back(names.data() + at);
    }
    // In the provider's order, which the file does not fix.
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

TEST(VeloraManagerServiceVersionTest, FormatVersionPartsMustFitOneByte) {
    velora::testing::TempRoot root;
    std::ifstream file(velora::testing::TempRoot::sourceDir() +
                       "/examples/multimedia_velora_kiv_default.xml");
    std::stringstream contents;
    contents << file.rdbuf();
    std::string text = contents.str();
    const std::string from = "maintenance=\"0\"/>";
    const size_t at = text.find(from);
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
