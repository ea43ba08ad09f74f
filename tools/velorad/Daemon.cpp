/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#define LOG_TAG "velorad"

#include "tools/velorad/Daemon.h"

#include <grpcpp/grpcpp.h>
#include <log/log.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utils/StrongPointer.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/SystemPaths.h"
#include "hal/KptService.h"
#include "service/VeloraManagerService.h"
#include "tools/velorad/DaemonSocket.h"
#include "tools/velorad/VeloraRpcService.h"

namespace velora {

namespace {

// How long the server may take to finish the calls in progress at shutdown before they are
// cancelled.
constexpr auto kShutdownGrace = std::chrono::seconds(2);

int fail(const std::string& message) {
    ALOGE("%s", message.c_str());
    return 1;
}

}  // namespace

Daemon::Daemon(Options options) : mOptions(std::move(options)) {}

std::string Daemon::defaultSocket(const std::string& root) {
    return root + (root.empty() || root.back() != '/' ? "/" : "") + "velorad.sock";
}

int Daemon::run() {
    char resolved[PATH_MAX];
    if (realpath(mOptions.root.c_str(), resolved) == nullptr) {
        return fail("root " + mOptions.root + " is not usable: " + std::strerror(errno));
    }
    const std::string root = resolved;
    int rootLock = -1;
    std::string error;
    if (!DaemonSocket::lockRoot(root, &rootLock, &error)) return fail(error);
    SystemPaths::setRoot(root);

    const std::string socketPath = mOptions.socket.empty() ? defaultSocket(root) : mOptions.socket;
    bool removedStale = false;
    if (!DaemonSocket::prepare(socketPath, &removedStale, &error)) return fail(error);
    if (removedStale)
        ALOGW("removed the stale socket %s of a daemon that is gone", socketPath.c_str());

    // Constructed and held by a strong pointer as the vendor process does: the first strong
    // reference starts the service's event loop. The settings system itself starts with the
    // first client's registration.
    // The socket calls the service through the same interface glue as hwbinder on a device.
    android::sp<android::VeloraManagerService> service = new android::VeloraManagerService();
    service->setSaveDelay(mOptions.saveDelayMs);
    android::sp<KptService> kpt = new KptService(service);
    auto rpcService = std::make_unique<VeloraRpcService>(kpt, mOptions.maxQueuedCallbacks);

    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + socketPath, grpc::InsecureServerCredentials());
    builder.RegisterService(rpcService.get());
    std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    if (!server) {
        rpcService.reset();
        kpt->shutdown();
        return fail("cannot listen on " + socketPath);
    }
    if (!DaemonSocket::restrict(socketPath, &error)) {
        server->Shutdown();
        rpcService.reset();
        kpt->shutdown();
        unlink(socketPath.c_str());
        return fail(error);
    }
    ALOGI("serving root %s on %s", root.c_str(), socketPath.c_str());
    std::printf("velorad ready: root %s socket %s\n", root.c_str(), socketPath.c_str());
    std::fflush(stdout);

    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    ALOGI("%s: shutting down", signal == SIGINT ? "SIGINT" : "SIGTERM");

    // No new calls, then the streams end (their clients see UNAVAILABLE), then the server
    // stops with nothing left to wait for.
    rpcService->stop();
    server->Shutdown(std::chrono::system_clock::now() + kShutdownGrace);
    server->Wait();
    server.reset();
    unlink(socketPath.c_str());
    rpcService.reset();
    ALOGI("server stopped; saving and destroying the service");
    // The last save is made here rather than by the service's destructor, so that its result
    // decides the exit status: whoever stops the daemon learns that settings were lost.
    const int saved = service->saveAtEnd();
    service.clear();
    // Releases the last strong reference to the service.
    kpt->shutdown();
    close(rootLock);
    if (saved != 0) {
        std::fprintf(stderr, "velorad: the settings could not be saved: %s\n",
                     std::strerror(-saved));
        return 1;
    }
    ALOGI("stopped");
    return 0;
}

}  // namespace velora
