/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#pragma once

#include <utils/RefBase.h>

#include <chrono>
#include <memory>

#include "bench/CallbackHub.h"
#include "testutil/TempRoot.h"

namespace android {
class VeloraManagerService;
}

namespace velora {
class KsContext;
class KsContextManager;
}  // namespace velora

namespace velora::bench {

// A running service as a device has it: started on its own root from a tuning file of the
// given scale (with the OEM extra file), its event loop running, and a number of registered
// clients whose callbacks count what they are told. Kept across the benchmark calls that use
// it; one fixture lives at a time, since the filesystem root is process-wide.
class ServiceFixture {
  public:
    // The fixture for (scale, clients), replacing any other; null when the service does not
    // start. Taken down by the environment's clean-up.
    static ServiceFixture* get(int scale, int clients);

    ~ServiceFixture();

    android::VeloraManagerService& service() { return *mService; }
    CallbackHub& hub() { return mHub; }
    KsContext* context();
    // Makes this fixture's root the filesystem root again (a floor may have moved it).
    void activate() const { mRoot.activate(); }

    // Posts a marker through the event loop and waits until every client heard of it, so
    // that every message posted before has been handled. False on timeout.
    bool drain();

    static constexpr std::chrono::milliseconds kTimeout{10000};

  private:
    ServiceFixture(int scale, int clients);
    bool start();

    const int mScale;
    testing::TempRoot mRoot;
    std::unique_ptr<KsContextManager> mManager;
    android::sp<android::VeloraManagerService> mService;
    CallbackHub mHub;
    int32_t mMarker = 0;
};

}  // namespace velora::bench
