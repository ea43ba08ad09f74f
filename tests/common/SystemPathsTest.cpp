/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include "common/SystemPaths.h"

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

}  // namespace
}  // namespace velora
