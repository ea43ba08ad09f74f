/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "vendor.velora.hardware.kpt@2.0-service"

#include "hal/KptServiceProcess.h"

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>
#include <signal.h>
#include <unistd.h>
#include <utils/StrongPointer.h>

#include <cstdlib>
#include <thread>

#include "hal/KptService.h"
#include "service/VeloraManagerService.h"

namespace velora {

int KptServiceProcess::run() {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    ::android::hardware::configureRpcThreadpool(kRpcThreads, true /* callerWillJoin */);
    // Held by a strong pointer from the start: the first one starts the service's event loop.
    // The settings system itself starts with the first client's registration.
    ::android::sp<KptService> kpt = new KptService(new ::android::VeloraManagerService());
    const ::android::status_t status = kpt->registerAsService();
    if (status != ::android::OK) {
        ALOGE("cannot register IKpt as \"default\": %d", status);
        kpt->shutdown();
        return 1;
    }
    ALOGI("IKpt \"default\" registered");

    std::thread stopper([kpt, stopSignals] {
        int signal = 0;
        while (sigwait(&stopSignals, &signal) != 0) {
        }
        ALOGI("%s: stopping", signal == SIGINT ? "SIGINT" : "SIGTERM");
        kpt->shutdown();
        ALOGI("stopped");
#ifdef __ANDROID__
        // The call pool never returns on a device: the process ends here, with everything
        // saved.
        _exit(0);
#else
        ::android::hardware::quitRpcThreadpool();
#endif
    });
    ::android::hardware::joinRpcThreadpool();
    stopper.join();
    return 0;
}

}  // namespace velora
