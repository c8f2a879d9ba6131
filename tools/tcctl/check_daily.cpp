// What the nightly restart and power saving do with their settings.
#include <string>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "time_check/time_check_text.h"
#include "tools/tcctl/daemon_rules.h"
#include "tools/tcctl/finding.h"

namespace tcctl
{

namespace
{

constexpr uint32_t LONGEST_OFFSET_S = 8995; // of the factory's start time: 1799 steps of 5 s

void check_kind(const settings &given, const daily_keys &keys, findings &found)
{
    const setting *const where = given.find(keys.type);
    if (where == nullptr || !given.may_be_on(keys.enable))
        return;
    const auto type = static_cast<uint32_t>(given.number(keys.type));
    if (type == TIMER_CHECK_ONE_DAY || type == TIMER_CHECK_ONE_DAY_FLOW)
        found.push_back({fault::kind_does_nothing, *where, "this kind has no behaviour",
                         fmt::format("{} never comes", keys.what), type == TIMER_CHECK_ONE_DAY ? "0" : "1"});
    else if (type > TIMER_CHECK_ONE_DAY_FLOW)
        found.push_back({fault::unknown_kind, *where, "there is no such kind",
                         fmt::format("{} never comes, and the daemon prints a red line every second", keys.what), ""});
}

void check_days(const settings &given, const daily_keys &keys, findings &found)
{
    const setting *const where = given.find(keys.wday);
    if (where == nullptr || where->value.empty() || where->value == "0" || !given.may_be_on(keys.enable))
        return;
    for (const uint32_t day : read_daily(given, keys).schedule.wday_en) {
        if (day != 0)
            continue;
        found.push_back({fault::days_ignored, *where, "no rule asks for the day",
                         fmt::format("{} is every day's", keys.what), "1;1;1;1;1;1;1"});
        return;
    }
}

void check_speed(const settings &given, const daily_keys &keys, findings &found)
{
    const setting *const where = given.find(keys.max_speed);
    if (where == nullptr || where->value.empty() || !given.may_be_on(keys.enable))
        return;
    const uint32_t speed = read_daily(given, keys).schedule.max_speed;
    if (speed == 0)
        found.push_back({fault::never_quiet, *where, "no second has less traffic than none",
                         "the network is quiet only while it has no client", ""});
    else if (speed > UINT32_MAX / 1000)
        found.push_back({fault::speed_wraps, *where, "it is more than the daemon can count",
                         fmt::format("it takes {} bytes a second for it", speed * 1000), ""});
}

// Whether both ends can be judged: they are times of a day, and one of them is in the file.
bool has_window(const settings &given, const daily_keys &keys, const daily_schedule &schedule)
{
    return given.may_be_on(keys.enable) && (given.has(keys.start_time) || given.has(keys.end_time)) &&
           schedule.start_time < SECONDS_A_DAY && schedule.end_time < SECONDS_A_DAY;
}

const setting &end_or_start(const settings &given, const daily_keys &keys)
{
    return *given.find(given.has(keys.end_time) ? keys.end_time : keys.start_time);
}

void check_one_second(const settings &given, const daily_keys &keys, findings &found)
{
    const daily_schedule schedule = read_daily(given, keys).schedule;
    if (has_window(given, keys, schedule) && schedule.start_time == schedule.end_time)
        found.push_back({fault::one_second_window, end_or_start(given, keys), "start and end are the same time",
                         fmt::format("the period of {} is one second a day", keys.what), ""});
}

void check_restart_window(const settings &given, findings &found)
{
    const daily_read read = read_daily(given, RESTART);
    const daily_schedule &schedule = read.schedule;
    if (const setting *const start = given.find(RESTART.start_time);
        start != nullptr && read.is_default_start && !start->value.empty() && given.may_be_on(RESTART.enable))
        found.push_back({fault::restart_start_is_spread, *start, "it is the factory's start time",
                         fmt::format("it is moved once, by a random 0 to {} seconds", LONGEST_OFFSET_S),
                         "02:01, which is kept, where that matters"});
    if (!has_window(given, RESTART, schedule))
        return;
    const setting &where = end_or_start(given, RESTART);
    if (schedule.end_time < schedule.start_time)
        found.push_back({fault::restart_past_midnight, where, "the window passes midnight",
                         "it never restarts: the router would have to be up for more than a hundred years",
                         "a window that begins after midnight"});
    else if (read.is_default_start && schedule.end_time < schedule.start_time + LONGEST_OFFSET_S)
        found.push_back(
            {fault::restart_end_passed, where,
             fmt::format("the factory's start time is moved to at most {}, which passes this end",
                         clock_text(schedule.start_time + LONGEST_OFFSET_S)),
             "where it passes the end the router never restarts",
             fmt::format("an end after {}, or another start", clock_text(schedule.start_time + LONGEST_OFFSET_S))});
}

void check_sleep_switch(const settings &given, findings &found)
{
    const setting *const where = given.find(SLEEP.enable);
    if (where == nullptr)
        return;
    const int32_t enabled = given.number(SLEEP.enable);
    if (enabled != 0 && enabled != 1)
        found.push_back({fault::sleep_without_precedence, *where, "only 1 takes precedence over the schedules",
                         "the router sleeps, and the schedules of Wi-Fi and LEDs switch against it", "1"});
    const setting *const asleep = given.find(KEY_PWR_SAVE_MODE);
    if (enabled == 0 && asleep != nullptr && asleep->value == "1")
        found.push_back({fault::asleep_for_good, *asleep, "the router sleeps, and power saving is off",
                         "it wakes only when it is told to: cfm post time_check 'time_check_power?op=2'", "0"});
}

} // namespace

void check_daily(const settings &given, findings &found)
{
    for (const daily_keys *const keys : {&RESTART, &SLEEP}) {
        check_kind(given, *keys, found);
        check_days(given, *keys, found);
        check_speed(given, *keys, found);
        check_one_second(given, *keys, found);
    }
    check_restart_window(given, found);
    check_sleep_switch(given, found);
}

} // namespace tcctl
