// What somebody probably meant to write.
#include <array>
#include <string_view>

#include <gtest/gtest.h>

#include "tools/nearest_word.h"

namespace
{

constexpr std::array<std::string_view, 4> WORDS = {"check", "keys", "status", "events"};

TEST(NearestWord, IsAFewChangesAway)
{
    EXPECT_EQ(nearest_word("chek", WORDS), "check");
    EXPECT_EQ(nearest_word("kyes", WORDS), "keys") << "two that changed places are one change";
    EXPECT_EQ(nearest_word("statsu", WORDS), "status");
    EXPECT_EQ(nearest_word("events_", WORDS), "events");
}

TEST(NearestWord, IsNoneWhenNothingIsNear)
{
    EXPECT_EQ(nearest_word("", WORDS), "");
    EXPECT_EQ(nearest_word("frobnicate", WORDS), "");
    EXPECT_EQ(nearest_word("keys", WORDS), "") << "the word itself is right";
}

TEST(NearestWord, DistanceCountsChanges)
{
    EXPECT_EQ(word_distance("", "abc"), 3U);
    EXPECT_EQ(word_distance("abc", ""), 3U);
    EXPECT_EQ(word_distance("abc", "abc"), 0U);
    EXPECT_EQ(word_distance("abc", "acb"), 1U);
    EXPECT_EQ(word_distance("abc", "xbcd"), 2U);
}

} // namespace
