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

TEST(TextHelpersTest, StoredVectorsReadBackWithOneTrailingZero) {
    EXPECT_THAT(string_2_int_vector("1,2,3,"), ElementsAre(1, 2, 3, 0));
    EXPECT_THAT(string_2_int_vector(""), ElementsAre(0));
    EXPECT_THAT(string_2_int_vector("-5,x, 4"), ElementsAre(-5, 0, 4));
    EXPECT_THAT(split_string("a\nb\n", "\n"), ElementsAre("a", "b", ""));
    EXPECT_THAT(split_string("a::b", "::"), ElementsAre("a", "b"));
}

TEST(TextHelpersTest, NumbersReadAsAStreamReadsThemWhateverCameBefore) {
    EXPECT_EQ(12, string2int("  12abc"));
    EXPECT_EQ(3, string2int("+3"));
    EXPECT_EQ(0, string2int("x"));
    EXPECT_EQ(7, string2int("7"));  // after a failed read
    EXPECT_EQ(0, string2int("2147483648"));
    EXPECT_EQ(-2147483647 - 1, string2int("-2147483648"));
    EXPECT_EQ(0, string2int(""));
    EXPECT_EQ(-4, string2int("-4"));  // after reading an empty text to its end
}

TEST(TextHelpersTest, ValueOfAKeyValueLine) {
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
