// The text form of weekly times.
#include "platform/system.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

struct good_text {
    const char *text;
    int hour;
    int minute;
    int days; // bit 0 is Sunday
};

class GoodTime : public testing::TestWithParam<good_text>
{
};

TEST_P(GoodTime, IsParsed)
{
    tm parsed = {};
    ASSERT_EQ(utc2tm(GetParam().text, &parsed), 0) << GetParam().text;
    EXPECT_EQ(parsed.tm_hour, GetParam().hour) << GetParam().text;
    EXPECT_EQ(parsed.tm_min, GetParam().minute) << GetParam().text;
    EXPECT_EQ(parsed.tm_wday, GetParam().days) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Utc2Tm, GoodTime,
    testing::Values(good_text{"23:30", 23, 30, 0b1111111}, good_text{"0:0", 0, 0, 0b1111111},
                    good_text{"00:00", 0, 0, 0b1111111}, good_text{"9:5", 9, 5, 0b1111111},
                    good_text{"Mon..Fri 22:00", 22, 0, 0b0111110}, good_text{"Sat,Sun 9:05", 9, 5, 0b1000001},
                    good_text{"Fri..Mon 1:00", 1, 0, 0b1100011}, good_text{"Tue..Tue 1:00", 1, 0, 0b0000100},
                    good_text{"Sun..Sat 1:00", 1, 0, 0b1111111}, good_text{"Sat..Sun 1:00", 1, 0, 0b1000001},
                    good_text{"Mon,Mon 1:00", 1, 0, 0b0000010}, good_text{"Mon,Wed..Thu,Sun 7:59", 7, 59, 0b0011011},
                    good_text{"Sun,Mon,Tue,Wed,Thu,Fri,Sat 23:59", 23, 59, 0b1111111}));

class BadTime : public testing::TestWithParam<const char *>
{
};

TEST_P(BadTime, IsRefusedAndLeavesTheResultAlone)
{
    tm untouched = {};
    untouched.tm_hour = 77;
    untouched.tm_min = 78;
    untouched.tm_wday = 79;
    EXPECT_EQ(utc2tm(GetParam(), &untouched), -1) << GetParam();
    EXPECT_EQ(untouched.tm_hour, 77);
    EXPECT_EQ(untouched.tm_min, 78);
    EXPECT_EQ(untouched.tm_wday, 79);
}

INSTANTIATE_TEST_SUITE_P(Utc2Tm, BadTime,
                         testing::Values("", " ", ":", "1", "1:", ":1", "24:00", "23:60", "25:99", "99:99", "001:00",
                                         "1:000", "-1:00", "+1:00", " 1:00", "1:00 ", "1 :00", "1: 00", "1:00\n",
                                         "1:0x", "a:00", "1.00", "1:00:00", "Mon", "Mon ", "Mon1:00", "Mon  1:00",
                                         " Mon 1:00", "mon 1:00", "MON 1:00", "Monday 1:00", "Mon, 1:00", ",Mon 1:00",
                                         "Mon,,Tue 1:00", "Mon, Tue 1:00", "Mon.Tue 1:00", "Mon...Tue 1:00",
                                         "Mon.. 1:00", "..Mon 1:00", "Mon..Tue..Wed 1:00", "Mon-Fri 1:00", "Mo 1:00",
                                         "Xyz 1:00", "Mon\t1:00", "Mon 24:00", "M\xc3\xb6n 1:00", "\xd9\xa1:00"));

TEST(Utc2Tm, HugeTextsAreRefused)
{
    tm out = {};
    EXPECT_EQ(utc2tm(std::string(1000, '1').c_str(), &out), -1);
    std::string days;
    for (int i = 0; i < 1000; i++)
        days += "Mon,";
    EXPECT_EQ(utc2tm((days + "Tue 1:00").c_str(), &out), 0) << "a long list is still a list";
    EXPECT_EQ(out.tm_wday, 0b0000110);
    EXPECT_EQ(utc2tm((days + " 1:00").c_str(), &out), -1);
}

TEST(Utc2Tm, NullIsRefused)
{
    tm out = {};
    EXPECT_EQ(utc2tm(nullptr, &out), -1);
    EXPECT_EQ(utc2tm("1:00", nullptr), -1);
}

} // namespace
