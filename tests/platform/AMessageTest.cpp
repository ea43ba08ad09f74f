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

// The loop carries batches as buffers and save tickets as int64 items.
TEST(AMessageTest, ItemsAreFoundByNameAndTypeAndReplacedBySettingAgain) {
    EXPECT_EQ(-ENOENT, sp<AMessage>(new AMessage())->post());  // no target
    sp<AMessage> msg = new AMessage(0x73657470 /* "setp" */, 0);
    sp<ABuffer> buffer = new ABuffer(12);
    EXPECT_EQ(12u, buffer->size());
    for (size_t i = 0; i < buffer->size(); ++i) EXPECT_EQ(0, buffer->data()[i]);
    msg->setInt32("port", 3);
    msg->setInt64("ticket", 1LL << 40);
    msg->setBuffer("buffer", buffer);

    int32_t port = 0;
    int64_t ticket = 0;
    sp<ABuffer> found;
    EXPECT_TRUE(msg->findInt32("port", &port));
    EXPECT_EQ(3, port);
    EXPECT_TRUE(msg->findInt64("ticket", &ticket));
    EXPECT_EQ(1LL << 40, ticket);
    ASSERT_TRUE(msg->findBuffer("buffer", &found));
    EXPECT_EQ(buffer, found);  // the same object, not a copy

    // Wrong type or unknown name: not found, and the output is left alone.
    port = 77;
    EXPECT_FALSE(msg->findInt32("ticket", &port));
    EXPECT_FALSE(msg->findInt32("missing", &port));
    EXPECT_EQ(77, port);

    msg->setInt32("buffer", 5);
    EXPECT_FALSE(msg->findBuffer("buffer", &found));
    EXPECT_TRUE(msg->findInt32("buffer", &port));
    EXPECT_EQ(5, port);
    EXPECT_EQ(2, buffer->getStrongCount());  // the message let go of it: `buffer` and `found`
}

}  // namespace
}  // namespace android
