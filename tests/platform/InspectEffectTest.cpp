/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <pexparamstorage/PexParamStore.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "testutil/TempRoot.h"
#include "tools/velora-inspect/InspectEffect.h"

namespace velora::inspect {
namespace {

TEST(InspectEffectTest, CodeIsTheIdsBytesUpperCased) {
    // Not letters, a letter after a zero byte, and upper case (not how ids are packed): "?".
    const std::vector<std::pair<uint32_t, std::string>> cases = {
        {0x616C7664, "DVLA"}, {0x006C6F76, "VOL"}, {0x74716563, "CEQT"}, {0, "?"},
        {0x12345678, "?"},    {0x616C0064, "?"},   {0x414C5644, "?"}};
    for (const auto& c : cases) EXPECT_EQ(c.second, effect_code_of(c.first)) << c.first;
}

TEST(InspectEffectTest, PrintsWhatTheEffectWouldReadPerDevice) {
    testing::TempRoot root;
    std::ostringstream out, err;
    EXPECT_EQ(kExitFailed, inspect_effect({"--root", root.path()}, out, err));
    EXPECT_NE(std::string::npos, err.str().find("nothing published yet"));
    const std::string file = root.hostPath("/data/vendor/velora/pexparams.bin");
    std::filesystem::create_directories(file);
    err.str("");
    EXPECT_EQ(kExitFailed, inspect_effect({"--root", root.path()}, out, err));
    EXPECT_EQ("velora-inspect: cannot read " + file + ": it is a folder, not a parameter file\n",
              err.str());
    EXPECT_TRUE(out.str().empty());
    std::filesystem::remove(file);

    android::PexParamStore& store = android::PexParamStore::getInstance();
    const std::vector<int32_t> levels = {1, -2, 300};
    const int32_t on = 1;
    ASSERT_EQ(0, store.setParam(0x40000000, 0x616C7664, levels.data(), 3));
    ASSERT_EQ(0, store.setParam(0x40000000, 0x006C6F76, &on, 1));
    ASSERT_EQ(0, store.setParam(0x2, 0x74716563, nullptr, 0));
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(0, store.commitChange());
    ASSERT_EQ(kExitOk, inspect_effect({"--root", root.path()}, out, err)) << err.str();
    EXPECT_EQ("file=" + file +
                  "\n"
                  "generation=2\n"
                  "\n"
                  "[device 0x00000002] 1 parameter\n"
                  "  CEQT 0x74716563 n=0:\n"
                  "\n"
                  "[device 0x40000000] 2 parameters\n"
                  "  VOL  0x006c6f76 n=1: 1\n"
                  "  DVLA 0x616c7664 n=3: 1 -2 300\n"
                  "\n"
                  "summary: 2 devices, 3 parameters\n",
              out.str());
}

TEST(InspectEffectTest, RefusesBadArguments) {
    std::ostringstream out, err;
    EXPECT_EQ(kExitUsage, inspect_effect({"--root"}, out, err));
    EXPECT_EQ(kExitUsage, inspect_effect({"--verbose"}, out, err));
    std::ostringstream help;
    EXPECT_EQ(kExitOk, inspect_effect({"--help"}, help, err));
    EXPECT_NE(std::string::npos, help.str().find("Usage: velora-inspect effect [OPTIONS]"));
}

}  // namespace
}  // namespace velora::inspect
