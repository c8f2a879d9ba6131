// Power saving: its configuration and the questions of others.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_power.h"

using namespace schedule_world;

using PowerConfig = RouterTest;
using PowerPeriod = RouterTest;
using PowerIsInSleep = RouterTest;
using PowerInit = RouterTest;

namespace
{

// The seven lines that a load prints.
Lines load()
{
    forget();
    set_time_check_power_info();
    return lines();
}

std::string loaded(const char *key, std::string_view value, size_t line)
{
    box.store.set(key, value);
    return load().at(line);
}

bool in_period(const std::string &local)
{
    box.clock.set(local);
    return time_check_power_is_in_power_time() == 1;
}

// The period holds the times of day in `inside` and not those in `outside`.
void expect_period(std::string_view start, std::string_view end, const Lines &inside, const Lines &outside)
{
    power_saving("0", start, end);
    set_time_check_power_info();
    for (const std::string &time_of_day : inside)
        EXPECT_TRUE(in_period("2026-03-02 " + time_of_day)) << time_of_day;
    for (const std::string &time_of_day : outside)
        EXPECT_FALSE(in_period("2026-03-02 " + time_of_day)) << time_of_day;
}

} // namespace

TEST_F(PowerConfig, PrintsWhatItLoaded)
{
    configure({{"sys.powersleep.enable", "1"},
               {"sys.powersleep.type", "1"},
               {"sys.powersleep.wday", "1;0;1;0;1;0;1"},
               {"sys.powersleep.start_time", "23:05"},
               {"sys.powersleep.end_time", "6:30"},
               {"sys.powersleep.max_speed", "12"}});
    EXPECT_EQ(load(), (Lines{"\t\t enable:1", "\t\t type:1", "\t\t wday_en:1;0;1;0;1;0;1", "\t\t start_time:23:05",
                             "\t\t end_time:06:30", "\t\t max_speed:12", "\t\t check_speed=12000"}));
}

TEST_F(PowerConfig, MissingKeysAreTheDefaults)
{
    for (const char *key : {"enable", "type", "wday", "start_time", "end_time", "max_speed"})
        box.store.unset(std::string("sys.powersleep.") + key);
    EXPECT_EQ(load(), (Lines{"\t\t enable:0", "\t\t type:0", "\t\t wday_en:0;0;0;0;0;0;0", "\t\t start_time:00:00",
                             "\t\t end_time:07:00", "\t\t max_speed:3", "\t\t check_speed=3000"}));
}

TEST_F(PowerConfig, EmptyKeysAreTheDefaults)
{
    for (const char *key : {"enable", "type", "wday", "start_time", "end_time", "max_speed"})
        box.store.set(std::string("sys.powersleep.") + key, "");
    EXPECT_EQ(load(), (Lines{"\t\t enable:0", "\t\t type:0", "\t\t wday_en:0;0;0;0;0;0;0", "\t\t start_time:00:00",
                             "\t\t end_time:07:00", "\t\t max_speed:3", "\t\t check_speed=3000"}));
}

TEST_F(PowerConfig, TheLinesAreInfoLines)
{
    box.log.clear();
    time_check_power_info_printf();
    ASSERT_EQ(box.log.lines().size(), 7U);
    for (const std::string &line : box.log.lines())
        EXPECT_TRUE(line.starts_with("\033[1;32m[TIMER_CHECK >>time_check_power_info_printf(")) << line;
}

struct TextCase {
    std::string text;
    const char *start;
    const char *end;
};

class PowerConfigTime : public RouterTest, public testing::WithParamInterface<TextCase>
{
};

