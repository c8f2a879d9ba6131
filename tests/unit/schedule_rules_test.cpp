// Weekly off periods: what is read from the store, and when a rule holds.
#include <algorithm>
#include <iterator>
#include <string>

#include "tests/support/schedule_world.h"
#include "time_check/time_check_schedule.h"

using namespace schedule_world;

using ScheduleRules = RouterTest;
using ScheduleMatch = RouterTest;
using ScheduleDue = RouterTest;

namespace
{

constexpr int SUN = 1, MON = 2, FRI = 32, SAT = 64, EVERY_DAY = 127;

sched_rule rules[SCHED_RULES_MAX];

// A moment of the week that begins with Sunday, 1 March 2026: "Mon 09:00:00".
struct tm on_day(const std::string &moment)
{
    struct tm local = {};
    EXPECT_NE(strptime(("2026-03-01 " + moment).c_str(), "%Y-%m-%d %a %H:%M:%S", &local), nullptr) << moment;
    local.tm_mday += local.tm_wday;
    return local;
}

bool holds(uint32_t num, const std::string &moment)
{
    const struct tm local = on_day(moment);
    return sched_rules_hold(rules, num, &local, nullptr);
}

// Those of the moments at which the first rule holds.
Lines held(const Lines &moments)
{
    Lines found;
    std::ranges::copy_if(moments, std::back_inserter(found),
                         [](const std::string &moment) { return holds(1, moment); });
    return found;
}

uint32_t load_one(std::string_view off, std::string_view on)
{
    only_rule("nkgw.wlan", off, on);
    return load_sched_rules("nkgw.wlan", rules);
}

} // namespace

// ---- loading ----

TEST_F(ScheduleRules, ASameDayRuleGivesTheEndTheDaysOfTheStart)
{
    ASSERT_EQ(load_one("Mon,Fri 09:00", "Sun 17:30"), 1U);
    EXPECT_EQ(rules[0].type, WLAN_SW_SAMEDAY);
    EXPECT_EQ(rules[0].tv[WLAN_PWDN_TM].tm_hour, 9);
    EXPECT_EQ(rules[0].tv[WLAN_PWDN_TM].tm_min, 0);
    EXPECT_EQ(rules[0].tv[WLAN_PWDN_TM].tm_wday, MON | FRI);
    EXPECT_EQ(rules[0].tv[WLAN_PWUP_TM].tm_hour, 17);
    EXPECT_EQ(rules[0].tv[WLAN_PWUP_TM].tm_min, 30);
    EXPECT_EQ(rules[0].tv[WLAN_PWUP_TM].tm_wday, MON | FRI);
}

TEST_F(ScheduleRules, ARulePastMidnightGivesTheEndTheDaysAfter)
{
    ASSERT_EQ(load_one("Fri,Sat 22:00", "06:00"), 1U);
    EXPECT_EQ(rules[0].type, WLAN_SW_DIFFDAY);
    EXPECT_EQ(rules[0].tv[WLAN_PWDN_TM].tm_wday, FRI | SAT);
    EXPECT_EQ(rules[0].tv[WLAN_PWUP_TM].tm_wday, SAT | SUN);
}

TEST_F(ScheduleRules, EveryDayStaysEveryDayWhenRotated)
{
    ASSERT_EQ(load_one("22:00", "06:00"), 1U);
    EXPECT_EQ(rules[0].tv[WLAN_PWUP_TM].tm_wday, EVERY_DAY);
}

TEST_F(ScheduleRules, EqualTimesAreASameDayRule)
{
    ASSERT_EQ(load_one("08:00", "08:00"), 1U);
    EXPECT_EQ(rules[0].type, WLAN_SW_SAMEDAY);
}

TEST_F(ScheduleRules, OneMinuteEarlierIsPastMidnight)
{
    ASSERT_EQ(load_one("08:01", "08:00"), 1U);
    EXPECT_EQ(rules[0].type, WLAN_SW_DIFFDAY);
}

struct CountCase {
    const char *listnum;
    uint32_t num;
};

class ScheduleRulesCount : public RouterTest, public testing::WithParamInterface<CountCase>
{
};

TEST_P(ScheduleRulesCount, AboveTwentyLoadsNone)
{
    for (int i = 1; i <= 30; i++)
        rule("nkgw.wlan", i, "09:00", "10:00");
    box.store.set("nkgw.wlan.listnum", GetParam().listnum);
    EXPECT_EQ(load_sched_rules("nkgw.wlan", rules), GetParam().num);
}

INSTANTIATE_TEST_SUITE_P(Cases, ScheduleRulesCount,
                         testing::Values(CountCase{"0", 0}, CountCase{"1", 1}, CountCase{"19", 19}, CountCase{"20", 20},
                                         CountCase{"21", 0}, CountCase{"255", 0}, CountCase{"4294967297", 0},
                                         CountCase{"99999999999999999999", 0}, CountCase{"-1", 0}, CountCase{"", 0},
                                         CountCase{"three", 0}, CountCase{"3rd", 3}, CountCase{" 2", 2},
                                         CountCase{"+4", 4}, CountCase{"\xd9\xa3", 0}));

