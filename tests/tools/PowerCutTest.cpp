/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// Power cuts at seeded random moments of velorad's life: its first start (rebuild and OEM
// merge), changes acknowledged by veloractl, and its end. velorad runs with the power-cut
// library preloaded, which stops it at a chosen write, sync, rename or unlink under the
// root's data folder and leaves what the disk would hold then (see PowerCutShim.cpp for the
// three models of what survives). The disk so left must start and serve, pass SQLite's
// integrity check, hold the OEM tunings, hold every change acknowledged before the cut, and
// its effect parameter file, if there is one, must be whole.
//
// VELORA_POWERCUT_CUTS sets the cuts per model (default 30); VELORA_POWERCUT_SEED the seed.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <filesystem>
#include <random>
#include <string>

#include "testutil/DaemonRoot.h"
#include "testutil/ToolProcess.h"

namespace velora::testing {
namespace {

constexpr int kChanges = 4;

int env_int(const char* name, int fallback) {
    const char* value = getenv(name);
    return value == nullptr ? fallback : atoi(value);
}

// The value of Music's ieq-amount veloractl prints, -1 when it prints none.
int ieq_amount(DaemonRoot& daemon) {
    ToolResult got = daemon.ctl({"get", "Music", "ieq-amount"});
    const size_t at = got.out.rfind("= ");
    return got.status != 0 || at == std::string::npos ? -1 : atoi(got.out.c_str() + at + 2);
}

struct Life {
    int status = -1;       // velorad's exit status: 99 after a cut
    int acknowledged = 0;  // the last value a set acknowledged, 0 for none
    int attempted = 0;     // the last value a set was asked to store
};

// One life of velorad on daemon's root with the library preloaded: the first client, the
// selection of Music, kChanges changes of it, then SIGTERM.
Life live(DaemonRoot& daemon, const std::string& image, int model, unsigned long long cutAt,
          unsigned seed, const std::string& countFile) {
    const std::string data = daemon.root().path() + "/data";
    setenv("VELORA_POWERCUT_DIR", data.c_str(), 1);
    setenv("VELORA_POWERCUT_OUT", image.c_str(), 1);
    setenv("VELORA_POWERCUT_MODEL", std::to_string(model).c_str(), 1);
    setenv("VELORA_POWERCUT_AT", std::to_string(cutAt).c_str(), 1);
    setenv("VELORA_POWERCUT_SEED", std::to_string(seed).c_str(), 1);
    setenv("VELORA_POWERCUT_COUNT", countFile.c_str(), 1);
    setenv("LD_PRELOAD", POWERCUT_SHIM_PATH, 1);
    const bool started = daemon.start({"--save-delay", "0"});
    unsetenv("LD_PRELOAD");
    Life life;
    EXPECT_TRUE(started) << daemon.daemonLog();
    if (!started) return life;
    // Music is selected, so that its changes reach the effect's parameter file too.
    bool alive = daemon.ctl({"status"}).status == 0 &&
                 daemon.ctl({"profile", "select", "Music"}).status == 0;
    for (int value = 1; alive && value <= kChanges; ++value) {
        life.attempted = value;
        alive = daemon.ctl({"set", "Music", "ieq-amount", std::to_string(value)}).status == 0;
        if (alive) life.acknowledged = value;
    }
    life.status = daemon.stop(SIGTERM);
    return life;
}

class PowerCutTest : public ::testing::TestWithParam<int> {};

TEST_P(PowerCutTest, TheNextStartServesWithEveryAcknowledgedChange) {
    const int model = GetParam();
    const int cuts = env_int("VELORA_POWERCUT_CUTS", 30);
    const unsigned seed = static_cast<unsigned>(env_int("VELORA_POWERCUT_SEED", 20261125));
    SCOPED_TRACE("model " + std::to_string(model) + ", seed " + std::to_string(seed));
    std::mt19937 random(seed + static_cast<unsigned>(model));

    // A life without a cut tells how many moments there are to cut at.
    DaemonRoot whole;
    const std::string countFile = whole.root().path() + "/operations";
    const Life uncut = live(whole, "", model, 0, seed, countFile);
    ASSERT_EQ(0, uncut.status) << whole.daemonLog();
    ASSERT_EQ(kChanges, uncut.acknowledged);
    const unsigned long long moments = std::stoull(read_file(countFile));
    ASSERT_GT(moments, 10u);
    const std::string oem = [&whole] {
        auto row = first_row(whole.databasePath(),
                             "SELECT (SELECT COUNT(*) FROM tunings WHERE custom_name='oem') || '/' "
                             "|| (SELECT COUNT(*) FROM device_tunings WHERE custom_name='oem')");
        return row.empty() ? std::string() : row[0].second;
    }();
    ASSERT_NE("0/0", oem);

    int cutsMade = 0;
    for (int i = 0; i < cuts; ++i) {
        const unsigned long long at = 1 + random() % moments;
        SCOPED_TRACE("cut at operation " + std::to_string(at) + " of " + std::to_string(moments));
        DaemonRoot before;
        DaemonRoot after;
        const std::string image = after.root().path() + "/data";
        std::filesystem::remove_all(image);
        const Life life = live(before, image, model, at, seed + static_cast<unsigned>(i),
                               before.root().path() + "/operations");
        if (life.status != 99) continue;  // this life did fewer operations
        ++cutsMade;

        // The effect's file, if the cut left one, is one whole commit.
        const std::string effectFile = image + "/vendor/velora/pexparams.bin";
        if (std::filesystem::exists(effectFile)) {
            ToolResult effect = after.inspect({"effect", "--root", after.root().path()});
            EXPECT_EQ(0, effect.status) << effect.err;
        }
        ASSERT_TRUE(after.start({"--save-delay", "0"})) << after.daemonLog();
        EXPECT_EQ(0, after.ctl({"status"}).status) << after.daemonLog();
        const int stored = ieq_amount(after);
        // What was acknowledged is there, or a later value whose save was under way.
        if (life.acknowledged > 0) {
            EXPECT_GE(stored, life.acknowledged) << after.daemonLog();
            EXPECT_LE(stored, life.attempted);
        }
        EXPECT_EQ(0, after.stop(SIGTERM)) << after.daemonLog();
        EXPECT_EQ("ok", integrity_check(after.databasePath()));
        auto row = first_row(after.databasePath(),
                             "SELECT (SELECT COUNT(*) FROM tunings WHERE custom_name='oem') || "
                             "'/' || (SELECT COUNT(*) FROM device_tunings WHERE "
                             "custom_name='oem')");
        EXPECT_EQ(oem, row.empty() ? std::string() : row[0].second);
        if (HasFailure()) break;
    }
    EXPECT_GE(cutsMade, cuts * 3 / 4);
    RecordProperty("cuts", cutsMade);
}

std::string model_name(const ::testing::TestParamInfo<int>& info) {
    static const char* const kNames[] = {"", "SyncedOnly", "SomeUnsynced", "FolderUndone"};
    return kNames[info.param];
}

INSTANTIATE_TEST_SUITE_P(Models, PowerCutTest, ::testing::Values(1, 2, 3), model_name);

}  // namespace
}  // namespace velora::testing
