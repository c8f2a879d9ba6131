// Weeks of the whole daemon under random schedules: in every minute radios and LEDs are what a plain reading of the
// rules says. The reading below shares no code with the daemon; it asks for minutes at their 30th second, where the
// first and last seconds of a period do not matter.
#include <array>
#include <chrono>
#include <cstdio>
#include <random>
#include <set>

#include "tests/support/schedule_world.h"

using namespace schedule_world;

namespace
{

constexpr std::array<const char *, 7> DAY_NAMES = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

struct Rule {
    std::set<int> days; // on which it starts
    int off;            // minutes since midnight
    int on;
};

struct Moment {
    int year;
    int weekday;
    int minute; // since midnight
};

Moment now()
{
    Moment moment = {};
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    const std::string local = box.clock.local();
    if (sscanf(local.c_str(), "%d-%d-%d %d:%d", &moment.year, &month, &day, &hour, &minute) != 5)
        ADD_FAILURE() << "no local time: " << local;
    const std::chrono::sys_days date = std::chrono::year(moment.year) / month / day;
    moment.weekday = static_cast<int>(std::chrono::weekday(date).c_encoding());
    moment.minute = hour * 60 + minute;
    return moment;
}

bool covers(const Rule &rule, const Moment &at)
{
    const int yesterday = (at.weekday + 6) % 7;
    if (rule.off <= rule.on)
        return rule.days.contains(at.weekday) && at.minute >= rule.off && at.minute < rule.on;
    return (rule.days.contains(at.weekday) && at.minute >= rule.off) ||
           (rule.days.contains(yesterday) && at.minute < rule.on);
}

bool any_covers(const std::vector<Rule> &rules, const Moment &at)
{
    for (const Rule &rule : rules)
        if (covers(rule, at))
            return true;
    return false;
}

// What the router has been told, and the same for the plain reading.
struct Settings {
    std::vector<Rule> wifi;
    std::vector<Rule> led;
    std::vector<Rule> sleep; // none or one, of every day
};

class Dice
{
public:
    explicit Dice(unsigned seed) : generator_(seed)
    {
    }

