/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <cutils/native_handle.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vendor/velora/hardware/kpt/2.0/IKpt.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "common/SystemPaths.h"
#include "context/KsContext.h"
#include "hal/KptServiceProcess.h"
#include "service/ServiceTestSupport.h"

namespace velora::testing {
namespace {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::vendor::velora::hardware::kpt::V2_0::IKpt;

// The service process, run on a thread of the test as it runs in its own process on a device:
// found through the service registry, stopped with SIGTERM.
class ServiceProcess {
  public:
    ServiceProcess() : mThread([this] { mStatus = KptServiceProcess::run(); }) {}
    int stop() {
        kill(getpid(), SIGTERM);
        mThread.join();
        return mStatus;
    }

  private:
    int mStatus = -1;
    std::thread mThread;
};

std::string dump_of(const sp<IKpt>& kpt) {
    const int fd = memfd_create("dump", MFD_CLOEXEC);
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = fd;
    EXPECT_TRUE(kpt->debug(hidl_handle(handle), hidl_vec<hidl_string>()).isOk());
    native_handle_delete(handle);
    std::string text(4096, '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(0, pread(fd, &text[0], text.size(), 0))));
    close(fd);
    return text;
}

// Start, a client registered through the interface, a change and its callback, the dump, and
// a stop that saves and refuses later calls.
TEST(KptServiceProcessTest, ServesThroughTheInterfaceAndSavesWhenStopped) {
    // Before any thread of the test exists: the stop signal goes to the process's own waiter.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    ExampleSettings saved;  // its root is the process's root
    const Bytes change = words_to_bytes({0x01000000, 0, 2, 107, 7});  // profile 2 ieq-amount 7

    ServiceProcess process;
    sp<IKpt> kpt = IKpt::getService();
    ASSERT_NE(nullptr, kpt);
    CallbackLog log;
    auto client = make_recording_client(log);
    EXPECT_EQ(0, static_cast<int32_t>(kpt->registerClient(client, 0, 4242)));
    EXPECT_EQ(-EEXIST, static_cast<int32_t>(kpt->registerClient(client, 1, 4241)));
    EXPECT_EQ(-EINVAL, static_cast<int32_t>(kpt->registerClient(nullptr, 0, 1)));
    EXPECT_EQ(0, static_cast<int32_t>(kpt->setPexParam(hidl_vec<uint8_t>(change))));
    ASSERT_TRUE(log.waitFor(3));  // two registrations, then the change
    EXPECT_EQ(change, log.buffers()[2]);
    EXPECT_NE(std::string::npos, dump_of(kpt).find("VeloraManagerService Information dump:"));

    EXPECT_EQ(0, process.stop());
    EXPECT_FALSE(kpt->getPexEnabled().isOk());
    saved.restart();
    EXPECT_EQ(7, first(saved.context().getProfileParameter(2, Parameter::ieq_amount)));
}

}  // namespace
}  // namespace velora::testing
