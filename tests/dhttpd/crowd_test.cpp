#include "router/dhttpd/crowd.h"

#include <gtest/gtest.h>

using dhttpd::address;
using dhttpd::crowd;

namespace
{

constexpr address ONE = {10, 0, 0, 1};
constexpr address OTHER = {10, 0, 0, 2};

TEST(Crowd, LetsAllInWhoHaveRoom)
{
    crowd visitors({.all = 4, .of_one = 2, .longest = 1000});
    EXPECT_EQ(visitors.comes(5, ONE, 0), -1);
    EXPECT_EQ(visitors.comes(6, ONE, 0), -1);
    EXPECT_EQ(visitors.comes(7, OTHER, 0), -1);
    EXPECT_EQ(visitors.size(), 3U);
}

TEST(Crowd, SendsTheOldestOfAnAddressAwayThatHasTooMany)
{
    crowd visitors({.all = 9, .of_one = 2, .longest = 1000});
    visitors.comes(4, OTHER, 0);
    visitors.comes(5, ONE, 0);
    visitors.comes(6, ONE, 0);
    EXPECT_EQ(visitors.comes(7, ONE, 0), 5);
    EXPECT_EQ(visitors.comes(8, ONE, 0), 6) << "5 goes already, and counts no more";
}

TEST(Crowd, SendsAwayWhoHasTheMostWhenItIsFull)
{
    crowd visitors({.all = 3, .of_one = 9, .longest = 1000});
    visitors.comes(4, OTHER, 0);
    visitors.comes(5, ONE, 0);
    visitors.comes(6, ONE, 0);
    EXPECT_EQ(visitors.comes(7, OTHER, 0), 5);
}

TEST(Crowd, MakesRoomOnceSomebodyHasLeft)
{
    crowd visitors({.all = 9, .of_one = 1, .longest = 1000});
    visitors.comes(5, ONE, 0);
    visitors.leaves(5);
    EXPECT_EQ(visitors.comes(5, ONE, 0), -1);
    EXPECT_EQ(visitors.size(), 1U);
}

TEST(Crowd, EndsWhoseTimeIsUpOnce)
{
    crowd visitors({.all = 9, .of_one = 9, .longest = 1000});
    visitors.comes(5, ONE, 0);
    visitors.comes(6, OTHER, 500);
    EXPECT_EQ(visitors.overdue(999), -1);
    EXPECT_EQ(visitors.overdue(1000), 5);
    EXPECT_EQ(visitors.overdue(1000), -1);
    EXPECT_EQ(visitors.overdue(1500), 6);
}

TEST(Crowd, OfManyAddressesWithOneEachSomebodyGoes)
{
    crowd visitors({.all = 3, .of_one = 2, .longest = 1000});
    for (uint8_t i = 1; i <= 3; i++)
        EXPECT_EQ(visitors.comes(i, {10, 0, 1, i}, 0), -1);
    EXPECT_EQ(visitors.comes(4, {10, 0, 1, 4}, 0), 1);
    EXPECT_EQ(visitors.comes(5, {10, 0, 1, 5}, 0), 2);
}

} // namespace