    // 0 to sides - 1.
    int roll(int sides)
    {
        return static_cast<int>(generator_() % static_cast<unsigned>(sides));
    }

private:
    std::mt19937 generator_;
};

// Days as a list of days and ranges that may wrap round, and which days those are.
std::string random_days(Dice &dice, std::set<int> &days)
{
    if (dice.roll(4) == 0) {
        days = {0, 1, 2, 3, 4, 5, 6};
        return "";
    }
    std::string text;
    const int items = 1 + dice.roll(3);
    for (int i = 0; i < items; i++) {
        const int first = dice.roll(7);
        const int length = dice.roll(3) == 0 ? 1 + dice.roll(7) : 1;
        text += text.empty() ? "" : ",";
        text += DAY_NAMES.at(static_cast<size_t>(first));
        if (length > 1)
            text += std::string("..") + DAY_NAMES.at(static_cast<size_t>((first + length - 1) % 7));
        for (int day = 0; day < length; day++)
            days.insert((first + day) % 7);
    }
    return text + " ";
}

int random_minute(Dice &dice)
{
    constexpr std::array<int, 6> corners = {0, 1, 2 * 60, 2 * 60 + 30, 3 * 60, 24 * 60 - 1};
    return dice.roll(4) == 0 ? corners.at(static_cast<size_t>(dice.roll(6))) : dice.roll(24 * 60);
}

std::string as_time(Dice &dice, int minute)
{
    char text[16];
    snprintf(text, sizeof text, dice.roll(2) == 0 ? "%02d:%02d" : "%d:%d", minute / 60, minute % 60);
    return text;
}

// Rules of a family in the store; one that cannot be read may follow, which hides those behind it.
std::vector<Rule> random_rules(Dice &dice, const std::string &family)
{
    constexpr std::array<const char *, 6> broken = {"",       "25:99",      "Mon 09.00",
                                                    "09:00 ", "Mon  09:00", "M\xc3\xb6n 9:00"};
    std::vector<Rule> rules;
    const int count = 1 + dice.roll(20);
    int readable = 1 + dice.roll(5);
    for (int i = 1; i <= count; i++) {
        Rule one = {.days = {}, .off = random_minute(dice), .on = random_minute(dice)};
        if (dice.roll(3) != 0) // mostly a few hours, so that some of the week is left
            one.on = (one.off + dice.roll(4 * 60)) % (24 * 60);
        const std::string off = random_days(dice, one.days) + as_time(dice, one.off);
        std::set<int> ignored;
        const std::string on = random_days(dice, ignored) + as_time(dice, one.on);
        rule(family, i, off, on);
        if (readable-- == 0)
            box.store.set(family + (dice.roll(2) == 0 ? ".offtime.list" : ".ontime.list") + std::to_string(i),
                          broken.at(static_cast<size_t>(dice.roll(6))));
        if (readable >= 0)
            rules.push_back(one);
    }
    box.store.set(family + ".listnum", std::to_string(count));
    return rules;
}

Settings random_settings(Dice &dice, bool with_power_saving)
{
    Settings settings;
    radios("1", "1", "1");
    configure({{"nkgw.led.state", "3"}, {"sys.sched.wifi.enable", "1"}, {"sys.sched.led.type", "time"}});
    settings.wifi = random_rules(dice, "nkgw.wlan");
    settings.led = random_rules(dice, "nkgw.led");
    if (with_power_saving) {
        const int start = random_minute(dice);
        const int end = (start + 1 + dice.roll(12 * 60)) % (24 * 60);
        power_saving("0", as_time(dice, start), as_time(dice, end));
        settings.sleep = {{.days = {0, 1, 2, 3, 4, 5, 6}, .off = start, .on = end}};
    }
    return settings;
}

testing::AssertionResult state_is_as_read(const Settings &settings)
{
    const Moment at = now();
    const bool sleeps = any_covers(settings.sleep, at);
    const bool wifi = !sleeps && !any_covers(settings.wifi, at);
    const bool leds = !sleeps && !any_covers(settings.led, at);
    if (radio_is_on() == wifi && leds_are_on() == leds && asleep() == sleeps)
        return testing::AssertionSuccess();
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    return testing::AssertionFailure() << "at " << box.clock.local() << " Wi-Fi should be " << wifi
                                       << ", LEDs should be " << leds << ", asleep should be " << sleeps
                                       << "\nreplay: scenario_tests --gtest_filter=" << test.test_suite_name() << "."
                                       << test.name();
}

// A reload or a stop, whose effects are over within seconds.
void random_message(Dice &dice)
{
    constexpr std::array<const char *, 8> texts = {
        "time_check_wifi",       "time_check_wifi?op=2",  "time_check_led?op=1",   "time_check_power",
        "time_check_power?op=1", "time_check_power?op=2", "time_check_power?op=3", "time_check_led?op=2"};
    box.post(texts.at(static_cast<size_t>(dice.roll(8))));
}

struct Week {
    const char *zone;
    const char *start; // a local time at a minute's 30th second
    unsigned seed;
    bool power_saving;
    bool messages;
};

std::string name_of(const testing::TestParamInfo<Week> &info)
{
    std::string name = std::string(info.param.zone).substr(0, 3) + "_" + std::string(info.param.start).substr(0, 10) +
                       "_" + std::to_string(info.param.seed);
    std::erase(name, '-');
    return name;
}

constexpr const char *BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char *NEW_YORK = "EST5EDT,M3.2.0,M11.1.0";
constexpr const char *LORD_HOWE = "LHST-10:30LHDT-11,M10.1.0,M4.1.0"; // half an hour of summer time

} // namespace

class ScheduleWeek : public RouterTest, public testing::WithParamInterface<Week>
{
};

TEST_P(ScheduleWeek, EveryMinuteIsAsTheRulesRead)
{
    Dice dice(GetParam().seed);
    box.log.keep(false);
    for (const char *act : {"set", "commit", "command", "leds", "netctrl", "write"})
        box.journal.mute(act);
    box.local_time.set_zone(GetParam().zone);
    box.clock.set(GetParam().start);
    const Settings settings = random_settings(dice, GetParam().power_saving);
    ASSERT_TRUE(box.boot());
    std::set<bool> wifi_was;
    std::set<bool> leds_were;
    for (int minute = 0; minute < 7 * 24 * 60; minute++) {
        box.run(60);
        ASSERT_TRUE(state_is_as_read(settings));
        wifi_was.insert(radio_is_on());
        leds_were.insert(leds_are_on());
        if (GetParam().messages && dice.roll(50) == 0)
            random_message(dice);
    }
    EXPECT_EQ(wifi_was.size(), 2U) << "this seed's rules leave Wi-Fi as it is all week";
    EXPECT_EQ(leds_were.size(), 2U) << "this seed's rules leave the LEDs as they are all week";
}

// ---- a clock that steps ----

