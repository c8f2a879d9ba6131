#include "tools/tcctl/local_edges.h"

#include <algorithm>
#include <ctime>

namespace tcctl
{

namespace
{

constexpr int64_t DAY_S = 86400;
constexpr int64_t DAYS_AHEAD = 9; // a week, and a clock that jumps at its end

// A stretch of time in which local time goes on evenly.
struct stretch {
    int64_t begin;
    int64_t end;
    int64_t offset; // of local time to UTC, seconds
};

struct tm local_at(int64_t calendar)
{
    const time_t asked = calendar;
    struct tm local = {};
    localtime_r(&asked, &local);
    return local;
}

int64_t offset_at(int64_t calendar)
{
    return local_at(calendar).tm_gmtoff;
}

// The first second with another offset than `begin`, no later than `end`, which has one.
int64_t jump_between(int64_t begin, int64_t end)
{
    const int64_t offset = offset_at(begin);
    while (end - begin > 1) {
        const int64_t middle = begin + (end - begin) / 2;
        (offset_at(middle) == offset ? begin : end) = middle;
    }
    return end;
}

std::vector<stretch> stretches(int64_t from, int64_t days)
{
    constexpr int64_t STEP_S = 21600; // no zone changes twice within it
    std::vector<stretch> found = {{from, from, offset_at(from)}};
    for (int64_t at = from; at < from + days * DAY_S; at += STEP_S) {
        const int64_t next = at + STEP_S;
        if (offset_at(next) != found.back().offset) {
            const int64_t jump = jump_between(at, next);
            found.back().end = jump;
            found.push_back({jump, jump, offset_at(jump)});
        }
        found.back().end = next;
    }
    return found;
}

// The seconds after `from` in which the rule may change.
std::vector<int64_t> candidates(const local_rule &rule, int64_t from, int64_t days)
{
    std::vector<int64_t> found;
    for (const stretch &even : stretches(from, days)) {
        found.push_back(even.begin);
        const int64_t midnight = (even.begin + even.offset) / DAY_S * DAY_S - even.offset;
        for (int64_t day = midnight - DAY_S; day < even.end; day += DAY_S) { // from a day early on, for 1970
            found.push_back(day);
            for (const uint32_t time : rule.times)
                found.push_back(day + time);
        }
        std::erase_if(found, [&](int64_t at) { return at > even.end; });
    }
    std::erase_if(found, [from](int64_t at) { return at <= from; });
    std::sort(found.begin(), found.end());
    return found;
}

uint32_t seconds_of(const struct tm &local)
{
    return static_cast<uint32_t>(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
}

bool has_day(uint8_t days, int day)
{
    return (days >> static_cast<unsigned>(day) & 1U) != 0;
}

uint32_t start_of(const status_rule &rule)
{
    return rule.start_hour * 3600U + rule.start_minute * 60U;
}

uint32_t end_of(const status_rule &rule)
{
    return rule.end_hour * 3600U + rule.end_minute * 60U;
}

// One that passes midnight does not hold in the second in which it ends, any other does.
bool period_holds(const status_rule &rule, const struct tm &local)
{
    const uint32_t now = seconds_of(local);
    if (rule.passes_midnight == 0)
        return has_day(rule.start_days, local.tm_wday) && start_of(rule) <= now && now <= end_of(rule);
    return (has_day(rule.start_days, local.tm_wday) && now >= start_of(rule)) ||
           (has_day(rule.end_days, local.tm_wday) && now < end_of(rule));
}

} // namespace

bool holds_at(const local_rule &rule, int64_t calendar)
{
    return rule.holds(local_at(calendar));
}

static std::optional<int64_t> next_turn_within(const local_rule &rule, int64_t from, bool wanted, int64_t days)
{
    bool holds = holds_at(rule, from);
    for (const int64_t at : candidates(rule, from, days)) {
        const bool held = holds;
        holds = holds_at(rule, at);
        if (holds == wanted && held != wanted)
            return at;
    }
    return std::nullopt;
}

// Most rules turn within a day, and nine days of local time take a good part of a status's time.
std::optional<int64_t> next_turn(const local_rule &rule, int64_t from, bool wanted)
{
    const std::optional<int64_t> soon = next_turn_within(rule, from, wanted, 1);
    return soon ? soon : next_turn_within(rule, from, wanted, DAYS_AHEAD);
}

local_rule daily_window(uint32_t start, uint32_t end)
{
    return {{start, end + 1}, [start, end](const struct tm &local) {
                const uint32_t now = seconds_of(local);
                return start <= end ? start <= now && now <= end : now >= start || now <= end;
            }};
}

local_rule weekly_periods(const status_weekly &weekly)
{
    const uint32_t num = std::min<uint32_t>(weekly.num, STATUS_RULES);
    const std::vector<status_rule> rules(weekly.rules, weekly.rules + num);
    std::vector<uint32_t> times;
    for (const status_rule &rule : rules) {
        times.push_back(start_of(rule));
        times.push_back(end_of(rule) + (rule.passes_midnight == 0 ? 1 : 0));
    }
    return {times, [rules](const struct tm &local) {
                return std::any_of(rules.begin(), rules.end(),
                                   [&](const status_rule &rule) { return period_holds(rule, local); });
            }};
}

} // namespace tcctl
