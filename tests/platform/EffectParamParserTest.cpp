/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <pexparamstorage/EffectParamParser.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

namespace android {
namespace {

constexpr uint32_t kAllDevices = 0x40000000;
constexpr uint32_t kDvla = 0x616C7664;  // "dvla"
constexpr uint32_t kVol = 0x006C6F76;   // "vol"

// The batch in a heap block of exactly `bytes` bytes, so that the sanitizer catches any read
// past its end.
struct Batch {
    Batch(const std::vector<uint32_t>& words, size_t bytes)
        : size(bytes), data(new uint8_t[bytes > 0 ? bytes : 1]) {
        if (!words.empty()) memcpy(data.get(), words.data(), std::min(bytes, words.size() * 4));
    }
    explicit Batch(const std::vector<uint32_t>& words) : Batch(words, words.size() * 4) {}
    size_t size;
    std::unique_ptr<uint8_t[]> data;
};

struct Malformed {
    const char* name;
    std::vector<uint32_t> words;
    int extraBytes;  // added to (or taken from) the size of the words
};

class MalformedBatchTest : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedBatchTest, IsRejectedAndNeverReadPastItsEnd) {
    const Malformed& shape = GetParam();
    Batch batch(shape.words, shape.words.size() * 4 + shape.extraBytes);
    EffectParamParser parser(batch.data.get(), static_cast<uint32_t>(batch.size));
    EXPECT_FALSE(parser.validate());

    // Walking it anyway stays inside the buffer.
    parser.begin();
    uint32_t device, count;
    PexParameterId id;
    const int32_t* values;
    int records = 0;
    while (parser.next(&device, &id, &values, &count)) {
        ASSERT_LE(reinterpret_cast<const uint8_t*>(values + count), batch.data.get() + batch.size);
        ASSERT_LT(++records, 100);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, MalformedBatchTest,
    ::testing::Values(
        Malformed{"Empty", {}, 0}, Malformed{"OneWord", {kAllDevices}, 0},
        Malformed{"SevenBytes", {kAllDevices, 0}, -1},
        Malformed{"OddSize", {kAllDevices, 1, kAllDevices, kVol, 1, 5}, -2},
        Malformed{"TrailingBytes", {kAllDevices, 1, kAllDevices, kVol, 1, 5, 0}, -2},
        Malformed{"CountAboveRecords", {kAllDevices, 2, kAllDevices, kVol, 1, 5}, 0},
        Malformed{"CountBelowRecords", {kAllDevices, 0, kAllDevices, kVol, 1, 5}, 0},
        Malformed{"HugeCount", {kAllDevices, 0xFFFFFFFF, kAllDevices, kVol, 1, 5}, 0},
        Malformed{"TooManyValues", {kAllDevices, 1, kAllDevices, kDvla, 3, 1, 2}, 0},
        Malformed{"ValueCountWraps", {kAllDevices, 1, kAllDevices, kDvla, 0xFFFFFFFF, 1}, 0},
        Malformed{"RecordHeaderCut", {kAllDevices, 2, kAllDevices, kVol, 1, 5, 2, kVol}, 0},
        Malformed{"TrailingWord", {kAllDevices, 1, kAllDevices, kVol, 1, 5, 9}, 0}),
    [](const ::testing::TestParamInfo<Malformed>& info) { return std::string(info.param.name); });

TEST(EffectParamParserTest, NullBufferIsRejected) {
    EffectParamParser parser(nullptr, 8);
    EXPECT_FALSE(parser.validate());
    EXPECT_FALSE(parser.next(nullptr, nullptr, nullptr, nullptr));
}

TEST(EffectParamParserTest, MisalignedBufferIsRejected) {
    std::vector<uint32_t> storage(4, 0);
    const std::vector<uint32_t> words = {kAllDevices, 0};
    uint8_t* shifted = reinterpret_cast<uint8_t*>(storage.data()) + 1;
    memcpy(shifted, words.data(), 8);
    EffectParamParser parser(shifted, 8);
    EXPECT_FALSE(parser.validate());
}

TEST(EffectParamParserTest, WalksAGoodBatchInOrder) {
    const std::vector<uint32_t> words = {
        kAllDevices, 3,     0xFFFFFFFF,
        kVol,        1,     static_cast<uint32_t>(-7),  // added before any device was set
        2,           kDvla, 0,                          // no values
        8,           kDvla, 3,
        1,           2,     3};
    Batch batch(words);
    EffectParamParser parser(batch.data.get(), static_cast<uint32_t>(batch.size));
    ASSERT_TRUE(parser.validate());
    EXPECT_EQ(kAllDevices, parser.getDevice());
    EXPECT_EQ(3u, parser.getRecordCount());

    for (int pass = 0; pass < 2; ++pass) {  // begin() rewinds
        parser.begin();
        uint32_t device, count;
        PexParameterId id;
        const int32_t* values;
        ASSERT_TRUE(parser.next(&device, &id, &values, &count));
        EXPECT_EQ(0xFFFFFFFFu, device);
        EXPECT_EQ(kVol, id);
        ASSERT_EQ(1u, count);
        EXPECT_EQ(-7, values[0]);
        ASSERT_TRUE(parser.next(&device, &id, &values, &count));
        EXPECT_EQ(2u, device);
        EXPECT_EQ(0u, count);
        ASSERT_TRUE(parser.next(&device, &id, &values, &count));
        EXPECT_EQ(8u, device);
        EXPECT_EQ(kDvla, id);
        ASSERT_EQ(3u, count);
        EXPECT_EQ((std::vector<int32_t>{1, 2, 3}), std::vector<int32_t>(values, values + count));
        EXPECT_FALSE(parser.next(&device, &id, &values, &count));
        EXPECT_FALSE(parser.next(&device, &id, &values, &count));
    }
}

TEST(EffectParamParserTest, BatchWithoutRecordsIsValidAndEmpty) {
    Batch batch({kAllDevices, 0});
    EffectParamParser parser(batch.data.get(), 8);
    EXPECT_TRUE(parser.validate());
    parser.begin();
    EXPECT_FALSE(parser.next(nullptr, nullptr, nullptr, nullptr));
}

}  // namespace
}  // namespace android