namespace
{

// Hours either way, days, or to 1970 and later back to where it would be.
void random_step(Dice &dice, time_t &lost_at)
{
    if (lost_at != 0) {
        box.clock.set(lost_at + dice.roll(3 * 24 * 3600));
        lost_at = 0;
    } else if (dice.roll(4) == 0) {
        lost_at = box.clock.wall();
        box.clock.set(dice.roll(3 * 24 * 3600));
    } else {
        const int hours = 1 + dice.roll(dice.roll(4) == 0 ? 72 : 12);
        box.clock.step((dice.roll(2) == 0 ? 1 : -1) * (hours * 3600 + dice.roll(3600)));
    }
}

// Into the 30th second of the next minute, where the rules read plainly.
void run_to_half_minute()
{
    const int second = std::stoi(box.clock.local().substr(17));
    box.run(60 + 30 - second);
}

} // namespace

class ScheduleSteps : public RouterTest, public testing::WithParamInterface<Week>
{
};

// While the clock is lost nothing changes; once it is back, and after every other step, the state is as read.
TEST_P(ScheduleSteps, EndInTheStateThatTheRulesRead)
{
    Dice dice(GetParam().seed);
    box.log.keep(false);
    box.local_time.set_zone(GetParam().zone);
    box.clock.set(GetParam().start);
    const Settings settings = random_settings(dice, GetParam().power_saving);
    ASSERT_TRUE(box.boot());
    time_t lost_at = 0;
    for (int step = 0; step < 2000; step++) {
        box.run(0.25 * dice.roll(2400));
        const bool wifi = radio_is_on();
        const bool leds = leds_are_on();
        const bool was_lost = lost_at != 0;
        random_step(dice, lost_at);
        run_to_half_minute();
        if (lost_at == 0) {
            ASSERT_TRUE(state_is_as_read(settings)) << "step " << step;
        } else if (was_lost) {
            ASSERT_EQ(radio_is_on(), wifi) << "step " << step;
            ASSERT_EQ(leds_are_on(), leds) << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Zones, ScheduleSteps,
                         testing::Values(Week{BERLIN, "2026-03-26 20:00:30", 21, false, false},
                                         Week{BERLIN, "2026-10-22 20:00:30", 22, true, false},
                                         Week{NEW_YORK, "2026-10-29 12:00:30", 23, false, false},
                                         Week{NEW_YORK, "2026-03-05 12:00:30", 24, true, false},
                                         Week{LORD_HOWE, "2026-10-01 06:00:30", 25, true, false}),
                         name_of);

// ---- the clock is set for the first time, at any moment of a period ----

class ScheduleFirstClock : public RouterTest, public testing::WithParamInterface<int>
{
};

// Rules 22:00 to 06:00 of every day, power saving 23:00 to 05:00.
TEST_P(ScheduleFirstClock, TakesOverFromThere)
{
    const Settings settings = {.wifi = {{.days = {0, 1, 2, 3, 4, 5, 6}, .off = 22 * 60, .on = 6 * 60}},
                               .led = {{.days = {0, 1, 2, 3, 4, 5, 6}, .off = 22 * 60, .on = 6 * 60}},
                               .sleep = {{.days = {0, 1, 2, 3, 4, 5, 6}, .off = 23 * 60, .on = 5 * 60}}};
    radios("1", "1", "1");
    configure({{"nkgw.led.state", "3"}, {"sys.sched.wifi.enable", "1"}, {"sys.sched.led.type", "time"}});
    only_rule("nkgw.wlan", "22:00", "6:00");
    only_rule("nkgw.led", "22:00", "6:00");
    power_saving("0", "23:00", "5:00");
    box.clock.set("1970-01-01 00:00:00");
    ASSERT_TRUE(box.boot());
    box.run(60);
    EXPECT_TRUE(radio_is_on());
    EXPECT_TRUE(leds_are_on());

    box.clock.set("2026-03-02 00:00:30");
    box.clock.step(60 * GetParam());
    box.run(60);
    EXPECT_TRUE(state_is_as_read(settings));
    box.run(24 * 3600);
    EXPECT_TRUE(state_is_as_read(settings));
}

INSTANTIATE_TEST_SUITE_P(Minutes, ScheduleFirstClock,
                         testing::Values(0, 1, 299, 300, 301, 359, 360, 361, 720, 1319, 1320, 1321, 1379, 1380, 1381,
                                         1439));

INSTANTIATE_TEST_SUITE_P(
    Weeks, ScheduleWeek,
    testing::Values(Week{BERLIN, "2026-03-26 20:00:30", 1, false, false},     // clocks go forward on the 29th
                    Week{BERLIN, "2026-03-26 20:00:30", 2, true, true},       //
                    Week{BERLIN, "2026-10-22 09:15:30", 3, true, false},      // clocks go back on the 25th
                    Week{BERLIN, "2026-12-28 23:59:30", 4, false, true},      // the year's end
                    Week{NEW_YORK, "2026-03-05 00:00:30", 5, true, false},    // clocks go forward on the 8th
                    Week{NEW_YORK, "2026-10-29 12:00:30", 6, false, true},    // clocks go back on 1 November
                    Week{NEW_YORK, "2028-02-26 18:00:30", 7, true, true},     // 29 February
                    Week{LORD_HOWE, "2026-04-02 01:00:30", 8, true, true},    // clocks go back on the 5th
                    Week{LORD_HOWE, "2026-10-01 06:00:30", 9, false, false}), // clocks go forward on the 4th
    name_of);

// ---- garbage in every key ----

namespace
{

std::string garbage(Dice &dice)
{
    switch (dice.roll(8)) {
    case 0:
        return "";
    case 1:
        return std::string(1000, "1:;M %\xff"[dice.roll(7)]);
    case 2:
        return std::to_string(dice.roll(100) - 20) + ":" + std::to_string(dice.roll(200) - 50);
    case 3:
        return "Mon..Fri,Sun" + std::string(static_cast<size_t>(dice.roll(600)), ',') + " 25:99";
    case 4:
        return std::to_string(dice.roll(30) - 5);
    case 5:
        return "\xc3\xa9\xe2\x82\xac;\xf0\x9f\x98\x80";
    case 6:
        return "99999999999999999999:99999999999999999999";
    default: {
        std::string text;
        for (int i = dice.roll(40); i > 0; i--)
            text += static_cast<char>(1 + dice.roll(255));
        return text;
    }
    }
}

void garbage_in_every_key(Dice &dice)
{
    for (const char *key : {"wl2g.enable", "wl5g.enable", "wl2g.public.enable", "wl2g.ssid0.enable",
                            "wl5g.public.enable", "wl5g.ssid0.enable", "wl.guest.effective_time",
                            "wl.guest.dhcps_enable", "nkgw.led.state", "sys.sched.led.closetype", "sys.sched.led.type"})
        box.store.set(key, garbage(dice));
    for (const char *field : {"enable", "type", "wday", "start_time", "end_time", "max_speed"})
        box.store.set(std::string("sys.powersleep.") + field, garbage(dice));
    for (const char *key :
         {"sys.is.pwr.save.mode", "power.sleep.closetype.changed", "sys.sched.wifi.enable", "time_check_debug"})
        box.store.set(key, garbage(dice));
    for (const std::string family : {"nkgw.wlan", "nkgw.led"}) {
        box.store.set(family + ".listnum", std::to_string(dice.roll(25)));
        for (int i = 1; i <= 20; i++)
            rule(family, i, dice.roll(3) == 0 ? garbage(dice) : "Mon..Sun 9:00",
                 dice.roll(3) == 0 ? garbage(dice) : "17:00");
    }
    constexpr std::array<const char *, 4> words = {"open", "close", "time", "Time"};
    if (dice.roll(2) == 0)
        box.store.set("sys.sched.led.type", words.at(static_cast<size_t>(dice.roll(4))));
}

} // namespace

class ScheduleGarbage : public RouterTest, public testing::WithParamInterface<unsigned>
{
};

TEST_P(ScheduleGarbage, LeavesADaemonThatObeysTheNextSettings)
{
    Dice dice(GetParam());
    box.log.keep(false);
    box.clock.set("2026-03-02 08:00:30");
    garbage_in_every_key(dice);
    ASSERT_TRUE(box.boot());
    for (int i = 0; i < 100; i++) {
        box.run(1 + dice.roll(1800));
        garbage_in_every_key(dice);
        for (const char *module : {"2", "3", "4", "9"}) {
            box.post(std::string(module) + "?op=" + std::to_string(dice.roll(10)));
            box.post(std::string(module) + "?relate_module_id=50,string_info=" + garbage(dice).substr(0, 100));
        }
    }

    const Settings settings = random_settings(dice, true);
    for (const char *message : {"2?op=2", "3?op=2", "4?op=1"})
        ASSERT_TRUE(box.post(message));
    box.run(24 * 3600); // once round every edge of the day
    run_to_half_minute();
    EXPECT_TRUE(state_is_as_read(settings));
}

INSTANTIATE_TEST_SUITE_P(Seeds, ScheduleGarbage, testing::Range(41U, 49U));
