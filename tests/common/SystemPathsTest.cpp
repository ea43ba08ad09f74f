/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include "common/SystemPaths.h"
#include "testutil/TempRoot.h"

namespace velora {
namespace {

TEST(SystemPathsTest, DeviceRootLeavesPathsAsTheyAre) {
    SystemPaths::setRoot("/");
    EXPECT_EQ("/", SystemPaths::getRoot());
    EXPECT_EQ("/odm/etc/velora/multimedia_velora_kiv_default.xml",
              SystemPaths::resolve(SystemPaths::kDefaultTuningFile));
}

TEST(SystemPathsTest, HostRootPrefixesEveryPathOnce) {
    SystemPaths::setRoot("/tmp/x//");
    EXPECT_EQ("/tmp/x", SystemPaths::getRoot());
    EXPECT_EQ("/tmp/x/data/vendor/velora/kiv-extra.xml",
              SystemPaths::resolve(SystemPaths::kOemTuningFile));
    SystemPaths::setRoot("");
    EXPECT_EQ("/data/vendor/velora/", SystemPaths::resolve(SystemPaths::kDatabaseDir));
}

TEST(SystemPathsTest, TempRootCreatesTheDeviceFoldersAndRestoresTheRoot) {
    std::string path;
    {
        testing::TempRoot root;
        path = root.path();
        EXPECT_EQ(path, SystemPaths::getRoot());
        EXPECT_EQ(path + "/odm/etc/velora/x.txt", root.hostPath("/odm/etc/velora/x.txt"));
    }
    EXPECT_EQ("/", SystemPaths::getRoot());
}

}  // namespace
}  // namespace velora
