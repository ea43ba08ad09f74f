/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>
#include <utility>

#include "EffectTestSupport.h"
#include "effect/SetParamCommand.h"
#include "testutil/LogCapture.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

using namespace velora::testing;

constexpr uint32_t kDvla = 0x616C7664;
constexpr uint32_t kVol = 0x006C6F76;
constexpr uint32_t kGebs = 0x73626567;

// A code's wire id: its letters in lower case, the first in the lowest byte.
uint32_t wire_id(const std::string& code) {
    uint32_t id = 0;
    for (size_t i = 0; i < code.size(); ++i) id |= uint32_t(std::tolower(code[i])) << (8 * i);
    return id;
}

TEST(PexParameterTest, EveryCodeHasItsPlaceTextAndWireIdAndOthersHaveNone) {
    ASSERT_EQ(74, kPexParameterCount);
    EXPECT_EQ(kDvla, wire_id("DVLA"));
    EXPECT_EQ(kVol, wire_id("VOL"));
    EXPECT_STREQ("DVLA", pex_parameter_code(DVLA));
    EXPECT_STREQ("BMDT", pex_parameter_code(BMDT));
    std::set<uint32_t> ids;
    for (int value = 0; value < kPexParameterCount; ++value) {
        const PexParameter parameter = static_cast<PexParameter>(value);
        const std::string code = kPexParameterCodes[value];
        SCOPED_TRACE(code);
        EXPECT_EQ(code, pex_parameter_code(parameter));
        EXPECT_EQ(wire_id(code), pex_parameter_id(parameter));
        EXPECT_EQ(wire_id(code), pex_code_to_id(code.c_str()));
        ids.insert(pex_parameter_id(parameter));
    }
    EXPECT_EQ(74u, ids.size());
    // Any case is lowered; what has no id gives 0.
    const std::pair<const char*, uint32_t> cases[] = {
        {"dvla", kDvla}, {"DvLa", kDvla}, {"Zz", 0x7A7A}, {"", 0}, {"ABCDE", 0}, {nullptr, 0}};
    for (const auto& [code, id] : cases)
        EXPECT_EQ(id, pex_code_to_id(code)) << (code ? code : "null");
    EXPECT_EQ(0u, pex_parameter_id(static_cast<PexParameter>(74)));
    EXPECT_EQ(0u, pex_parameter_id(static_cast<PexParameter>(-1)));
}

TEST(SetParamCommandTest, RecordsArePackedInOrderWithTheirDeviceTag) {
    SetParamCommand command(0x40000000);
    EXPECT_EQ((V{0x40000000, 0}), command.getBuffer());
    command.add(DVLA, 7);  // before any setDeviceId: tag -1
    command.setDeviceId(8);
    V empty, a{1, 2}, b{3}, c{4, -5};
    command.add(VOL, &empty);
    command.add(GEBS, 5, {&a, &b});
    command.setDeviceId(2);
    command.add(DVLA, {&b, &a});
    command.add(VOL, &c);

    EXPECT_EQ(5, command.getCount());
    const int dvla = kDvla, vol = kVol, gebs = kGebs;
    // clang-format off
    EXPECT_EQ((V{0x40000000, 0,          // header; the count is written on execute
                 -1, dvla, 1, 7,         // scalar
                 8, vol, 0,              // empty vector
                 8, gebs, 4, 5, 1, 2, 3, // leading value, then the parts
                 2, dvla, 3, 3, 1, 2,    // parts in the order given
                 2, vol, 2, 4, -5}),     // one vector
              command.getBuffer());
    // clang-format on
}

// Each test publishes into a store folder of its own.
class PexEffectTest : public ::testing::Test {
  protected:
    TempRoot mRoot;
    RecordingEffect mEffect;
};

TEST_F(PexEffectTest, BatchIsSentAsCommandZeroAndStoredInOneCommit) {
    const int before = read_store().generation;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    EXPECT_EQ(0, command.execute(mEffect));  // an empty batch never reaches the effect
    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(before, read_store().generation);
    command.add(DVLA, 4);
    V gebs{2, 100, 200, -1, 1}, none;
    command.add(GEBS, &gebs);
    command.add(DVLA, 5);  // the later record of a parameter wins
    command.setDeviceId(8);
    command.add(DVLA, 6);
    command.add(VOL, &none);

    // The result is -EINVAL whatever the store did.
    EXPECT_EQ(-22, command.execute(mEffect));
    ASSERT_EQ(1u, mEffect.batches.size());
    const DecodedBatch& sent = mEffect.batches[0];
    EXPECT_EQ(0, sent.command);
    EXPECT_FALSE(sent.malformed);
    EXPECT_EQ(5, sent.count);
    EXPECT_EQ((BatchRecord{8, kDvla, {6}}), sent.records[3]);

    auto stored = read_store();
    EXPECT_EQ(before + 1, stored.generation);
    EXPECT_EQ((V{5}), stored.at(2, kDvla));
    EXPECT_EQ(gebs, stored.at(2, kGebs));
    EXPECT_EQ((V{6}), stored.at(8, kDvla));
    ASSERT_TRUE(stored.has(8, kVol));
    EXPECT_TRUE(stored.at(8, kVol).empty());
}

TEST_F(PexEffectTest, InvalidBatchIsLoggedAndNothingIsWritten) {
    const char kInvalid[] = "sendSharedStore() Invalid data for setting parameter values.";
    const int before = read_store().generation;
    LogCapture log;
    const int dvla = kDvla;
    for (V words : {V{0x40000000, 2, 2, dvla, 1, 5},  // the count says two records, one follows
                    V{0x40000000, 1, 2, dvla, 3, 5},  // n runs past the end
                    V{0x40000000}}) {                 // not even a header
        EXPECT_EQ(-22, mEffect.send(0, words));
    }
    EXPECT_EQ(3u, log.countMessage(kInvalid)) << log.dump();
    EXPECT_TRUE(log.contains("PexEffect", ANDROID_LOG_ERROR, kInvalid));
    auto stored = read_store();
    EXPECT_EQ(before, stored.generation);
    EXPECT_FALSE(stored.has(2, kDvla));
}

}  // namespace
}  // namespace velora
