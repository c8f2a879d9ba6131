// The daemon's own readers of settings, led to settings of ours instead of the store (decision 0153).
#ifndef TOOLS_TCCTL_DAEMON_RULES_H
#define TOOLS_TCCTL_DAEMON_RULES_H

#include <cstdint>
#include <optional>
#include <string>

#include "time_check/time_check_schedule.h"
#include "tools/tcctl/settings.h"

namespace tcctl
{

// The daemon's keys of a daily schedule.
struct daily_keys {
    const char *what; // for people
    const char *enable;
    const char *type;
    const char *wday;
    const char *start_time;
    const char *end_time;
    const char *max_speed;
};

extern const daily_keys RESTART;
extern const daily_keys SLEEP;

// As the module has it after loading. `is_default_start` is 1 for the factory's start time.
struct daily_read {
    daily_schedule schedule = {};
    bool is_default_start = false;
};

daily_read read_daily(const settings &given, const daily_keys &keys);

// What the daemon makes of a daily time: seconds since midnight, which may be beyond the day; none when the standard
// counts instead.
std::optional<uint32_t> read_time_of_day(const std::string &text);

struct weekly_read {
    uint32_t number = 0; // of rules that were read
    sched_rule rules[SCHED_RULES_MAX] = {};

    // Whether one of them holds: day from 0, Sunday; seconds since midnight.
    [[nodiscard]] bool holds(int day, uint32_t second) const;
};

// The rules of WIFI_RULES or LED_RULES.
weekly_read read_weekly(const settings &given, const char *family);

// Seconds since midnight as "HH:MM".
std::string clock_text(uint32_t second);

constexpr uint32_t SECONDS_A_DAY = 86400;

} // namespace tcctl

#endif