TEST_P(PowerConfigTime, IsSplitAtItsFirstColonAndNotChecked)
{
    EXPECT_EQ(loaded("sys.powersleep.start_time", GetParam().text, 3),
              std::string("\t\t start_time:") + GetParam().start);
    EXPECT_EQ(loaded("sys.powersleep.end_time", GetParam().text, 4), std::string("\t\t end_time:") + GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(Cases, PowerConfigTime,
                         testing::Values(TextCase{"25:99", "26:39", "26:39"}, TextCase{"9:5", "09:05", "09:05"},
                                         TextCase{"009:005", "09:05", "09:05"}, TextCase{"23:30:59", "23:30", "23:30"},
                                         TextCase{"0:0", "00:00", "00:00"}, TextCase{"1:2 3", "01:02", "01:02"},
                                         TextCase{" 1: 2", "01:02", "01:02"}, TextCase{"x:y", "00:00", "00:00"},
                                         TextCase{"8:y", "08:00", "08:00"}, TextCase{"24:00", "24:00", "24:00"},
                                         TextCase{"22", "00:00", "07:00"}, TextCase{"22:", "00:00", "07:00"},
                                         TextCase{":30", "00:00", "07:00"}, TextCase{":", "00:00", "07:00"},
                                         TextCase{"22.30", "00:00", "07:00"}, TextCase{"22-30", "00:00", "07:00"},
                                         TextCase{"22:  ", "00:00", "07:00"},
                                         TextCase{"zw\xc3\xb6lf", "00:00", "07:00"},
                                         TextCase{"22\xef\xbc\x9a"
                                                  "30",
                                                  "00:00", "07:00"},
                                         TextCase{std::string(1000, '1'), "00:00", "07:00"},
                                         TextCase{std::string(1000, ':'), "00:00", "07:00"},
                                         TextCase{"%s:%n", "00:00", "00:00"}));

TEST_F(PowerConfig, DaysAreReadUpToSevenSingleCharacters)
{
    const std::vector<std::pair<std::string, std::string>> cases = {{"1;1;1;1;1;0;0", "1;1;1;1;1;0;0"},
                                                                    {"1;2;x;9", "1;2;0;9;0;0;0"},
                                                                    {"1;;1", "1;0;0;0;0;0;0"},
                                                                    {";1", "0;0;0;0;0;0;0"},
                                                                    {"1;1;1;1;1;1; 1", "1;1;1;1;1;1;1"},
                                                                    {"1,1,1,1,1,1,1", "1;0;0;0;0;0;0"},
                                                                    {"1;1;1;1;1;1;1;1;1;1", "1;1;1;1;1;1;1"},
                                                                    {std::string(1000, '1'), "1;0;0;0;0;0;0"},
                                                                    {std::string(1000, ';'), "0;0;0;0;0;0;0"},
                                                                    {"\xc3\xa9;1", "0;1;0;0;0;0;0"}};
    for (const auto &[text, days] : cases)
        EXPECT_EQ(loaded("sys.powersleep.wday", text, 2), "\t\t wday_en:" + days) << text;
}

TEST_F(PowerConfig, SpeedsAreDecimalAndTheirThousandfoldIsTakenIn32Bits)
{
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "0", 6), "\t\t check_speed=0");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "fast", 6), "\t\t check_speed=0");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "7kB", 6), "\t\t check_speed=7000");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "-1", 5), "\t\t max_speed:-1");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "-1", 6), "\t\t check_speed=-1000");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "99999999999999999999", 5), "\t\t max_speed:2147483647");
    EXPECT_EQ(loaded("sys.powersleep.max_speed", "4294968", 6), "\t\t check_speed=704");
}

TEST_F(PowerConfig, EnableAndTypeAreDecimal)
{
    EXPECT_EQ(loaded("sys.powersleep.enable", "on", 0), "\t\t enable:0");
    EXPECT_EQ(loaded("sys.powersleep.enable", " 2x", 0), "\t\t enable:2");
    EXPECT_EQ(loaded("sys.powersleep.type", "-7", 1), "\t\t type:-7");
}

// ---- questions ----

TEST_F(PowerPeriod, PastMidnightHoldsBothItsEnds)
{
    expect_period("23:00", "07:00", {"23:00:00", "00:00:00", "07:00:00"}, {"22:59:59", "07:00:01"});
}

TEST_F(PowerPeriod, InsideADayHoldsBothItsEnds)
{
    expect_period("01:00", "05:00", {"01:00:00", "05:00:00"}, {"00:59:59", "05:00:01"});
}

TEST_F(PowerPeriod, NeedsExactlyOne)
{
    power_saving("0", "23:00", "07:00");
    for (const char *enable : {"0", "2", "-1", ""}) {
        box.store.set("sys.powersleep.enable", enable);
        set_time_check_power_info();
        EXPECT_FALSE(in_period("2026-03-02 23:30:00")) << enable;
    }
}

TEST_F(PowerPeriod, DoesNotDependOnTheTypeOrTheDays)
{
    power_saving("0", "23:00", "07:00");
    box.store.set("sys.powersleep.wday", "0;0;0;0;0;0;0");
    for (const char *type : {"0", "1", "2", "3", "99"}) {
        box.store.set("sys.powersleep.type", type);
        set_time_check_power_info();
        EXPECT_TRUE(in_period("2026-03-02 23:30:00")) << type;
    }
}

TEST_F(PowerPeriod, AnEndThatNoClockReachesIsMidnight)
{
    expect_period("23:00", "25:99", {"23:59:59"}, {"00:00:00"});
}

TEST_F(PowerIsInSleep, IsExactlyOne)
{
    box.store.set("sys.is.pwr.save.mode", "1");
    EXPECT_EQ(time_check_power_is_in_sleep(), 1);
    for (const std::string &value : {std::string("0"), std::string(""), std::string("11"), std::string(1000, '1')}) {
        box.store.set("sys.is.pwr.save.mode", value);
        EXPECT_EQ(time_check_power_is_in_sleep(), 0) << value;
    }
    box.store.unset("sys.is.pwr.save.mode");
    EXPECT_EQ(time_check_power_is_in_sleep(), 0);
}

TEST_F(PowerInit, NotesTheRouterAsAwakeAndSwitchesNothing)
{
    radios("1", "1", "1");
    configure({{"sys.sched.led.type", "open"}, {"nkgw.led.state", "3"}, {"sys.is.pwr.save.mode", "1"}});
    ASSERT_TRUE(box.boot());
    EXPECT_EQ(box.journal.acts("set"), Lines{"set sys.is.pwr.save.mode=0"});
    EXPECT_EQ(box.journal.acts("leds"), Lines{});
    EXPECT_EQ(box.store.committed("sys.is.pwr.save.mode"), "0");
}
