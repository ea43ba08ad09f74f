/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// velorad killed with SIGKILL at seeded random moments: during its first start, during a
// rebuild with an OEM file, during saves and during storms of writes. Every next start must
// serve, the database must be whole and hold the OEM tunings, a killed start must end in the
// database an uninterrupted start gives, and every change acknowledged more than the save
// delay (plus the time one save takes) before the kill must be on disk.

#include <grpcpp/grpcpp.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "common/SystemPaths.h"
#include "testutil/DaemonRoot.h"
#include "velora.grpc.pb.h"

namespace velora::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr unsigned kSeed = 20261123;
constexpr int kStartKills = 12;
constexpr int kRebuildKills = 12;
constexpr int kStormKills = 26;
constexpr int kSaveDelayMs = 100;
// What one save may take on a loaded machine, beyond the delay before it starts.
constexpr auto kSaveTime = 400ms;
constexpr int kIeqAmount = 107;

// The database as velora-inspect prints it, without its path and the tuning file's signature
// (a rebuild after a touch has a new one).
std::string settings(DaemonRoot& daemon) {
    ToolResult dump = daemon.inspect({"db", daemon.databasePath()});
    EXPECT_EQ(0, dump.status) << dump.err;
    std::string kept;
    size_t at = 0;
    while (at < dump.out.size()) {
        size_t end = dump.out.find('\n', at);
        if (end == std::string::npos) end = dump.out.size();
        const std::string line = dump.out.substr(at, end - at);
        // The file's own path differs from root to root.
        if (line.find("signature = ") == std::string::npos &&
            line.rfind("Settings database ", 0) != 0) {
            kept += line + "\n";
        }
        at = end + 1;
    }
    return kept;
}

// What the effect reads, without the count of commits (every start commits again).
std::string effect_values(DaemonRoot& daemon) {
    ToolResult result = daemon.inspect({"effect", "--root", daemon.root().path()});
    EXPECT_EQ(0, result.status) << result.err;
    std::string kept;
    for (size_t at = 0, end; at < result.out.size(); at = end + 1) {
        end = std::min(result.out.find('\n', at), result.out.size());
        if (result.out.compare(at, 11, "generation=") != 0)
            kept += result.out.substr(at, end - at + 1);
    }
    return kept;
}

std::string oem_rows(DaemonRoot& daemon) {
    auto row = first_row(daemon.databasePath(),
                         "SELECT (SELECT COUNT(*) FROM tunings WHERE custom_name='oem') || '/' || "
                         "(SELECT COUNT(*) FROM device_tunings WHERE custom_name='oem')");
    return row.empty() ? "" : row[0].second;
}

// A start that must serve after the kill; the settings it leaves behind are returned.
std::string restart_and_check(DaemonRoot& daemon, const std::string& oem) {
    EXPECT_TRUE(daemon.start()) << daemon.daemonLog();
    ToolResult status = daemon.ctl({"status"});
    EXPECT_EQ(0, status.status) << status.err << daemon.daemonLog();
    EXPECT_EQ(0, daemon.stop(SIGTERM));
    EXPECT_EQ("ok", integrity_check(daemon.databasePath()));
    EXPECT_EQ(oem, oem_rows(daemon));
    return settings(daemon);
}

// Runs `veloractl status` (the first client, which starts the settings system) and kills the
// daemon after the given time.
void kill_during_status(DaemonRoot& daemon, Clock::duration after) {
    ASSERT_TRUE(daemon.start()) << daemon.daemonLog();
    ToolProcess client;
    ASSERT_TRUE(client.start(
        {VELORACTL_PATH, "--socket", daemon.socket(), "--root", daemon.root().path(), "status"},
        daemon.root().path() + "/ctl.err"));
    std::this_thread::sleep_for(after);
    daemon.stop(SIGKILL);
}

Clock::duration timed_status(DaemonRoot& daemon) {
    EXPECT_TRUE(daemon.start());
    const auto start = Clock::now();
    EXPECT_EQ(0, daemon.ctl({"status"}).status);
    const auto took = Clock::now() - start;
    EXPECT_EQ(0, daemon.stop(SIGTERM));
    return took;
}

