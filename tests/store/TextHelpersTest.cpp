/*
 * Copyright (C) 2026 The Velora Project
 * Licensed under the Apache License, Version 2.0.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "store/TextHelpers.h"
#include "testutil/LogCapture.h"

namespace velora {
namespace {

using ::testing::ElementsAre;

TEST(TextHelpersTest, StoredTextsReadBackAsTheStoreReadsThem) {
    // Vectors come back with one trailing zero.
    EXPECT_THAT(string_2_int_vector("1,2,3,"), ElementsAre(1, 2, 3, 0));
    EXPECT_THAT(string_2_int_vector(""), ElementsAre(0));
    EXPECT_THAT(string_2_int_vector("-5,x, 4"), ElementsAre(-5, 0, 4));
    EXPECT_THAT(split_string("a\nb\n", "\n"), ElementsAre("a", "b", ""));
    EXPECT_THAT(split_string("a::b", "::"), ElementsAre("a", "b"));
    // Numbers read as a stream reads them, whatever the previous read left behind: out of
    // range gives the type's limit, and only a text without a number gives 0.
    constexpr int kMax = 2147483647;
    constexpr int kMin = -kMax - 1;
    const std::pair<const char*, int> numbers[] = {{"  12abc", 12},
                                                   {"+3", 3},
                                                   {"x", 0},
                                                   {"7", 7},
                                                   {"2147483648", kMax},
                                                   {"-2147483648", kMin},
                                                   {"-2147483649", kMin},
                                                   {"99999999999999999999", kMax},
                                                   {" -99999999999999999999x", kMin},
                                                   {"", 0},
                                                   {"-4", -4}};
    for (const auto& [text, value] : numbers) EXPECT_EQ(value, string2int(text)) << text;
    // A stored vector reads every piece exactly as string2int reads it alone.
    const std::string pieces[] = {"",   "-",         "-0",         "007",         "+3",
                                  " 7", "123456789", "-999999999", "1234567890",  "2147483648",
                                  "1x", "x1",        "1 2",        "-2147483648", "--1"};
    std::string text;
    std::vector<int> expected;
    for (const std::string& piece : pieces) {
        text += piece + ",";
        expected.push_back(string2int(piece));
    }
    expected.push_back(0);
    EXPECT_EQ(expected, string_2_int_vector(text));
    EXPECT_THAT(string_2_int_vector("-99999999999999999999,99999999999999999999,-,"),
                ElementsAre(kMin, kMax, 0, 0));
    // Only a text exactly as the service writes the values read (without the trailing 0)
    // is known again from them; any other must be kept to be written back.
    std::string hundred;
    for (int i = 1; i <= 100; ++i) hundred += std::to_string(i * 37 - 1000) + ",";
    const std::pair<std::string, bool> verdicts[] = {
        {"1,2,3,", true}, {"", true},       {"0,-7,", true},       {hundred, true},
        {"1,2,3", false}, {"05,", false},   {"-0,", false},        {",", false},
        {" 7,", false},   {"1,,2,", false}, {"1234567890,", false}};
    for (const auto& [listText, written] : verdicts) {
        std::vector<int> read{42};
        EXPECT_EQ(written, read_list_text(listText.data(), listText.size(), &read)) << listText;
        EXPECT_EQ(string_2_int_vector(listText), read) << listText;
    }

    EXPECT_EQ("1", get_string_values("mono=true"));
    EXPECT_EQ("0", get_string_values("readonly=false"));
    EXPECT_EQ("a=b", get_string_values("name=a=b"));
    testing::LogCapture logs;
    EXPECT_EQ("", get_string_values("no value here"));
    EXPECT_TRUE(logs.contains("DatabaseHelper", ANDROID_LOG_ERROR, "invalid string value"));
}

TEST(TextHelpersTest, SingleQuotesAreDoubledAndNothingElseChanges) {
    EXPECT_EQ("plain, \"double\" quotes", escape_sql_quotes("plain, \"double\" quotes"));
    EXPECT_EQ("O''Brien''s", escape_sql_quotes("O'Brien's"));
    EXPECT_EQ("''''", escape_sql_quotes("''"));
}

}  // namespace
}  // namespace velora
