// The Wi-Fi schedule and the LED setting.
#include <algorithm>
#include <array>
#include <ctime>
#include <string>

#include <fmt/format.h>

#include "tools/tcctl/explain.h"
#include "tools/tcctl/gates.h"
#include "tools/tcctl/local_edges.h"
#include "tools/tcctl/times.h"

namespace tcctl
{

namespace
{

constexpr uint32_t BY_PERIODS = 2; // the LEDs' setting

// "daily", "Mon", "Mon-Fri", "Mon,Wed": runs are shown as such.
std::string days_text(uint8_t days)
{
    constexpr unsigned DAYS = 7;
    constexpr std::array<const char *, DAYS> NAMES = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    const auto has = [days](unsigned day) { return (days >> day % DAYS & 1U) != 0; };
    if ((days & 0x7fU) == 0x7fU)
        return "daily";
    std::string text;
    for (unsigned day = 0; day < DAYS; day++) {
        if (!has(day) || has(day + DAYS - 1))
            continue;
        unsigned last = day;
        while (has(last + 1))
            last++;
        text += fmt::format("{}{}", text.empty() ? "" : ",", NAMES[day]);
        if (last > day)
            text += fmt::format("{}{}", last == day + 1 ? "," : "-", NAMES[last % DAYS]);
    }
    return text;
}

std::string period_text(const status_rule &rule)
{
    return fmt::format("{} {:02}:{:02}-{:02}:{:02}", days_text(rule.start_days), rule.start_hour, rule.start_minute,
                       rule.end_hour, rule.end_minute);
}

uint32_t rules_in_use(const status_weekly &weekly)
{
    return std::min<uint32_t>(weekly.num, STATUS_RULES);
}

std::string num_text(const status_weekly &weekly)
{
    return rules_in_use(weekly) < 2 ? "a period that can be read"
                                    : fmt::format("{} periods that can be read", rules_in_use(weekly));
}

// The first period that holds now, or how many there are.
std::string periods_text(const status_weekly &weekly, const judged_second &now)
{
    status_weekly one = {};
    one.num = 1;
    for (uint32_t i = 0; i < rules_in_use(weekly); i++) {
        one.rules[0] = weekly.rules[i];
        if (holds_at(weekly_periods(one), now.calendar))
            return period_text(weekly.rules[i]);
    }
    return weekly.num == 1 ? period_text(weekly.rules[0]) : fmt::format("all {} periods", weekly.num);
}

std::string power_text(const status_daily &daily, const judged_second &now)
{
    if (daily.enabled != 1)
        return "power saving is off";
    return fmt::format("{} outside power saving's {}-{}", time_of(now.calendar, now.calendar), time_of_day(daily.start),
                       time_of_day(daily.end));
}

std::string inside_text(const status_weekly &weekly, const judged_second &now, bool is_inside)
{
    return fmt::format("{} {} {}", time_of(now.calendar, now.calendar), is_inside ? "inside" : "outside",
                       periods_text(weekly, now));
}

void expect_turn(explanation &made, const status_weekly &weekly, const judged_second &now, bool wanted,
                 const char *what)
{
    if (const std::optional<int64_t> at = next_turn(weekly_periods(weekly), now.calendar, wanted); at)
        made.next = coming{*at, what};
}

void expect_power_end(explanation &made, const status_daily &daily, const judged_second &now)
{
    const std::optional<int64_t> end = next_turn(daily_window(daily.start, daily.end), now.calendar, false);
    if (end)
        made.next = coming{*end, "power saving's period ends"};
}

// ---- Wi-Fi ----

using walk = gate_walk<wifi>;

void add_gates(walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum wifi;
    const status_weekly &weekly = page.main.wifi;
    const bool is_inside = rule.is({in_period, on_by_hand, switching_off});
    rule.add("periods", {no_period}, num_text(weekly));
    const bool is_lifted = !rule.is({clock_unset}) && !clock_is_set(now); // by debug
    rule.add("clock", {clock_unset}, is_lifted ? "clock set, not asked while debug is on" : "clock set");
    rule.add("power", {power_saving_first}, power_text(page.main.power, now));
    rule.add("period", {}, inside_text(weekly, now, is_inside));
    if (is_inside)
        rule.add("switching", {in_period, on_by_hand}, "to be switched off",
                 rule.is({in_period}) ? "it is off"
                                      : "on since the period began, by hand, or it could not be switched");
    else
        rule.add("switching", {between_periods, off_by_hand}, "to be switched on",
                 rule.is({between_periods}) ? "it is on" : "off by hand, or by its own switches");
}

} // namespace

explanation explain_wifi(const time_check_status &page, const judged_second &now)
{
    using enum wifi;
    const status_row &row = page.main.rows[STATUS_WIFI];
    const status_weekly &weekly = page.main.wifi;
    walk rule("wifi", row, row.verdict);
    rule.is_wrong_if({clock_unset});
    add_gates(rule, page, now);
    explanation &made = rule.made();
    if (!rule.is({no_period, clock_unset, power_saving_first}))
        made.brief = periods_text(weekly, now);
    if (rule.is({power_saving_first}))
        expect_power_end(made, page.main.power, now);
    else if (rule.is({in_period, switching_off, off_by_hand}))
        expect_turn(made, weekly, now, false, "Wi-Fi on");
    else if (rule.is({between_periods, switching_on, on_by_hand}))
        expect_turn(made, weekly, now, true, "Wi-Fi off");
    return std::move(made);
}

// ---- LEDs ----

namespace
{

using led_walk = gate_walk<led>;

const char *setting_text(uint32_t setting)
{
    if (setting == BY_PERIODS)
        return "the setting goes by periods";
    return setting == 1 ? "the setting wants the LEDs on" : "the setting wants the LEDs off, or is none";
}

void add_gates(led_walk &rule, const time_check_status &page, const judged_second &now)
{
    using enum led;
    const status_weekly &weekly = page.main.led;
    rule.add("setting", {}, setting_text(weekly.setting));
    if (weekly.setting == BY_PERIODS) {
        rule.add("periods", {no_period}, num_text(weekly));
        rule.add("clock", {clock_unset}, "clock set");
    }
    if (page.main.power.enabled == 1 && !clock_is_set(now))
        rule.add("power", {power_saving_first}, "without a clock there is no power saving");
    else
        rule.add("power", {power_saving_first}, power_text(page.main.power, now));
    if (weekly.setting == BY_PERIODS)
        rule.add("period", {}, inside_text(weekly, now, rule.is({in_period})));
}

} // namespace

explanation explain_led(const time_check_status &page, const judged_second &now)
{
    using enum led;
    const status_row &row = page.main.rows[STATUS_LED];
    const status_weekly &weekly = page.main.led;
    led_walk rule("led", row, row.verdict);
    rule.is_wrong_if({clock_unset});
    add_gates(rule, page, now);
    explanation &made = rule.made();
    if (rule.is({in_period, between_periods}))
        made.brief = periods_text(weekly, now);
    if (rule.is({power_saving_first}))
        expect_power_end(made, page.main.power, now);
    else if (rule.is({in_period}))
        expect_turn(made, weekly, now, false, "LEDs on");
    else if (rule.is({between_periods}))
        expect_turn(made, weekly, now, true, "LEDs off");
    return std::move(made);
}

} // namespace tcctl
