/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
// What the settings are after many lives of velorad: restarts leave the database and what the
// effect receives as they were, a change keeps its stored text, and a reset profile stays
// unmodified.

#include <gtest/gtest.h>
#include <signal.h>

#include <sstream>
#include <string>
#include <vector>

#include "testutil/DaemonRoot.h"

namespace velora::testing {
namespace {

// What the effect reads, without the count of commits (every start commits again).
std::string effect_values(DaemonRoot& daemon) {
    ToolResult result = daemon.inspect({"effect", "--root", daemon.root().path()});
    EXPECT_EQ(0, result.status) << result.err;
    std::istringstream lines(result.out);
    std::string line;
    std::string kept;
    while (std::getline(lines, line)) {
        if (line.rfind("generation=", 0) != 0) kept += line + "\n";
    }
    return kept;
}

// Whether `veloractl profiles` marks the profile of that name as modified.
bool modified(DaemonRoot& daemon, const std::string& name) {
    ToolResult result = daemon.ctl({"profiles"});
    EXPECT_EQ(0, result.status) << result.err;
    std::istringstream lines(result.out);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.find(" " + name + " ") != std::string::npos) {
            return line.find("(modified)") != std::string::npos;
        }
    }
    ADD_FAILURE() << "no profile " << name << " in\n" << result.out;
    return false;
}

// The columns of a record's custom row whose text differs from its default row's.
std::vector<std::string> custom_differs_from_default(const std::string& db,
                                                     const std::string& table,
                                                     const std::string& keys) {
    auto defaults =
        first_row(db, "SELECT * FROM " + table + " WHERE custom_name='default' AND " + keys);
    auto custom =
        first_row(db, "SELECT * FROM " + table + " WHERE custom_name='custom' AND " + keys);
    std::vector<std::string> differing;
    if (defaults.empty() || defaults.size() != custom.size()) return {"<rows missing>"};
    for (size_t i = 0; i < defaults.size(); ++i) {
        if (defaults[i].first != "_id" && defaults[i].first != "custom_name" &&
            defaults[i].second != custom[i].second) {
            differing.push_back(defaults[i].first);
        }
    }
    return differing;
}

TEST(DurabilityTest, RestartsChangeNothingAndChangesAndResetsKeepTheirStoredText) {
    DaemonRoot daemon;
    const std::string db = daemon.databasePath();
    const std::string kChanged =
        "SELECT ieq_amount FROM profiles WHERE custom_name='custom' AND profile_id='2'";

    // The first life: a change the next lives keep.
    ASSERT_TRUE(daemon.start()) << daemon.daemonLog();
    ASSERT_EQ(0, daemon.ctl({"set", "2", "ieq-amount", "7"}).status);
    ASSERT_EQ(0, daemon.stop(SIGTERM));
    ASSERT_EQ("'7,'", first_row(db, kChanged).at(0).second);

    // Ten lives that switch the profile away and back: the first batch of each carries every
    // loaded value to the effect, and every unregistration saves.
    std::string firstDb, firstRaw, firstEffect;
    for (int life = 1; life <= 10; ++life) {
        SCOPED_TRACE("life " + std::to_string(life));
        ASSERT_TRUE(daemon.start()) << daemon.daemonLog();
        ASSERT_EQ(0, daemon.ctl({"profile", "select", "1"}).status);
        ASSERT_EQ(0, daemon.ctl({"profile", "select", "0"}).status);
        if (life == 10) {
            EXPECT_TRUE(modified(daemon, "Music"));
            EXPECT_FALSE(modified(daemon, "Dynamic"));
        }
        ASSERT_EQ(0, daemon.stop(SIGTERM)) << daemon.daemonLog();
        ToolResult dump = daemon.inspect({"db", db});
        ASSERT_EQ(0, dump.status) << dump.err;
        const std::string effect = effect_values(daemon);
        if (life == 1) {
            firstDb = dump.out;
            firstRaw = raw_dump(db);
            firstEffect = effect;
            continue;
        }
        EXPECT_EQ(firstDb, dump.out);
        EXPECT_EQ(firstRaw, raw_dump(db));
        EXPECT_EQ(firstEffect, effect);
    }
    EXPECT_EQ("'7,'", first_row(db, kChanged).at(0).second);
    EXPECT_NE(std::string::npos, firstEffect.find("VBON 0x6e6f6276 n=2: ")) << firstEffect;

    // A change, a reset, a restart: the profile is its defaults again, text for text.
    ASSERT_TRUE(daemon.start());
    ASSERT_EQ(0, daemon.ctl({"set", "1", "dialog-enhancer-amount", "11"}).status);
    ASSERT_TRUE(modified(daemon, "Movie"));
    ASSERT_EQ(0, daemon.ctl({"profile", "reset", "1"}).status);
    ASSERT_EQ(0, daemon.stop(SIGTERM));
    ASSERT_TRUE(daemon.start());
    EXPECT_FALSE(modified(daemon, "Movie"));
    ASSERT_EQ(0, daemon.stop(SIGTERM));
    EXPECT_EQ(std::vector<std::string>{},
              custom_differs_from_default(db, "profiles", "profile_id='1'"));
    for (const char* endpoint : {"speaker", "headphone", "other"}) {
        EXPECT_EQ(std::vector<std::string>{},
                  custom_differs_from_default(
                      db, "profile_endpoints",
                      std::string("profile_id='1' AND endpoint='") + endpoint + "'"))
            << endpoint;
    }
}

}  // namespace
}  // namespace velora::testing
