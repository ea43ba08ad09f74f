/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cstddef>

#include "model/DeviceParameters.h"
#include "model/Endpoint.h"
#include "model/ProfileParameters.h"
#include "model/Tuning.h"

namespace velora {
namespace {

// What a static table of another subsystem sees while it is built. This object lives in the
// test binary, which is linked before the model archive, so without an early init priority
// its constructor would run before the model's tables exist.
struct EarlyReader {
    EarlyReader()
        : portNames(kPortNameToEndpoint.size()),
          bluetooth(kPortNameToEndpoint.count("bluetooth") ? kPortNameToEndpoint.at("bluetooth")
                                                           : ENDPOINT_OTHER),
          endpointNames(Tuning::kEndpNameToEndpoint.size()),
          tuningParams(Tuning::kValidParams.size()),
          deviceViewParams(DeviceParameters::kValidParams.size()),
          profileViewParams(ProfileParameters::kValidParams.size()) {}
    size_t portNames;
    Endpoint bluetooth;
    size_t endpointNames;
    size_t tuningParams;
    size_t deviceViewParams;
    size_t profileViewParams;
};

const EarlyReader gEarly;

TEST(StaticTablesTest, ModelTablesAreBuiltBeforeOtherStaticObjects) {
    EXPECT_EQ(7u, gEarly.portNames);
    EXPECT_EQ(ENDPOINT_HEADPHONE, gEarly.bluetooth);
    EXPECT_EQ(3u, gEarly.endpointNames);
    EXPECT_EQ(50u, gEarly.tuningParams);
    EXPECT_EQ(73u, gEarly.deviceViewParams);
    EXPECT_EQ(13u, gEarly.profileViewParams);
}

}  // namespace
}  // namespace velora
