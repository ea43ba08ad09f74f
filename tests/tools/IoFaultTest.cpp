/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// I/O faults injected into velorad with libfiu's POSIX preload library: writes, syncs, opens
// and renames fail with EIO or ENOSPC, in windows (during the first start, a save, a commit of
// the effect's parameters) and at random. After a window the service starts or saves without
// a restart, and nothing acknowledged is lost.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "testutil/DaemonRoot.h"
#include "testutil/ToolProcess.h"

namespace velora::testing {
namespace {

constexpr const char* kPreload =
    "/usr/lib/fiu/fiu_run_preload.so /usr/lib/fiu/fiu_posix_preload.so";

class FaultyDaemon {
  public:
    FaultyDaemon() : mFifo(mDaemon.root().path() + "/fiu") {}

    bool start() {
        setenv("FIU_CTRL_FIFO", mFifo.c_str(), 1);
        setenv("FIU_ENABLE", "", 1);
        setenv("LD_PRELOAD", kPreload, 1);
        const bool started = mDaemon.start({"--save-delay", "200"});
        unsetenv("LD_PRELOAD");
        return started;
    }
    // Runs a libfiu control command in the daemon ("enable name=...,failinfo=28").
    void control(const std::string& command) {
        ToolResult result = run_tool(
            {"/usr/bin/fiu-ctrl", "-f", mFifo, "-c", command, std::to_string(mDaemon.pid())},
            mDaemon.root().path());
        ASSERT_EQ(0, result.status) << command << ": " << result.out << result.err;
    }
    DaemonRoot& daemon() { return mDaemon; }

  private:
    DaemonRoot mDaemon;
    std::string mFifo;
};

int ieq_amount(DaemonRoot& daemon) {
    ToolResult got = daemon.ctl({"get", "Music", "ieq-amount"});
    const size_t at = got.out.rfind("= ");
    return got.status != 0 || at == std::string::npos ? -1 : atoi(got.out.c_str() + at + 2);
}

struct Window {
    const char* name;
    std::vector<std::string> enable;  // failure points, each "name,failinfo=errno"
    bool firstStart;                  // the window covers the first client's start
    bool setFails;                    // a change made inside the window is not acknowledged
};

TEST(IoFaultTest, TheServiceStartsAndSavesAfterEveryWindowWithoutARestart) {
    const Window kWindows[] = {
        {"ENOSPC on writes during the first start", {"posix/io/rw/pwrite,failinfo=28"}, true, true},
        {"EIO on syncs during the first start", {"posix/io/sync/fdatasync,failinfo=5"}, true, true},
        {"EIO on opens during saves", {"posix/io/oc/open,failinfo=5"}, false, true},
        {"ENOSPC on writes during saves", {"posix/io/rw/pwrite,failinfo=28"}, false, true},
        {"EIO on syncs during saves", {"posix/io/sync/fdatasync,failinfo=5"}, false, true},
        {"EIO on renames during the effect's commits",
         {"posix/io/dir/rename,failinfo=5"},
         false,
         false},
    };
    int value = 0;
    for (const Window& window : kWindows) {
        SCOPED_TRACE(window.name);
        FaultyDaemon faulty;
        DaemonRoot& daemon = faulty.daemon();
        ASSERT_TRUE(faulty.start()) << daemon.daemonLog();
        if (!window.firstStart) {
            ASSERT_EQ(0, daemon.ctl({"status"}).status) << daemon.daemonLog();
        }
        for (const std::string& point : window.enable) faulty.control("enable name=" + point);
        if (window.firstStart) {
            EXPECT_NE(0, daemon.ctl({"status"}).status) << daemon.daemonLog();
        } else {
            ToolResult set = daemon.ctl({"set", "Music", "ieq-amount", std::to_string(++value)});
            EXPECT_EQ(window.setFails, set.status != 0) << set.err << daemon.daemonLog();
        }
        for (const std::string& point : window.enable) {
            faulty.control("disable name=" + point.substr(0, point.find(',')));
        }
        // No restart: the next client starts the service or saves.
        ToolResult set = daemon.ctl({"set", "Music", "ieq-amount", std::to_string(++value)});
        EXPECT_EQ(0, set.status) << set.err << daemon.daemonLog();
        EXPECT_EQ(0, daemon.stop(SIGTERM)) << daemon.daemonLog();
        ASSERT_TRUE(daemon.start()) << daemon.daemonLog();
        EXPECT_EQ(value, ieq_amount(daemon)) << daemon.daemonLog();
        EXPECT_EQ(0, daemon.stop(SIGTERM));
        EXPECT_EQ("ok", integrity_check(daemon.databasePath()));
    }
}

// Writes and syncs fail at random while changes are made. Killed right after, without a last
// save, the service restarts holding the last change acknowledged (or one after it whose
// save was under way), and saves again.
TEST(IoFaultTest, RandomFaultsLoseNothingAcknowledged) {
    const char* seedText = getenv("VELORA_FAULT_SEED");
    const unsigned seed = seedText != nullptr ? static_cast<unsigned>(atoi(seedText))
                                              : static_cast<unsigned>(std::random_device()());
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    FaultyDaemon faulty;
    DaemonRoot& daemon = faulty.daemon();
    ASSERT_TRUE(faulty.start()) << daemon.daemonLog();
    ASSERT_EQ(0, daemon.ctl({"status"}).status);
    const std::string probability = "0." + std::to_string(1 + random() % 5);
    const std::vector<std::string> points = {"posix/io/rw/pwrite,failinfo=28",
                                             "posix/io/sync/fdatasync,failinfo=5",
                                             "posix/io/dir/rename,failinfo=5"};
    for (const std::string& point : points) {
        faulty.control("enable_random name=" + point + ",probability=" + probability);
    }
    int acknowledged = 0;
    constexpr int kChanges = 12;
    for (int value = 1; value <= kChanges; ++value) {
        if (daemon.ctl({"set", "Music", "ieq-amount", std::to_string(value)}).status == 0) {
            acknowledged = value;
        }
    }
    daemon.stop(SIGKILL);
    ASSERT_TRUE(daemon.start()) << daemon.daemonLog();
    const int stored = ieq_amount(daemon);
    if (acknowledged > 0) {
        EXPECT_GE(stored, acknowledged);
    }
    EXPECT_LE(stored, kChanges);
    EXPECT_EQ(0, daemon.ctl({"set", "Music", "ieq-amount", "13"}).status);
    EXPECT_EQ(0, daemon.stop(SIGTERM));
    EXPECT_EQ("ok", integrity_check(daemon.databasePath()));
}

}  // namespace
}  // namespace velora::testing
