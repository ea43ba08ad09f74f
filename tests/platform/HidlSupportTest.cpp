/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <string>
#include <vector>

namespace android {
namespace hardware {
namespace {

template <typename T>
std::vector<T> vec(const hidl_vec<T>& v) {
    return v;
}

// The byte batches cross the interface as hidl_vec: copies own their bytes, an external
// buffer (how the daemon hands over request bytes) is read in place and never written past.
TEST(HidlVecTest, CopiesOwnTheirBytesAndExternalBuffersAreSharedUntilResized) {
    const std::vector<uint8_t> bytes = {0, 0, 0, 3, 255};
    hidl_vec<uint8_t> fromBytes(bytes);
    EXPECT_NE(bytes.data(), fromBytes.data());
    EXPECT_EQ(bytes, vec(fromBytes));
    EXPECT_EQ((std::vector<int32_t>{0, 0, 0, 3, 255}),
              vec(hidl_vec<int32_t>(bytes.begin(), bytes.end())));
    EXPECT_TRUE(vec(hidl_vec<uint8_t>(std::vector<uint8_t>{})).empty());
    hidl_vec<int32_t> ints(2);
    ints[1] = 8;
    ints.resize(4);
    EXPECT_EQ((std::vector<int32_t>{0, 8, 0, 0}), vec(ints));

    uint8_t raw[4] = {1, 2, 3, 4};
    hidl_vec<uint8_t> external;
    external.setToExternal(raw, sizeof(raw));
    raw[0] = 10;
    hidl_vec<uint8_t> copy = external;
    copy[1] = 20;
    EXPECT_EQ((std::vector<uint8_t>{10, 2, 3, 4}), vec(external));
    external.resize(6);
    EXPECT_NE(raw, external.data());
    EXPECT_EQ((std::vector<uint8_t>{10, 2, 3, 4, 0, 0}), vec(external));
}

TEST(HidlReturnTest, FailuresAreReportedWithTheirCause) {
    Return<int32_t> value(42);
    EXPECT_TRUE(value.isOk());
    EXPECT_EQ(42, static_cast<int32_t>(value));

    Return<void> dead(Status::fromStatusT(DEAD_OBJECT));
    EXPECT_FALSE(dead.isOk());
    EXPECT_TRUE(dead.isDeadObject());
    EXPECT_NE(std::string::npos, dead.description().find("DEAD_OBJECT"));

    Return<bool> refused(Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "stopping"));
    EXPECT_FALSE(refused.isDeadObject());
    EXPECT_NE(std::string::npos, refused.description().find("stopping"));
    EXPECT_TRUE(refused.withDefault(true));
    EXPECT_FALSE(Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED).isOk());

    // A moved-from failure no longer answers for it: only `moved` is checked, nothing aborts.
    Return<void> failed(Status::fromStatusT(DEAD_OBJECT));
    Return<void> moved(std::move(failed));
    EXPECT_FALSE(moved.isOk());
}

TEST(HidlReturnDeathTest, UncheckedFailureAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH({ Return<void> ignored(Status::fromStatusT(DEAD_OBJECT)); },
                 "Failed HIDL return status not checked");
    EXPECT_DEATH(
        {
            Return<int32_t> failed(Status::fromStatusT(DEAD_OBJECT));
            int32_t value = failed;
            (void)value;
        },
        "Attempted to retrieve value from failed HIDL call");
}

}  // namespace
}  // namespace hardware
}  // namespace android
