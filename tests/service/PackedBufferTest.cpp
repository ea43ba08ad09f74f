/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "service/PackedBuffer.h"

namespace velora {
namespace {

std::vector<uint8_t> wordsToBytes(const std::vector<int32_t>& words) {
    std::vector<uint8_t> bytes(words.size() * 4);
    memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

TEST(PackedBufferTest, ReadsWordsInNativeOrderAndZeroFillsPastTheEnd) {
    std::vector<uint8_t> bytes = wordsToBytes({0x01000000, 7, -3});
    // Two bytes of a fourth word: only those two are the client's.
    bytes.push_back(0x34);
    bytes.push_back(0x12);
    // Guard bytes beyond the length the client gave must never be read.
    bytes.push_back(0xEE);
    bytes.push_back(0xEE);
    PackedBuffer buffer(static_cast<const void*>(bytes.data()), bytes.size() - 2);

    EXPECT_EQ(buffer.getWord(0), 0x01000000);
    EXPECT_EQ(buffer.getWord(1), 7);
    EXPECT_EQ(buffer.getWord(2), -3);
    EXPECT_EQ(buffer.getWord(3), 0x1234);
    EXPECT_EQ(buffer.getWord(4), 0);
    EXPECT_EQ(buffer.getByte(14), 0);
    // The partial fourth word is not a value.
    EXPECT_EQ(buffer.getWordsFrom(1), (std::vector<int>{7, -3}));
    EXPECT_TRUE(buffer.getWordsFrom(5).empty());
}

TEST(PackedBufferTest, RequestCommandCountsByteThreeFirst) {
    const uint8_t three[] = {0x00, 0x00, 0x00, 0x03};
    const uint8_t swapped[] = {0x03, 0x00, 0x00, 0x00};
    const uint8_t mixed[] = {0x01, 0x02, 0x04, 0x08};
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(three), 4).getRequestCommand(), 3u);
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(swapped), 4).getRequestCommand(), 768u);
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(mixed), 4).getRequestCommand(),
              0x08u + 0x01u * 256 + 0x02u * 65536 + 0x04u * 16777216);
    // Fewer than four bytes: the missing ones count as zero.
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(swapped), 1).getRequestCommand(), 768u);
    EXPECT_EQ(PackedBuffer(static_cast<const void*>(nullptr), 4).getRequestCommand(), 0u);
}

TEST(PackedBufferTest, WritesStayWithinTheLength) {
    uint8_t bytes[8];
    memset(bytes, 0xAA, sizeof(bytes));
    // Six bytes are the client's; the last two are guards.
    PackedBuffer buffer(static_cast<void*>(bytes), 6);
    buffer.setWord(1, 0x11223344);
    const uint8_t expected[] = {0xAA, 0xAA, 0xAA, 0xAA, 0x44, 0x33, 0xAA, 0xAA};
    EXPECT_EQ(0, memcmp(bytes, expected, sizeof(bytes)));

    buffer.setWord(0, -1);
    EXPECT_EQ(buffer.getWord(0), -1);

    const uint8_t constant[4] = {1, 2, 3, 4};
    PackedBuffer readOnly(static_cast<const void*>(constant), sizeof(constant));
    readOnly.setWord(0, 0);
    EXPECT_EQ(constant[0], 1);
}

}  // namespace
}  // namespace velora
