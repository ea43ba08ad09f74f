/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <android/log.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

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

struct CodeRow {
    PexParameter parameter;
    const char* code;
    uint32_t id;
};

// The effect's table in enumerator order, wire ids written out by hand.
// clang-format off
#define C(code, id) {code, #code, id}
const CodeRow kCodeRows[] = {
    C(VOL, 0x006C6F76), C(PSTG, 0x67747370), C(PREG, 0x67657270), C(PLB, 0x00626C70),
    C(NGON, 0x6E6F676E), C(DEON, 0x6E6F6564), C(DEA, 0x00616564), C(DED, 0x00646564),
    C(VMB, 0x00626D76), C(DVME, 0x656D7664), C(DVMC, 0x636D7664), C(DVLE, 0x656C7664),
    C(DVLA, 0x616C7664), C(DVLI, 0x696C7664), C(DVLO, 0x6F6C7664), C(DVLC, 0x636C7664),
    C(IEON, 0x6E6F6569), C(IEA, 0x00616569), C(AROD, 0x646F7261), C(ARTP, 0x70747261),
    C(GEON, 0x6E6F6567), C(AOON, 0x6E6F6F61), C(VCNB, 0x626E6376), C(VCBF, 0x66626376),
    C(VER, 0x00726576), C(IEBS, 0x73626569), C(ARDS, 0x73647261), C(ARON, 0x6E6F7261),
    C(ARDE, 0x65647261), C(ARSA, 0x61737261), C(ARBS, 0x73627261), C(ARTI, 0x69747261),
    C(DOM, 0x006D6F64), C(DSB, 0x00627364), C(GEBS, 0x73626567), C(BEON, 0x6E6F6562),
    C(BEB, 0x00626562), C(BECF, 0x66636562), C(BEW, 0x00776562), C(VBON, 0x6E6F6276),
    C(VBM, 0x006D6276), C(VBSF, 0x66736276), C(VBOG, 0x676F6276), C(VBSG, 0x67736276),
    C(VBHG, 0x67686276), C(VBMF, 0x666D6276), C(AOBS, 0x73626F61), C(MSCE, 0x6563736D),
    C(MIEE, 0x6565696D), C(MDLE, 0x656C646D), C(MAVE, 0x6576616D), C(VCBS, 0x73626376),
    C(VNBS, 0x73626E76), C(DMC, 0x00636D64), C(DHFM, 0x6D666864), C(DFSA, 0x61736664),
    C(DSA, 0x00617364), C(DHSA, 0x61736864), C(SVSB, 0x62737673), C(CEON, 0x6E6F6563),
    C(CEQT, 0x74716563), C(DPLP, 0x706C7064), C(MVBE, 0x6562766D), C(RSSE, 0x65737372),
    C(RSSA, 0x61737372), C(IEID, 0x64696569), C(DRCM, 0x6D637264), C(HPON, 0x6E6F7068),
    C(HPTW, 0x77747068), C(HPAT, 0x74617068), C(HPAA, 0x61617068), C(HPAR, 0x72617068),
    C(BMDE, 0x65646D62), C(BMDT, 0x74646D62)};
// clang-format on
#undef C

TEST(PexParameterTest, EveryCodeHasItsPlaceTextAndWireId) {
    ASSERT_EQ(74, kPexParameterCount);
    ASSERT_EQ(74u, std::size(kCodeRows));
    std::set<uint32_t> ids;
    for (int value = 0; value < kPexParameterCount; ++value) {
        const CodeRow& row = kCodeRows[value];
        SCOPED_TRACE(row.code);
        EXPECT_EQ(value, static_cast<int>(row.parameter));
        EXPECT_STREQ(row.code, kPexParameterCodes[value]);
        EXPECT_STREQ(row.code, pex_parameter_code(row.parameter));
        EXPECT_EQ(row.id, pex_parameter_id(row.parameter)) << std::hex << row.id;
        EXPECT_EQ(row.id, pex_code_to_id(row.code));
        ids.insert(row.id);
    }
    EXPECT_EQ(74u, ids.size());
}

TEST(PexParameterTest, CodeToIdLowersCaseAndRejectsWhatHasNoId) {
    const std::pair<const char*, uint32_t> cases[] = {{"dvla", 0x616C7664}, {"DvLa", 0x616C7664},
                                                      {"A", 0x61},          {"", 0},
                                                      {"ABCDE", 0},         {nullptr, 0}};
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

TEST_F(PexEffectTest, EmptyBatchNeverReachesTheStore) {
    const int before = read_store().generation;
    SetParamCommand command(0x40000000);
    command.setDeviceId(2);
    EXPECT_EQ(0, command.execute(mEffect));
    EXPECT_TRUE(mEffect.batches.empty());
    EXPECT_EQ(before, read_store().generation);
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
