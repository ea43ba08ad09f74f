/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <vector>

#include "StoreReader.h"
#include "effect/PexEffect.h"
#include "effect/SetParamCommand.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using testing::read_store;

constexpr uint32_t kDvla = 0x616C7664;
constexpr uint32_t kVol = 0x006C6F76;
constexpr uint32_t kGebs = 0x73626567;
constexpr char kInvalid[] = "sendSharedStore() Invalid data for setting parameter values.";

// Each test publishes into a folder of its own.
class PexEffectTest : public ::testing::Test {
  protected:
    testing::TempRoot mRoot;
    PexEffect mEffect{0, "KsService"};
};

TEST_F(PexEffectTest, BatchIsStoredRecordByRecordInOneCommit) {
    const int before = read_store().generation;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    command.add(DVLA, 4);
    std::vector<int> gebs{2, 100, 200, -1, 1};
    command.add(GEBS, &gebs);
    command.setDeviceId(8);
    command.add(DVLA, 6);

    // The result is -EINVAL whatever the store did.
    EXPECT_EQ(-22, command.execute(mEffect));

    auto stored = read_store();
    EXPECT_EQ(before + 1, stored.generation);
    EXPECT_EQ((std::vector<int>{4}), stored.at(2, kDvla));
    EXPECT_EQ(gebs, stored.at(2, kGebs));
    EXPECT_EQ((std::vector<int>{6}), stored.at(8, kDvla));
}

TEST_F(PexEffectTest, LaterRecordOfTheSameParameterWins) {
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    command.add(DVLA, 1);
    command.add(DVLA, 2);
    command.execute(mEffect);
    EXPECT_EQ((std::vector<int>{2}), read_store().at(2, kDvla));
}

TEST_F(PexEffectTest, EmptyRecordIsStoredEmpty) {
    SetParamCommand command(0x40000000);
    command.setDeviceId(8);
    std::vector<int> none;
    command.add(VOL, &none);
    command.execute(mEffect);
    auto stored = read_store();
    ASSERT_TRUE(stored.has(8, kVol));
    EXPECT_TRUE(stored.at(8, kVol).empty());
}

TEST_F(PexEffectTest, EmptyBatchNeverReachesTheStore) {
    const int before = read_store().generation;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    EXPECT_EQ(0, command.execute(mEffect));
    EXPECT_EQ(before, read_store().generation);
}

TEST_F(PexEffectTest, InvalidBatchIsLoggedAndNothingIsWritten) {
    const int before = read_store().generation;
    testing::LogCapture log;

    // The count word says two records but the words hold one.
    std::vector<int> wrongCount{0x40000000, 2, 2, static_cast<int>(kDvla), 1, 5};
    EXPECT_EQ(-22, mEffect.send(0, wrongCount));
    // A record whose n runs past the end.
    std::vector<int> truncated{0x40000000, 1, 2, static_cast<int>(kDvla), 3, 5};
    EXPECT_EQ(-22, mEffect.send(0, truncated));
    // Not even a header.
    std::vector<int> headerless{0x40000000};
    EXPECT_EQ(-22, mEffect.send(0, headerless));

    EXPECT_EQ(3u, log.countMessage(kInvalid)) << log.dump();
    EXPECT_TRUE(log.contains("PexEffect", ANDROID_LOG_ERROR, kInvalid));
    auto stored = read_store();
    EXPECT_EQ(before, stored.generation);
    EXPECT_FALSE(stored.has(2, kDvla));
}

TEST_F(PexEffectTest, HandleIsAThinShell) {
    std::vector<int> out(20, 7);
    EXPECT_EQ(0, mEffect.receive(3, out));
    EXPECT_EQ(std::vector<int>(20, 7), out);
    EXPECT_TRUE(mEffect.hasControl());
    mEffect.setEnabled(false);
    EXPECT_TRUE(mEffect.hasControl());
}

}  // namespace
}  // namespace velora
