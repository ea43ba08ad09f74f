/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "ServiceTestSupport.h"
#include "service/PackedBuffer.h"

namespace velora {
namespace {

TEST(PackedBufferTest, ReadsWordsInNativeOrderAndZeroFillsPastTheEnd) {
    testing::Bytes bytes = testing::words_to_bytes({0x01000000, 7, -3});
    // Two bytes of a fourth word are the client's; the two guards beyond must never be read.
    bytes.insert(bytes.end(), {0x34, 0x12, 0xEE, 0xEE});
    PackedBuffer buffer(static_cast<const void*>(bytes.data()), bytes.size() - 2);
    EXPECT_EQ(buffer.getWord(0), 0x01000000);
    EXPECT_EQ(buffer.getWord(2), -3);
    EXPECT_EQ(buffer.getWord(3), 0x1234);
    EXPECT_EQ(buffer.getWord(4), 0);
    EXPECT_EQ(buffer.getByte(14), 0);
    // The partial fourth word is not a value.
    EXPECT_EQ(buffer.getWordsFrom(1), (std::vector<int>{7, -3}));
    EXPECT_TRUE(buffer.getWordsFrom(5).empty());
    // The command counts byte 3 first: the same bytes the other way round are another one.
    const uint8_t swapped[] = {0x03, 0x00, 0x00, 0x00};
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(swapped), 1).getRequestCommand(), 768u);
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(nullptr), 4).getRequestCommand(), 0u);
}

TEST(PackedBufferTest, WritesStayWithinTheLengthAndNeverIntoAReadOnlyBuffer) {
    uint8_t bytes[8];
    memset(bytes, 0xAA, sizeof(bytes));
    PackedBuffer buffer(static_cast<void*>(bytes), 6);  // the last two bytes are guards
    buffer.setWord(1, 0x11223344);
    const uint8_t expected[] = {0xAA, 0xAA, 0xAA, 0xAA, 0x44, 0x33, 0xAA, 0xAA};
    EXPECT_EQ(0, memcmp(bytes, expected, sizeof(bytes)));

    const uint8_t constant[4] = {1, 2, 3, 4};
    PackedBuffer readOnly(static_cast<const void*>(constant), sizeof(constant));
    readOnly.setWord(0, 0);
    EXPECT_EQ(constant[0], 1);
}

}  // namespace
}  // namespace velora
