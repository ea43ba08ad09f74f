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

TEST(HidlVecTest, ConvertsFromAndToStdVector) {
    const std::vector<uint8_t> bytes = {0, 0, 0, 3, 255};
    hidl_vec<uint8_t> vec(bytes);
    ASSERT_EQ(bytes.size(), vec.size());
    EXPECT_NE(bytes.data(), vec.data());
    EXPECT_EQ(3, vec[3]);
    EXPECT_EQ(255, vec[4]);
    const std::vector<uint8_t> back = vec;
    EXPECT_EQ(bytes, back);

    hidl_vec<int32_t> ints = {1, -2, 3};
    EXPECT_EQ((std::vector<int32_t>{1, -2, 3}), static_cast<std::vector<int32_t>>(ints));
    hidl_vec<int32_t> fromRange(back.begin(), back.end());
    EXPECT_EQ((std::vector<int32_t>{0, 0, 0, 3, 255}),
              static_cast<std::vector<int32_t>>(fromRange));

    hidl_vec<uint8_t> empty;
    EXPECT_EQ(0u, empty.size());
    EXPECT_TRUE(static_cast<std::vector<uint8_t>>(empty).empty());
    empty = std::vector<uint8_t>{};
    EXPECT_EQ(0u, empty.size());
}

TEST(HidlVecTest, ResizeKeepsThePrefixAndZeroesTheRest) {
    hidl_vec<int32_t> vec = {7, 8, 9};
    vec.resize(5);
    EXPECT_EQ((std::vector<int32_t>{7, 8, 9, 0, 0}), static_cast<std::vector<int32_t>>(vec));
    vec.resize(2);
    EXPECT_EQ((std::vector<int32_t>{7, 8}), static_cast<std::vector<int32_t>>(vec));
    vec.resize(0);
    EXPECT_EQ(0u, vec.size());
    hidl_vec<uint8_t> sized(4);
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0}), static_cast<std::vector<uint8_t>>(sized));
}

TEST(HidlVecTest, ExternalBufferIsSharedUntilCopied) {
    uint8_t bytes[4] = {1, 2, 3, 4};
    hidl_vec<uint8_t> external;
    external.setToExternal(bytes, sizeof(bytes));
    EXPECT_EQ(bytes, external.data());
    EXPECT_EQ(4u, external.size());
    bytes[0] = 10;
    EXPECT_EQ(10, external[0]);

    hidl_vec<uint8_t> copy = external;  // a copy owns its bytes
    EXPECT_NE(bytes, copy.data());
    copy[1] = 20;
    EXPECT_EQ(2, bytes[1]);
    EXPECT_TRUE(copy != external);

    // Resizing an external vector copies it out rather than writing past the caller's bytes.
    external.resize(6);
    EXPECT_NE(bytes, external.data());
    EXPECT_EQ((std::vector<uint8_t>{10, 2, 3, 4, 0, 0}),
              static_cast<std::vector<uint8_t>>(external));
    EXPECT_EQ(nullptr, [&] {
        hidl_vec<uint8_t> borrowed;
        borrowed.setToExternal(bytes, 2);
        return borrowed.releaseData();  // not ours to give away
    }());

    // With shouldOwn the vector frees the buffer itself (the sanitizer checks it).
    hidl_vec<uint8_t> owning;
    owning.setToExternal(new uint8_t[3]{5, 6, 7}, 3, /*shouldOwn=*/true);
    EXPECT_EQ(7, owning[2]);
}

TEST(HidlVecTest, MoveLeavesTheSourceEmpty) {
    hidl_vec<int32_t> source = {1, 2, 3};
    const int32_t* data = source.data();
    hidl_vec<int32_t> target(std::move(source));
    EXPECT_EQ(data, target.data());
    EXPECT_EQ(0u, source.size());  // NOLINT(bugprone-use-after-move): checked on purpose
    hidl_vec<int32_t> other;
    other = std::move(target);
    EXPECT_EQ(3u, other.size());
    int32_t* released = other.releaseData();
    EXPECT_EQ(data, released);
    EXPECT_EQ(0u, other.size());
    delete[] released;
}

TEST(HidlReturnTest, SuccessCarriesTheValue) {
    Return<int32_t> value(42);
    EXPECT_TRUE(value.isOk());
    EXPECT_EQ(42, static_cast<int32_t>(value));
    EXPECT_EQ("No error", value.description());
    Return<void> done = Void();
    EXPECT_TRUE(done.isOk());
    EXPECT_FALSE(done.isDeadObject());
}

TEST(HidlReturnTest, TransportFailuresAreReportedWithTheirCause) {
    Return<void> dead(Status::fromStatusT(DEAD_OBJECT));
    EXPECT_FALSE(dead.isOk());
    EXPECT_TRUE(dead.isDeadObject());
    EXPECT_NE(std::string::npos, dead.description().find("EX_TRANSACTION_FAILED"));
    EXPECT_NE(std::string::npos, dead.description().find("DEAD_OBJECT"));
    EXPECT_EQ(DEAD_OBJECT, dead.getStatus().transactionError());

    Return<bool> refused(Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "bad cookie"));
    EXPECT_FALSE(refused.isOk());
    EXPECT_FALSE(refused.isDeadObject());
    EXPECT_NE(std::string::npos, refused.description().find("EX_ILLEGAL_ARGUMENT"));
    EXPECT_NE(std::string::npos, refused.description().find("bad cookie"));
    EXPECT_TRUE(refused.withDefault(true));

    // A transport failure built from its exception code alone still reads as a failure.
    const Status bare = Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
    EXPECT_FALSE(bare.isOk());
    EXPECT_NE(OK, bare.transactionError());
    EXPECT_TRUE(Status::fromStatusT(OK).isOk());
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

TEST(HidlReturnTest, CheckedOrMovedFailureDoesNotAbort) {
    Return<void> failed(Status::fromStatusT(DEAD_OBJECT));
    Return<void> moved(std::move(failed));  // the moved-from one no longer answers for it
    EXPECT_FALSE(moved.isOk());
}

}  // namespace
}  // namespace hardware
}  // namespace android
