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

TEST(HidlVecTest, ConvertsFromAndToStdVectorAndResizesWithZeroes) {
    const std::vector<uint8_t> bytes = {0, 0, 0, 3, 255};
    hidl_vec<uint8_t> fromBytes(bytes);
    EXPECT_NE(bytes.data(), fromBytes.data());
    EXPECT_EQ(bytes, vec(fromBytes));
    EXPECT_EQ((std::vector<int32_t>{0, 0, 0, 3, 255}),
              vec(hidl_vec<int32_t>(bytes.begin(), bytes.end())));
    hidl_vec<uint8_t> empty;
    EXPECT_TRUE(vec(empty).empty());
    empty = std::vector<uint8_t>{};
    EXPECT_EQ(0u, empty.size());
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0, 0}), vec(hidl_vec<uint8_t>(4)));

    hidl_vec<int32_t> ints = {7, 8, 9};
    ints.resize(5);
    EXPECT_EQ((std::vector<int32_t>{7, 8, 9, 0, 0}), vec(ints));
    ints.resize(2);
    EXPECT_EQ((std::vector<int32_t>{7, 8}), vec(ints));
}

TEST(HidlVecTest, ExternalBufferIsSharedUntilCopiedAndMovesHandOver) {
    uint8_t bytes[4] = {1, 2, 3, 4};
    hidl_vec<uint8_t> external;
    external.setToExternal(bytes, sizeof(bytes));
    bytes[0] = 10;
    EXPECT_EQ(10, external[0]);
    hidl_vec<uint8_t> copy = external;  // a copy owns its bytes
    copy[1] = 20;
    EXPECT_EQ(2, bytes[1]);
    // Resizing an external vector copies it out rather than writing past the caller's bytes.
    external.resize(6);
    EXPECT_NE(bytes, external.data());
    EXPECT_EQ((std::vector<uint8_t>{10, 2, 3, 4, 0, 0}), vec(external));
    hidl_vec<uint8_t> borrowed;
    borrowed.setToExternal(bytes, 2);
    EXPECT_EQ(nullptr, borrowed.releaseData());  // not ours to give away
    hidl_vec<uint8_t> owning;  // with shouldOwn it frees the buffer (the sanitizer checks it)
    owning.setToExternal(new uint8_t[3]{5, 6, 7}, 3, /*shouldOwn=*/true);

    hidl_vec<int32_t> source = {1, 2, 3};
    const int32_t* data = source.data();
    hidl_vec<int32_t> target(std::move(source));
    EXPECT_EQ(0u, source.size());  // NOLINT(bugprone-use-after-move): checked on purpose
    int32_t* released = target.releaseData();
    EXPECT_EQ(data, released);
    EXPECT_EQ(0u, target.size());
    delete[] released;
}

TEST(HidlReturnTest, FailuresAreReportedWithTheirCause) {
    Return<int32_t> value(42);
    EXPECT_TRUE(value.isOk());
    EXPECT_EQ(42, static_cast<int32_t>(value));
    EXPECT_FALSE(Return<void>(Void()).isDeadObject());

    Return<void> dead(Status::fromStatusT(DEAD_OBJECT));
    EXPECT_FALSE(dead.isOk());
    EXPECT_TRUE(dead.isDeadObject());
    EXPECT_NE(std::string::npos, dead.description().find("EX_TRANSACTION_FAILED"));
    EXPECT_NE(std::string::npos, dead.description().find("DEAD_OBJECT"));
    EXPECT_EQ(DEAD_OBJECT, dead.getStatus().transactionError());

    Return<bool> refused(Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "bad cookie"));
    EXPECT_FALSE(refused.isDeadObject());
    EXPECT_NE(std::string::npos, refused.description().find("EX_ILLEGAL_ARGUMENT"));
    EXPECT_NE(std::string::npos, refused.description().find("bad cookie"));
    EXPECT_TRUE(refused.withDefault(true));

    // A transport failure built from its exception code alone still reads as a failure.
    const Status bare = Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
    EXPECT_FALSE(bare.isOk());
    EXPECT_NE(OK, bare.transactionError());

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
