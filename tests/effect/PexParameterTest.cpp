/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "effect/PexParameter.h"

namespace velora {
namespace {

struct CodeRow {
    PexParameter parameter;
    int value;
    const char* code;
    uint32_t id;
};

// The effect's table as the effect documents it, ids written out by hand.
const CodeRow kCodeRows[] = {
    {VOL, 0, "VOL", 0x006C6F76},    {PSTG, 1, "PSTG", 0x67747370},  {PREG, 2, "PREG", 0x67657270},
    {PLB, 3, "PLB", 0x00626C70},    {NGON, 4, "NGON", 0x6E6F676E},  {DEON, 5, "DEON", 0x6E6F6564},
    {DEA, 6, "DEA", 0x00616564},    {DED, 7, "DED", 0x00646564},    {VMB, 8, "VMB", 0x00626D76},
    {DVME, 9, "DVME", 0x656D7664},  {DVMC, 10, "DVMC", 0x636D7664}, {DVLE, 11, "DVLE", 0x656C7664},
    {DVLA, 12, "DVLA", 0x616C7664}, {DVLI, 13, "DVLI", 0x696C7664}, {DVLO, 14, "DVLO", 0x6F6C7664},
    {DVLC, 15, "DVLC", 0x636C7664}, {IEON, 16, "IEON", 0x6E6F6569}, {IEA, 17, "IEA", 0x00616569},
    {AROD, 18, "AROD", 0x646F7261}, {ARTP, 19, "ARTP", 0x70747261}, {GEON, 20, "GEON", 0x6E6F6567},
    {AOON, 21, "AOON", 0x6E6F6F61}, {VCNB, 22, "VCNB", 0x626E6376}, {VCBF, 23, "VCBF", 0x66626376},
    {VER, 24, "VER", 0x00726576},   {IEBS, 25, "IEBS", 0x73626569}, {ARDS, 26, "ARDS", 0x73647261},
    {ARON, 27, "ARON", 0x6E6F7261}, {ARDE, 28, "ARDE", 0x65647261}, {ARSA, 29, "ARSA", 0x61737261},
    {ARBS, 30, "ARBS", 0x73627261}, {ARTI, 31, "ARTI", 0x69747261}, {DOM, 32, "DOM", 0x006D6F64},
    {DSB, 33, "DSB", 0x00627364},   {GEBS, 34, "GEBS", 0x73626567}, {BEON, 35, "BEON", 0x6E6F6562},
    {BEB, 36, "BEB", 0x00626562},   {BECF, 37, "BECF", 0x66636562}, {BEW, 38, "BEW", 0x00776562},
    {VBON, 39, "VBON", 0x6E6F6276}, {VBM, 40, "VBM", 0x006D6276},   {VBSF, 41, "VBSF", 0x66736276},
    {VBOG, 42, "VBOG", 0x676F6276}, {VBSG, 43, "VBSG", 0x67736276}, {VBHG, 44, "VBHG", 0x67686276},
    {VBMF, 45, "VBMF", 0x666D6276}, {AOBS, 46, "AOBS", 0x73626F61}, {MSCE, 47, "MSCE", 0x6563736D},
    {MIEE, 48, "MIEE", 0x6565696D}, {MDLE, 49, "MDLE", 0x656C646D}, {MAVE, 50, "MAVE", 0x6576616D},
    {VCBS, 51, "VCBS", 0x73626376}, {VNBS, 52, "VNBS", 0x73626E76}, {DMC, 53, "DMC", 0x00636D64},
    {DHFM, 54, "DHFM", 0x6D666864}, {DFSA, 55, "DFSA", 0x61736664}, {DSA, 56, "DSA", 0x00617364},
    {DHSA, 57, "DHSA", 0x61736864}, {SVSB, 58, "SVSB", 0x62737673}, {CEON, 59, "CEON", 0x6E6F6563},
    {CEQT, 60, "CEQT", 0x74716563}, {DPLP, 61, "DPLP", 0x706C7064}, {MVBE, 62, "MVBE", 0x6562766D},
    {RSSE, 63, "RSSE", 0x65737372}, {RSSA, 64, "RSSA", 0x61737372}, {IEID, 65, "IEID", 0x64696569},
    {DRCM, 66, "DRCM", 0x6D637264}, {HPON, 67, "HPON", 0x6E6F7068}, {HPTW, 68, "HPTW", 0x77747068},
    {HPAT, 69, "HPAT", 0x74617068}, {HPAA, 70, "HPAA", 0x61617068}, {HPAR, 71, "HPAR", 0x72617068},
    {BMDE, 72, "BMDE", 0x65646D62}, {BMDT, 73, "BMDT", 0x74646D62},
};

class PexParameterCodeTest : public ::testing::TestWithParam<CodeRow> {};

TEST_P(PexParameterCodeTest, EnumeratorCodeAndWireIdAgree) {
    const CodeRow& row = GetParam();
    EXPECT_EQ(row.value, static_cast<int>(row.parameter));
    EXPECT_STREQ(row.code, kPexParameterCodes[row.parameter]);
    EXPECT_STREQ(row.code, pex_parameter_code(row.parameter));
    EXPECT_EQ(row.id, pex_parameter_id(row.parameter))
        << std::hex << pex_parameter_id(row.parameter);
    EXPECT_EQ(row.id, pex_code_to_id(row.code));
}

INSTANTIATE_TEST_SUITE_P(AllCodes, PexParameterCodeTest, ::testing::ValuesIn(kCodeRows),
                         [](const ::testing::TestParamInfo<CodeRow>& info) {
                             return std::string(info.param.code);
                         });

TEST(PexParameterTest, TableCoversEveryValueOnceWithDistinctIds) {
    ASSERT_EQ(74, kPexParameterCount);
    ASSERT_EQ(static_cast<size_t>(kPexParameterCount), std::size(kCodeRows));
    std::set<uint32_t> ids;
    for (int value = 0; value < kPexParameterCount; ++value) {
        EXPECT_EQ(value, kCodeRows[value].value);
        ids.insert(pex_parameter_id(static_cast<PexParameter>(value)));
    }
    EXPECT_EQ(static_cast<size_t>(kPexParameterCount), ids.size());
}

TEST(PexParameterTest, IdIsLowerCaseLittleEndian) {
    // Already lower-case letters give the same id; a three-letter code leaves the top byte 0.
    EXPECT_EQ(0x616C7664u, pex_code_to_id("dvla"));
    EXPECT_EQ(0x616C7664u, pex_code_to_id("DvLa"));
    EXPECT_EQ(0x006C6F76u, pex_code_to_id("VOL"));
    EXPECT_EQ(0x00000061u, pex_code_to_id("A"));
}

TEST(PexParameterTest, CodesWithoutAnIdGiveZero) {
    EXPECT_EQ(0u, pex_code_to_id(""));
    EXPECT_EQ(0u, pex_code_to_id("ABCDE"));
    EXPECT_EQ(0u, pex_code_to_id(nullptr));
    EXPECT_EQ(0u, pex_parameter_id(static_cast<PexParameter>(74)));
    EXPECT_EQ(0u, pex_parameter_id(static_cast<PexParameter>(-1)));
}

}  // namespace
}  // namespace velora