TEST(CrashTest, KillsAtAnyMomentLoseNothingAcknowledgedAndLeaveAWholeDatabase) {
    std::mt19937 random(kSeed);
    const auto pick = [&random](Clock::duration upTo) {
        std::uniform_int_distribution<long> us(
            0, std::chrono::duration_cast<std::chrono::microseconds>(upTo).count());
        return std::chrono::microseconds(us(random));
    };
    int kills = 0;

    // What an uninterrupted first start gives, and how long it takes.
    DaemonRoot reference;
    const Clock::duration firstStart = timed_status(reference);
    const std::string expected = settings(reference);
    const std::string oem = oem_rows(reference);
    ASSERT_NE("0/0", oem);
    ASSERT_EQ("ok", integrity_check(reference.databasePath()));

    // Lives without a kill change nothing. A change undone by a reset leaves the database as
    // the first start wrote it, text for text; in each later life the first change (a switch of
    // profile and back) carries every loaded value to the effect, the same every time.
    const std::vector<std::vector<std::string>> reset = {
        {"set", "1", "dialog-enhancer-amount", "11"}, {"profile", "reset", "1"}};
    const std::vector<std::vector<std::string>> switchBack = {{"profile", "select", "1"},
                                                              {"profile", "select", "0"}};
    std::string effect;
    for (int life = 0; life < 4; ++life) {
        SCOPED_TRACE("life " + std::to_string(life));
        ASSERT_TRUE(reference.start()) << reference.daemonLog();
        for (const auto& change : life == 0 ? reset : switchBack) {
            ASSERT_EQ(0, reference.ctl(change).status) << change[0];
        }
        ASSERT_EQ(0, reference.stop(SIGTERM));
        EXPECT_EQ(expected, settings(reference));
        if (life == 1) {
            effect = effect_values(reference);
        } else if (life > 1) {
            EXPECT_EQ(effect, effect_values(reference));
        }
    }
    EXPECT_NE(std::string::npos, effect.find("VBON 0x6e6f6276 n=2: ")) << effect;

    for (int i = 0; i < kStartKills; ++i, ++kills) {
        SCOPED_TRACE("first start, kill " + std::to_string(i));
        DaemonRoot daemon;
        kill_during_status(daemon, pick(firstStart * 5 / 4));
        EXPECT_EQ(expected, restart_and_check(daemon, oem));
    }

    // Rebuilds after the tuning file was touched, with the OEM file merged each time.
    DaemonRoot rebuilt;
    timed_status(rebuilt);
    for (int i = 0; i < kRebuildKills; ++i, ++kills) {
        SCOPED_TRACE("rebuild, kill " + std::to_string(i));
        rebuilt.root().setMtime(SystemPaths::kDefaultTuningFile, 1700000000 + i);
        // Killed after the rebuild committed, the next start finds the signature matching
        // and rebuilds nothing: the OEM rows must have committed with it.
        kill_during_status(rebuilt, pick(firstStart * 5 / 4));
        EXPECT_EQ(expected, restart_and_check(rebuilt, oem));
    }

    // Storms of writes from a client that stays registered, each ended by a kill during the
    // storm or in the quiet after it, where the save runs.
    DaemonRoot stormed;
    const std::vector<std::string> delay = {"--save-delay", std::to_string(kSaveDelayMs)};
    int counter = 0;
    for (int i = 0; i < kStormKills; ++i, ++kills) {
        SCOPED_TRACE("storm, kill " + std::to_string(i));
        ASSERT_TRUE(stormed.start(delay)) << stormed.daemonLog();
        auto stub = rpc::VeloraManager::NewStub(
            grpc::CreateChannel("unix:" + stormed.socket(), grpc::InsecureChannelCredentials()));
        grpc::ClientContext registration;
        rpc::ClientId id;
        id.set_type(0);
        id.set_uid(7000);
        auto reader = stub->RegisterClient(&registration, id);
        rpc::ParamUpdate update;
        ASSERT_TRUE(reader->Read(&update));

        // Per profile, every value acknowledged, with the time of its acknowledgement.
        std::map<int, std::vector<std::pair<Clock::time_point, int>>> acked;
        const auto storm = pick(600ms);
        const auto quiet = i % 2 == 0 ? Clock::duration::zero() : pick(400ms);
        const auto start = Clock::now();
        while (Clock::now() - start < storm) {
            const int profile = counter % 4;
            const int value = counter / 4 % 16 + 1;
            ++counter;
            const int32_t words[] = {0x01000000, 0, profile, kIeqAmount, value};
            rpc::PackedBuffer request;
            request.set_data(std::string(reinterpret_cast<const char*>(words), sizeof(words)));
            rpc::Int32Value result;
            grpc::ClientContext call;
            if (!stub->SetPexParam(&call, request, &result).ok() || result.value() != 0) break;
            acked[profile].emplace_back(Clock::now(), value);
        }
        std::this_thread::sleep_for(quiet);
        const auto killedAt = Clock::now();
        stormed.stop(SIGKILL);
        registration.TryCancel();
        reader->Finish();

        restart_and_check(stormed, oem);
        const auto settled = killedAt - std::chrono::milliseconds(kSaveDelayMs) - kSaveTime;
        for (const auto& [profile, values] : acked) {
            auto stored = first_row(stormed.databasePath(),
                                    "SELECT ieq_amount FROM profiles WHERE custom_name='custom' "
                                    "AND profile_id='" +
                                        std::to_string(profile) + "'");
            ASSERT_FALSE(stored.empty());
            // The last value acknowledged before the settled moment, or one acknowledged after.
            size_t oldest = 0;
            for (size_t k = 0; k < values.size(); ++k) {
                if (values[k].first <= settled) oldest = k;
            }
            if (values.front().first > settled) continue;  // nothing had to be on disk yet
            bool found = false;
            for (size_t k = oldest; k < values.size(); ++k) {
                found = found || stored[0].second == "'" + std::to_string(values[k].second) + ",'";
            }
            EXPECT_TRUE(found) << "profile " << profile << " stored " << stored[0].second
                               << ", last settled value " << values[oldest].second;
        }
    }
    EXPECT_GE(kills, 50);
    RecordProperty("kills", kills);
}

}  // namespace
}  // namespace velora::testing
