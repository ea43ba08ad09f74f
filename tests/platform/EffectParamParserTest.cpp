/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gtest/gtest.h>
#include <pexparamstorage/EffectParamParser.h>
#include <string.h>

#include <memory>
#include <string>
#include <tuple>
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

// The records next() gives from begin() on, each checked to lie inside the batch.
using Record = std::tuple<uint32_t, PexParameterId, std::vector<int32_t>>;
std::vector<Record> walk(EffectParamParser& parser, const Batch& batch) {
    std::vector<Record> records;
    uint32_t device, count;
    PexParameterId id;
    const int32_t* values;
    parser.begin();
    while (parser.next(&device, &id, &values, &count) && records.size() < 100) {
        EXPECT_LE(reinterpret_cast<const uint8_t*>(values + count), batch.data.get() + batch.size);
        records.emplace_back(device, id, std::vector<int32_t>(values, values + count));
    }
    return records;
}

class MalformedBatchTest : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedBatchTest, IsRejectedAndNeverReadPastItsEnd) {
    const Malformed& shape = GetParam();
    Batch batch(shape.words, shape.words.size() * 4 + shape.extraBytes);
    EffectParamParser parser(batch.data.get(), static_cast<uint32_t>(batch.size));
    EXPECT_FALSE(parser.validate());
    EXPECT_LT(walk(parser, batch).size(), 100u);  // walking it anyway stays inside the buffer
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

TEST(EffectParamParserTest, NullOrMisalignedBufferIsRejected) {
    EffectParamParser null(nullptr, 8);
    EXPECT_FALSE(null.validate());
    EXPECT_FALSE(null.next(nullptr, nullptr, nullptr, nullptr));

    std::vector<uint32_t> storage(4, 0);
    const std::vector<uint32_t> words = {kAllDevices, 0};
    uint8_t* shifted = reinterpret_cast<uint8_t*>(storage.data()) + 1;
    memcpy(shifted, words.data(), 8);
    EXPECT_FALSE(EffectParamParser(shifted, 8).validate());
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

    const std::vector<Record> expected = {
        {0xFFFFFFFF, kVol, {-7}}, {2, kDvla, {}}, {8, kDvla, {1, 2, 3}}};
    EXPECT_EQ(expected, walk(parser, batch));
    EXPECT_FALSE(parser.next(nullptr, nullptr, nullptr, nullptr));  // still at the end
    EXPECT_EQ(expected, walk(parser, batch));                       // begin() rewinds

    Batch none({kAllDevices, 0});  // a batch without records is valid and empty
    EffectParamParser empty(none.data.get(), 8);
    EXPECT_TRUE(empty.validate());
    EXPECT_TRUE(walk(empty, none).empty());
}

}  // namespace
}  // namespace android