TEST_F(ScheduleRules, AMissingCountLoadsNone)
{
    rule("nkgw.wlan", 1, "09:00", "10:00");
    box.store.unset("nkgw.wlan.listnum");
    EXPECT_EQ(load_sched_rules("nkgw.wlan", rules), 0U);
}

TEST_F(ScheduleRules, TheFamiliesAreSeparate)
{
    only_rule("nkgw.wlan", "09:00", "10:00");
    box.store.set("nkgw.led.listnum", "2");
    rule("nkgw.led", 1, "11:00", "12:00");
    rule("nkgw.led", 2, "13:00", "14:00");
    ASSERT_EQ(load_sched_rules("nkgw.led", rules), 2U);
    EXPECT_EQ(rules[1].tv[WLAN_PWDN_TM].tm_hour, 13);
}

TEST_F(ScheduleRules, AMissingEndInTheMiddleEndsTheListAndLeavesTheRuleHalfFilled)
{
    for (int i = 1; i <= 4; i++)
        rule("nkgw.wlan", i, "09:00", "10:00");
    box.store.set("nkgw.wlan.listnum", "4");
    box.store.set("nkgw.wlan.offtime.list3", "Mon 11:30");
    box.store.unset("nkgw.wlan.ontime.list3");
    EXPECT_EQ(load_sched_rules("nkgw.wlan", rules), 2U);
    EXPECT_EQ(rules[2].tv[WLAN_PWDN_TM].tm_hour, 11);
    EXPECT_EQ(rules[2].tv[WLAN_PWUP_TM].tm_hour, 0);
    EXPECT_EQ(rules[3].tv[WLAN_PWDN_TM].tm_hour, 0);
}

TEST_F(ScheduleRules, AMissingStartInTheMiddleEndsTheList)
{
    for (int i = 1; i <= 4; i++)
        rule("nkgw.wlan", i, "09:00", "10:00");
    box.store.set("nkgw.wlan.listnum", "4");
    box.store.unset("nkgw.wlan.offtime.list2");
    EXPECT_EQ(load_sched_rules("nkgw.wlan", rules), 1U);
}

class ScheduleRulesText : public RouterTest, public testing::WithParamInterface<std::string>
{
};

TEST_P(ScheduleRulesText, AnUnreadableTimeEndsTheList)
{
    EXPECT_EQ(load_one(GetParam(), "10:00"), 0U);
    EXPECT_EQ(load_one("09:00", GetParam()), 0U);
}

INSTANTIATE_TEST_SUITE_P(Cases, ScheduleRulesText,
                         testing::Values("", " ", "25:99", "24:00", "23:60", "-1:00", "9", "9:", ":30", "09.00",
                                         "09-00", "0900", "09:00 ", " 09:00", "09:00:00", "009:00", "09:000", "Mon",
                                         "Mon ", "Mon09:00", "Mon  09:00", "mon 09:00", "Monday 09:00", "Mon;Tue 09:00",
                                         "Mon, Tue 09:00", "Mon.Tue 09:00", "Mon..Xyz 09:00", "Mon.. 09:00",
                                         ",Mon 09:00", "Mon, 09:00", "1 09:00", "Montag 09:00", "M\xc3\xb6n 09:00",
                                         "\xd9\xa0\xd9\xa9:\xd9\xa0\xd9\xa0",
                                         "09\xef\xbc\x9a"
                                         "00",
                                         "%s%n", std::string(1000, '9'), std::string(1000, ' ') + "09:00",
                                         std::string(1000, 'M'), "09:00\n", "0x9:00", "9e0:00"));

static std::string repeated(int n, const std::string &text)
{
    std::string result;
    for (int i = 0; i < n; i++)
        result += text;
    return result;
}

TEST_F(ScheduleRules, ALongListOfDaysIsRead)
{
    const std::string time = "Mon,Mon..Fri" + repeated(123, ",Mon") + " 12:05";
    ASSERT_EQ(time.size(), 510U);
    ASSERT_EQ(load_one(time, "13:00"), 1U);
    EXPECT_EQ(rules[0].tv[WLAN_PWDN_TM].tm_min, 5);
}

TEST_F(ScheduleRules, ATimeCutToAnotherTimeIsNotTaken)
{
    const std::string time = "Mon,Mon..Fri,Mon..Fri,Mon..Fri" + repeated(119, ",Mon") + " 12:05";
    ASSERT_EQ(time.size(), 512U); // one character less ends in 12:0
    EXPECT_EQ(load_one(time, "13:00"), 0U);
}

// ---- matching ----

