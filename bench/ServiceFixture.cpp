/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include "bench/ServiceFixture.h"

#include <stdio.h>

#include "bench/BenchEnvironment.h"
#include "common/SystemPaths.h"
#include "context/KsContextManager.h"
#include "service/VeloraManagerService.h"

namespace velora::bench {

namespace {

std::unique_ptr<ServiceFixture>& current() {
    static std::unique_ptr<ServiceFixture> fixture;
    return fixture;
}

int& current_scale() {
    static int scale = 0;
    return scale;
}

// Clients register with distinct uids and a type that is no decoder's.
constexpr unsigned kFirstUid = 10000;
constexpr int kClientType = 0;

// Command 1 for external id 107 (the intelligent equalizer amount) of profile 0.
constexpr int32_t kSetParameter = 0x01000000;
constexpr int32_t kIeqAmountId = 107;
constexpr int32_t kFirstValue = 7;

}  // namespace

ServiceFixture* ServiceFixture::get(int scale, int clients) {
    std::unique_ptr<ServiceFixture>& fixture = current();
    if (fixture != nullptr && current_scale() == scale && fixture->mHub.clients() == clients) {
        fixture->activate();
        return fixture.get();
    }
    if (fixture == nullptr) {
        BenchEnvironment::get().atCleanUp([] { current().reset(); });
    }
    fixture.reset();
    fixture.reset(new ServiceFixture(scale, clients));
    current_scale() = scale;
    if (!fixture->start()) {
        fixture.reset();
        return nullptr;
    }
    return fixture.get();
}

ServiceFixture::ServiceFixture(int scale, int clients) : mScale(scale), mHub(clients) {}

bool ServiceFixture::start() {
    BenchEnvironment& env = BenchEnvironment::get();
    mRoot.install(env.tuningFile(mScale), SystemPaths::kDefaultTuningFile);
    mRoot.install(env.oemFile(), SystemPaths::kOemTuningFile);
    mManager = std::make_unique<KsContextManager>();
    if (mManager->getKsContext() == nullptr) {
        fprintf(stderr, "the settings system did not start\n");
        return false;
    }
    mService = new android::VeloraManagerService(mManager.get());
    for (int i = 0; i < mHub.clients(); ++i) {
        if (mService->registerClient(mHub.callback(i), kClientType, kFirstUid + i) != 0) {
            fprintf(stderr, "client %d was not registered\n", i);
            return false;
        }
    }
    if (!mService->isInitialized() || !drain()) return false;
    // The first change after start-up carries every loaded parameter to the effect; one
    // write here fills the parameter store, so every measured write, and every floor commit
    // into the same store, publishes the state a running device has.
    const int32_t firstWrite[5] = {kSetParameter, 0, 0, kIeqAmountId, kFirstValue};
    return mService->setPexParam(firstWrite, sizeof(firstWrite)) == 0 && drain();
}

ServiceFixture::~ServiceFixture() {
    mRoot.activate();
    if (mService != nullptr) {
        for (int i = 0; i < mHub.clients(); ++i) {
            mService->unregisterClient(mHub.callback(i), kClientType, kFirstUid + i);
        }
        mService.clear();
    }
    mManager.reset();
}

KsContext* ServiceFixture::context() { return mManager->getKsContext(); }

bool ServiceFixture::drain() {
    int32_t marker[3] = {CallbackHub::kMarkerCommand, 0, ++mMarker};
    if (mService->setPexParam(marker, sizeof(marker)) != 0) return false;
    return mHub.waitForMarker(mMarker, kTimeout);
}

}  // namespace velora::bench
