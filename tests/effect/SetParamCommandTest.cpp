/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <vector>

#include "BatchReader.h"
#include "effect/PexEffect.h"
#include "effect/SetParamCommand.h"

namespace velora {
namespace {

using testing::BatchRecord;
using testing::decode_batch;

constexpr uint32_t kDvla = 0x616C7664;
constexpr uint32_t kVol = 0x006C6F76;
constexpr uint32_t kGebs = 0x73626567;

// Keeps what execute() hands over instead of writing it to the store.
class CapturingEffect : public PexEffect {
  public:
    CapturingEffect() : PexEffect(0, "test") {}
    int send(int command, std::vector<int>& data) override {
        ++sends;
        lastCommand = command;
        lastData = data;
        return -22;
    }
    int sends = 0;
    int lastCommand = -1;
    std::vector<int> lastData;
};

TEST(SetParamCommandTest, NewBatchIsHeaderOnly) {
    SetParamCommand command(0x40000000);
    EXPECT_EQ((std::vector<int>{0x40000000, 0}), command.getBuffer());
    EXPECT_EQ(0, command.getCount());
    EXPECT_EQ(-1, command.getDeviceId());
}

TEST(SetParamCommandTest, RecordsArePackedInOrderWithTheirDeviceTag) {
    SetParamCommand command(0x40000000);
    command.add(DVLA, 7);  // before any setDeviceId: tag -1
    command.setDeviceId(8);
    std::vector<int> empty;
    command.add(VOL, &empty);
    std::vector<int> a{1, 2};
    std::vector<int> b{3};
    command.add(GEBS, 5, {&a, &b});
    command.setDeviceId(2);
    command.add(DVLA, {&b, &a});

    EXPECT_EQ(4, command.getCount());
    const std::vector<int> expected{
        0x40000000, 0,  // header, count not yet set
        -1,         static_cast<int>(kDvla),
        1,          7,  // scalar
        8,          static_cast<int>(kVol),
        0,  // empty vector: n = 0
        8,          static_cast<int>(kGebs),
        4,          5,
        1,          2,
        3,  // leading then parts
        2,          static_cast<int>(kDvla),
        3,          3,
        1,          2,  // parts in given order
    };
    EXPECT_EQ(expected, command.getBuffer());
}

TEST(SetParamCommandTest, ExecuteWritesCountAndSendsCommandZero) {
    CapturingEffect effect;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    command.add(DVLA, 1);
    command.add(DVLA, 2);
    command.add(VOL, 3);

    EXPECT_EQ(-22, command.execute(effect));
    ASSERT_EQ(1, effect.sends);
    EXPECT_EQ(0, effect.lastCommand);
    auto batch = decode_batch(effect.lastData);
    ASSERT_FALSE(batch.malformed);
    EXPECT_EQ(0x40000000, batch.device);
    EXPECT_EQ(3, batch.count);
    ASSERT_EQ(3u, batch.records.size());
    EXPECT_EQ((BatchRecord{2, kDvla, {1}}), batch.records[0]);
    EXPECT_EQ((BatchRecord{2, kDvla, {2}}), batch.records[1]);
    EXPECT_EQ((BatchRecord{2, kVol, {3}}), batch.records[2]);
}

TEST(SetParamCommandTest, EmptyBatchIsNeverSent) {
    CapturingEffect effect;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    EXPECT_EQ(0, command.execute(effect));
    EXPECT_EQ(0, effect.sends);
}

TEST(SetParamCommandTest, SingleVectorAndSinglePartGiveTheSameRecord) {
    std::vector<int> values{4, -5, 6};
    SetParamCommand one(0);
    one.add(DVLA, &values);
    SetParamCommand parts(0);
    parts.add(DVLA, {&values});
    EXPECT_EQ(one.getBuffer(), parts.getBuffer());
}

}  // namespace
}  // namespace velora