TEST_F(ScheduleMatch, ASameDayRuleHoldsFromItsFirstSecondToTheFirstOfItsEnd)
{
    load_one("Mon 09:00", "17:00");
    EXPECT_EQ(held({"Mon 08:59:59", "Mon 09:00:00", "Mon 17:00:00", "Mon 17:00:01", "Tue 12:00:00", "Sun 12:00:00"}),
              (Lines{"Mon 09:00:00", "Mon 17:00:00"}));
}

TEST_F(ScheduleMatch, ARulePastMidnightHoldsUpToTheLastSecondBeforeItsEnd)
{
    load_one("Mon 23:00", "07:00");
    EXPECT_EQ(held({"Mon 06:00:00", "Mon 22:59:59", "Mon 23:00:00", "Mon 23:30:00", "Mon 23:59:59", "Tue 00:00:00",
                    "Tue 06:59:59", "Tue 07:00:00", "Tue 23:30:00"}),
              (Lines{"Mon 23:00:00", "Mon 23:30:00", "Mon 23:59:59", "Tue 00:00:00", "Tue 06:59:59"}));
}

TEST_F(ScheduleMatch, SaturdaysNightEndsOnSunday)
{
    load_one("Sat 22:00", "06:00");
    EXPECT_EQ(held({"Sat 22:00:00", "Sun 05:59:59", "Sun 06:00:00", "Sun 22:00:00", "Sat 05:00:00"}),
              (Lines{"Sat 22:00:00", "Sun 05:59:59"}));
}

TEST_F(ScheduleMatch, AnEndAtMidnightIsPastMidnight)
{
    load_one("Wed 20:00", "00:00");
    EXPECT_EQ(held({"Wed 23:59:59", "Thu 00:00:00"}), (Lines{"Wed 23:59:59"}));
}

TEST_F(ScheduleMatch, EqualTimesHoldForOneSecond)
{
    load_one("08:00", "08:00");
    EXPECT_EQ(held({"Thu 07:59:59", "Thu 08:00:00", "Thu 08:00:01"}), (Lines{"Thu 08:00:00"}));
}

TEST_F(ScheduleMatch, ALaterRuleHoldsWhereAnEarlierDoesNot)
{
    rule("nkgw.wlan", 1, "Mon 09:00", "10:00");
    rule("nkgw.wlan", 2, "Mon 12:00", "13:00");
    box.store.set("nkgw.wlan.listnum", "2");
    ASSERT_EQ(load_sched_rules("nkgw.wlan", rules), 2U);
    EXPECT_TRUE(holds(2, "Mon 12:30:00"));
    EXPECT_FALSE(holds(2, "Mon 11:00:00"));
    EXPECT_FALSE(holds(1, "Mon 12:30:00"));
}

TEST_F(ScheduleMatch, NoRulesNeverHold)
{
    load_one("00:00", "23:59");
    EXPECT_FALSE(holds(0, "Wed 12:00:00"));
}

TEST_F(ScheduleMatch, ARuleOfUnknownTypeIsReportedAndSkipped)
{
    rule("nkgw.wlan", 1, "00:00", "23:59");
    rule("nkgw.wlan", 2, "00:00", "23:59");
    rule("nkgw.wlan", 3, "12:00", "13:00");
    rule("nkgw.wlan", 4, "00:00", "23:59");
    box.store.set("nkgw.wlan.listnum", "4");
    ASSERT_EQ(load_sched_rules("nkgw.wlan", rules), 4U);
    rules[0].type = static_cast<wlan_sw_type>(2);
    rules[1].type = static_cast<wlan_sw_type>(0xffffffffU);
    rules[3].type = static_cast<wlan_sw_type>(7);

    static std::vector<uint32_t> reported;
    const auto report = [](uint32_t number) { reported.push_back(number); };
    const struct tm noon = on_day("Wed 12:30:00");
    const struct tm morning = on_day("Wed 09:00:00");
    EXPECT_TRUE(sched_rules_hold(rules, 4, &noon, report));
    EXPECT_EQ(reported, (std::vector<uint32_t>{1, 2}));
    reported.clear();
    EXPECT_FALSE(sched_rules_hold(rules, 4, &morning, report));
    EXPECT_EQ(reported, (std::vector<uint32_t>{1, 2, 4}));
    EXPECT_FALSE(sched_rules_hold(rules, 4, &morning, nullptr));
}

// ---- the two-second look ----

TEST_F(ScheduleDue, RulesAreLookedAtWhenTheClockMovedByTwoSecondsEitherWay)
{
    uint32_t last = 1000;
    EXPECT_FALSE(sched_is_due(&last, 1000));
    EXPECT_FALSE(sched_is_due(&last, 1001));
    EXPECT_FALSE(sched_is_due(&last, 999));
    EXPECT_EQ(last, 1000U);
    EXPECT_TRUE(sched_is_due(&last, 1002));
    EXPECT_EQ(last, 1002U);
    EXPECT_TRUE(sched_is_due(&last, 1000));
    EXPECT_EQ(last, 1000U);
    EXPECT_TRUE(sched_is_due(&last, 0));
}
