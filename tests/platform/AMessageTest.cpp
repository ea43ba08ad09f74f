/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <string.h>

namespace android {
namespace {

TEST(AMessageTest, ItemsAreFoundByNameAndTypeAndReplacedBySettingAgain) {
    EXPECT_EQ(-ENOENT, sp<AMessage>(new AMessage())->post());  // no target
    sp<AMessage> msg = new AMessage(0x73657470 /* "setp" */, 0);
    sp<ABuffer> buffer = new ABuffer(12);
    msg->setInt32("port", 3);
    msg->setInt64("stamp", 1LL << 40);
    msg->setBuffer("buffer", buffer);

    int32_t port = 0;
    int64_t stamp = 0;
    sp<ABuffer> found;
    EXPECT_TRUE(msg->findInt32("port", &port));
    EXPECT_EQ(3, port);
    EXPECT_TRUE(msg->findInt64("stamp", &stamp));
    EXPECT_EQ(1LL << 40, stamp);
    ASSERT_TRUE(msg->findBuffer("buffer", &found));
    EXPECT_EQ(buffer, found);  // the same object, not a copy

    // Wrong type or unknown name: not found, and the output is left alone.
    port = 77;
    EXPECT_FALSE(msg->findInt32("stamp", &port));
    EXPECT_FALSE(msg->findInt32("missing", &port));
    EXPECT_EQ(77, port);
    EXPECT_FALSE(msg->findBuffer("port", &found));

    msg->setInt32("buffer", 5);
    EXPECT_FALSE(msg->findBuffer("buffer", &found));
    EXPECT_TRUE(msg->findInt32("buffer", &port));
    EXPECT_EQ(5, port);
    EXPECT_EQ(2, buffer->getStrongCount());  // the message let go of it: `buffer` and `found`
}

TEST(ABufferTest, OwnedBytesAreZeroedBorrowedOnesUsedInPlaceAndRangeStaysInside) {
    sp<ABuffer> buffer = new ABuffer(16);
    EXPECT_EQ(16u, buffer->capacity());
    for (size_t i = 0; i < buffer->size(); ++i) EXPECT_EQ(0, buffer->data()[i]);
    memcpy(buffer->data(), "0123456789abcdef", 16);
    EXPECT_EQ(OK, buffer->setRange(4, 8));
    EXPECT_EQ(0, memcmp(buffer->data(), "456789ab", buffer->size()));
    EXPECT_EQ(OK, buffer->setRange(16, 0));
    EXPECT_NE(OK, buffer->setRange(17, 0));
    EXPECT_NE(OK, buffer->setRange(10, 7));
    EXPECT_NE(OK, buffer->setRange(1, SIZE_MAX));  // must not wrap around
    EXPECT_EQ(16u, buffer->offset());
    EXPECT_EQ(0u, buffer->size());

    uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    sp<ABuffer> borrowed = new ABuffer(bytes, sizeof(bytes));
    borrowed->data()[0] = 42;
    EXPECT_EQ(42, bytes[0]);
    borrowed.clear();  // not freed: the bytes live on the stack (the sanitizer checks it)
}

}  // namespace
}  // namespace android
