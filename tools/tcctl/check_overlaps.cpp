// Schedules that meet: Wi-Fi, LEDs, power saving and the nightly restart.
#include <optional>
#include <string>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "tools/tcctl/daemon_rules.h"
#include "tools/tcctl/finding.h"

namespace tcctl
{

namespace
{

constexpr uint32_t MINUTE_S = 60;

// The part of a day from start to end, which may pass midnight.
struct span_of_day {
    uint32_t start;
    uint32_t end;

    [[nodiscard]] bool has(uint32_t second) const
    {
        if (start <= end)
            return start <= second && second <= end;
        return second >= start || second <= end;
    }
};

// Of a daily schedule that is on by the settings themselves, with times of a day.
std::optional<span_of_day> period_of(const settings &given, const daily_keys &keys)
{
    const daily_schedule schedule = read_daily(given, keys).schedule;
    if (schedule.enabled == 0 || schedule.type > TIMER_CHECK_EACH_DAY_FLOW || schedule.start_time >= SECONDS_A_DAY ||
        schedule.end_time >= SECONDS_A_DAY)
        return std::nullopt;
    return span_of_day{schedule.start_time, schedule.end_time};
}

const setting &first_of(const settings &given, const char *key, const char *otherwise)
{
    return *given.find(given.has(key) ? key : otherwise);
}

bool holds_on_any_day(const weekly_read &rules, uint32_t second)
{
    for (int day = 0; day < 7; day++)
        if (rules.holds(day, second))
            return true;
    return false;
}

// ---- waking ----

void check_waking_wifi(const settings &given, const span_of_day &sleep, const weekly_read &wifi, findings &found)
{
    const uint32_t wakes = (sleep.end + 1) % SECONDS_A_DAY;
    if (!given.has(KEY_WIFI_SCHED_ENABLE) && !given.is_whole())
        return;
    if (given.number(KEY_WIFI_SCHED_ENABLE) == 1 || !holds_on_any_day(wifi, wakes))
        return;
    found.push_back({fault::waking_switches_wifi_on, first_of(given, SLEEP.end_time, SLEEP.enable),
                     "the router wakes inside an off period of Wi-Fi, and sys.sched.wifi.enable is not 1",
                     fmt::format("Wi-Fi comes on at {} and stays on until the next period", clock_text(sleep.end)),
                     "sys.sched.wifi.enable=1"});
}

void check_waking_leds(const settings &given, const span_of_day &sleep, const weekly_read &leds, findings &found)
{
    if (given.value(KEY_LED_TYPE) != "time" || leds.number == 0)
        return;
    const uint32_t wakes = (sleep.end + 1) % SECONDS_A_DAY;
    const span_of_day first = {sched_time_of_day(&leds.rules[0].tv[WLAN_PWDN_TM]),
                               sched_time_of_day(&leds.rules[0].tv[WLAN_PWUP_TM])};
    for (int day = 0; day < 7; day++) {
        if (first.has(wakes) == leds.holds(day, wakes))
            continue;
        found.push_back({fault::waking_leds_by_first_rule, first_of(given, SLEEP.end_time, SLEEP.enable),
                         "on waking the LEDs' first rule alone counts, as if it held every day",
                         first.has(wakes) ? "the LEDs stay off for up to two seconds though no rule holds"
                                          : "the LEDs come on for up to two seconds though a rule holds",
                         "the rule of the night first"});
        return;
    }
}

// ---- periods that begin while power saving waits for a quiet network ----

void check_standing_still(const settings &given, const span_of_day &sleep, const char *family, const weekly_read &read,
                          findings &found)
{
    const daily_schedule schedule = read_daily(given, SLEEP).schedule;
    if (schedule.enabled != 1 || schedule.type != TIMER_CHECK_EACH_DAY_FLOW)
        return;
    for (uint32_t i = 0; i < read.number; i++) {
        const uint32_t start = sched_time_of_day(&read.rules[i].tv[WLAN_PWDN_TM]);
        if (!sleep.has(start))
            continue;
        const setting &where = *given.find(fmt::format("{}{}{}", family, RULE_FIELD_OFFTIME, i + 1));
        found.push_back(
            {fault::period_stands_still, where,
             fmt::format("it begins inside the power-saving period {} to {}, in which the rules stand still",
                         clock_text(sleep.start), clock_text(sleep.end)),
             "nothing is switched off before the network is quiet, or the power-saving period is over",
             fmt::format("a time before {}", clock_text(sleep.start))});
    }
}

// ---- the restart ----

void check_restart(const settings &given, const span_of_day &restart, const std::optional<span_of_day> &sleep,
                   const weekly_read &wifi, findings &found)
{
    const setting &where = first_of(given, RESTART.start_time, RESTART.enable);
    bool in_wifi = false;
    bool in_sleep = false;
    for (uint32_t second = 0; second < SECONDS_A_DAY; second += MINUTE_S) {
        in_wifi = in_wifi || (restart.has(second) && holds_on_any_day(wifi, second));
        in_sleep = in_sleep || (restart.has(second) && sleep && sleep->has(second));
    }
    if (in_wifi && !in_sleep)
        found.push_back({fault::restart_in_wifi_period, where, "the window meets an off period of Wi-Fi",
                         "after the restart Wi-Fi comes on for up to two seconds", ""});
    if (in_sleep && read_daily(given, SLEEP).schedule.type == TIMER_CHECK_EACH_DAY_FLOW)
        found.push_back({fault::restart_in_sleep, where, "the window meets the power-saving period",
                         "after the restart Wi-Fi is on until the network has been quiet once more", ""});
}

} // namespace

void check_overlaps(const settings &given, findings &found)
{
    const weekly_read wifi = read_weekly(given, WIFI_RULES);
    const weekly_read leds = read_weekly(given, LED_RULES);
    const std::optional<span_of_day> sleep = period_of(given, SLEEP);
    const std::optional<span_of_day> restart = period_of(given, RESTART);
    if (sleep) {
        check_waking_wifi(given, *sleep, wifi, found);
        check_waking_leds(given, *sleep, leds, found);
        check_standing_still(given, *sleep, WIFI_RULES, wifi, found);
        if (given.value(KEY_LED_TYPE) == "time")
            check_standing_still(given, *sleep, LED_RULES, leds, found);
    }
    if (restart && restart->start <= restart->end) // else it never comes
        check_restart(given, *restart, sleep, wifi, found);
}

} // namespace tcctl
