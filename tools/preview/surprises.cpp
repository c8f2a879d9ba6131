#include "tools/preview/surprises.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"
#include "time_check/time_check_schedule.h"
#include "tools/preview/calendar.h"

namespace preview
{

namespace
{

constexpr int SOON_S = 120; // after a restart: switched on and off again
constexpr int NIGHT_S = 12 * 3600;
constexpr int NOON_S = 12 * 3600; // no change of the clock moves it to another day

std::string setting(const std::string &key)
{
    return sim::router().store.get(key);
}

int number(const std::string &key)
{
    return std::atoi(setting(key).c_str());
}

std::string when(time_t time)
{
    return local_text(time, "%a %Y-%m-%d %H:%M");
}

// ---- the scheduled restart ----

struct window {
    int start; // seconds since midnight
    int end;
};

std::optional<window> restart_window()
{
    if (number(KEY_REBOOT_ENABLE) == 0 || number(KEY_REBOOT_TYPE) < 0 ||
        number(KEY_REBOOT_TYPE) > static_cast<int>(TIMER_CHECK_EACH_DAY_FLOW))
        return std::nullopt;
    return window{.start = static_cast<int>(time_check_parse_time_of_day(setting(KEY_REBOOT_START_TIME).c_str(), 2, 0)),
                  .end = static_cast<int>(time_check_parse_time_of_day(setting(KEY_REBOOT_END_TIME).c_str(), 5, 30))};
}

reboot_verdict verdict_at(const std::vector<recorder::finding> &findings, time_t at)
{
    const auto after = std::ranges::upper_bound(findings, at, {}, &recorder::finding::since);
    return after == findings.begin() ? reboot_verdict::off : std::prev(after)->verdict;
}

bool is_restarted_within(const plan &of, time_t from, time_t to)
{
    return std::ranges::any_of(
        of.acts, [from, to](const act &one) { return one.of == track::restart && one.at >= from && one.at <= to; });
}

void add_windows_without_restart(plan &into, const std::vector<recorder::finding> &findings)
{
    std::vector<surprise> found;
    for (const span &each : into.spans) {
        if (each.of != track::restart || each.state != "window" || each.to >= into.to || each.from <= into.from ||
            is_restarted_within(into, each.from, each.to))
            continue;
        const meaning means = meaning_of(verdict_at(findings, each.to - 2));
        found.push_back({.at = each.from,
                         .kind = "no_restart",
                         .text = fmt::format("No restart comes in this window. {}", means.why)});
    }
    into.surprises.insert(into.surprises.end(), found.begin(), found.end());
}

void add_two_restarts(plan &into)
{
    time_t last = 0;
    for (const act &each : into.acts) {
        if (each.of != track::restart)
            continue;
        if (last != 0 && each.at - last < NIGHT_S)
            into.surprises.push_back(
                {.at = each.at,
                 .kind = "two_restarts",
                 .text = fmt::format("The second restart in a night: the first was at {}.", when(last))});
        last = each.at;
    }
}

// ---- what a restart brings with it ----

// Switched to what is not wanted within two minutes of a restart, and back.
void add_on_and_off(plan &into)
{
    time_t restarted = 0;
    const act *on = nullptr;
    for (const act &each : into.acts) {
        if (each.of == track::restart) {
            restarted = each.at;
            on = nullptr;
        } else if (restarted == 0 || each.at - restarted > SOON_S || each.of != track::wifi) {
            continue;
        } else if (each.what == "on") {
            on = &each;
        } else if (on != nullptr) {
            const time_t after = each.at - on->at;
            into.surprises.push_back(
                {.at = on->at,
                 .kind = "on_and_off",
                 .text = fmt::format(
                     "Wi-Fi comes on after the restart, and goes off again {}: a start of the daemon brings it "
                     "in line with what the user enabled before the periods are looked at.",
                     after == 0 ? "at once" : fmt::format("{} s later", after))});
            on = nullptr;
        }
    }
}

// ---- periods ----

bool is_off_within(const plan &of, track which, time_t from, time_t to)
{
    return std::ranges::any_of(of.spans, [which, from, to](const span &one) {
        return one.of == which && one.state == "off" && one.from <= to && one.to > from;
    });
}

void add_unseen_of_rule(plan &into, track which, unsigned rule_number, const sched_rule &rule)
{
    const struct tm &off = rule.tv[WLAN_PWDN_TM];
    const int start = static_cast<int>(sched_time_of_day(&off));
    const int end = static_cast<int>(sched_time_of_day(&rule.tv[WLAN_PWUP_TM]));
    unsigned unseen = 0;
    time_t first = 0;
    for (const local_day &day : days_between(into.from, into.to)) {
        const int weekday = std::atoi(local_text(day.begin + NOON_S, "%w").c_str());
        if ((static_cast<unsigned>(off.tm_wday) >> static_cast<unsigned>(weekday) & 1U) == 0)
            continue;
        const local_day last = rule.type == WLAN_SW_DIFFDAY ? days_between(day.end, day.end + 1).front() : day;
        const time_t begins = moment_on(day, start);
        const time_t ends = moment_on(last, end);
        if (begins < into.from || ends + 5 >= into.to || is_off_within(into, which, begins, ends + 2))
            continue;
        unseen++;
        first = first == 0 ? begins : first;
    }
    if (unseen > 0)
        into.surprises.push_back(
            {.at = first,
             .kind = "unseen_period",
             .text =
                 fmt::format("Period {} of {} is never seen: nothing goes off at {}{}.", rule_number, title_of(which),
                             when(first), unseen == 1 ? "" : fmt::format(" nor {} more times", unseen - 1))});
}

void add_unseen_periods(plan &into, track which, const char *family)
{
    std::array<sched_rule, SCHED_RULES_MAX> rules = {};
    const auto wanted = number(std::string(family) + ".listnum");
    const uint32_t read = load_sched_rules(family, *reinterpret_cast<sched_rule(*)[SCHED_RULES_MAX]>(rules.data()));
    if (wanted > 0 && read < static_cast<uint32_t>(wanted))
        into.surprises.push_back(
            {.at = into.from,
             .kind = "unread_period",
             .text =
                 wanted > static_cast<int>(SCHED_RULES_MAX)
                     ? fmt::format("None of the {} periods of {} is read: there may be 20.", wanted, title_of(which))
                     : fmt::format("Period {} of {} and those after it are not read: a time of it is missing or "
                                   "cannot be read.",
                                   read + 1, title_of(which))});
    for (uint32_t i = 0; i < read; i++)
        add_unseen_of_rule(into, which, i + 1, rules.at(i));
}

void add_never_opening(plan &into)
{
    const std::optional<window> wanted = restart_window();
    if (!wanted && number(KEY_REBOOT_ENABLE) != 0)
        into.surprises.push_back({.at = into.from,
                                  .kind = "never_opens",
                                  .text = "No restart comes: the schedule's type is one that does nothing."});
    if (wanted && wanted->start > wanted->end)
        into.surprises.push_back({.at = into.from,
                                  .kind = "never_opens",
                                  .text = "The restart's window passes midnight, and therefore never opens."});
}

} // namespace

void add_restart_windows(plan &into)
{
    const std::optional<window> wanted = restart_window();
    if (!wanted || wanted->start > wanted->end)
        return;
    for (const local_day &day : days_between(into.from, into.to)) {
        const time_t begin = std::max(moment_on(day, wanted->start), into.from);
        const time_t end = std::min(moment_on(day, wanted->end) + 1, into.to); // its last second is inside
        if (begin < end)
            into.spans.push_back({.of = track::restart, .state = "window", .from = begin, .to = end});
    }
}

void add_surprises(plan &into, const std::vector<recorder::finding> &reboot_findings)
{
    add_never_opening(into);
    add_windows_without_restart(into, reboot_findings);
    add_two_restarts(into);
    add_on_and_off(into);
    add_unseen_periods(into, track::wifi, WIFI_RULES);
    if (setting(KEY_LED_TYPE) == "time")
        add_unseen_periods(into, track::led, LED_RULES);
    std::ranges::stable_sort(into.surprises, {}, &surprise::at);
}

} // namespace preview
