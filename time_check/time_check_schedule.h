// Schedules as the store has them: the texts of daily ones, which the scheduled reboot and power saving share, and
// weekly off periods and when they hold, which Wi-Fi and LEDs share.
#ifndef TIME_CHECK_TIME_CHECK_SCHEDULE_H
#define TIME_CHECK_TIME_CHECK_SCHEDULE_H

#include <cstdint>
#include <ctime>

#include "platform/status.h"

// ---- daily ----

// The kind of a schedule.
enum TIMERCHECKTYPE : uint32_t {
    TIMER_CHECK_EACH_DAY = 0,      // every day, as soon as the window opens
    TIMER_CHECK_EACH_DAY_FLOW = 1, // every day, in the window, when the network is quiet
    TIMER_CHECK_ONE_DAY = 2,       // this and the next can be set and do nothing (compat 38)
    TIMER_CHECK_ONE_DAY_FLOW = 3,
};

// Where the store has a daily schedule, and what holds where it says nothing.
struct daily_settings {
    const char *enable; // keys
    const char *type;
    const char *wday;
    const char *start_time;
    const char *end_time;
    const char *max_speed;
    const char *default_start; // "HH:MM"
    const char *default_end;
    const char *default_max_speed;
};

struct daily_schedule {
    uint32_t enabled;
    uint32_t type;       // a TIMERCHECKTYPE, or a number that is none
    uint32_t wday_en[7]; // read and printed; no rule asks for the day (compat 37, 40)
    uint32_t start_time; // seconds since midnight
    uint32_t end_time;   // seconds since midnight; before start_time: the period passes midnight
    uint32_t max_speed;  // kB/s, 1 kB = 1000 bytes
};

// Reads a schedule anew from the store, key by key in the order above. 1 when its start time is the default's, else 0.
int32_t load_daily_schedule(daily_schedule *schedule, const daily_settings *settings);

// Prints a schedule, and the bytes per second that its checks go by, as the caller's lines.
void print_daily_schedule(const daily_schedule *schedule, uint32_t check_speed,
                          const char *function = __builtin_FUNCTION());

// Tells what a schedule says, and whether its start time is the factory's (1).
void tell_daily_schedule(status_daily *told, const daily_schedule *schedule, int32_t has_factory_start);

// Parses "HH:MM" into seconds since midnight; a text without two parts gives the default. Not range-checked.
uint32_t time_check_parse_time_of_day(const char *text, uint32_t default_hour, uint32_t default_minute);

// Parses seven ";"-separated day switches of one character each. Missing ones are 0, an empty one ends the list. Blanks
// are skipped before the seventh alone.
void time_check_parse_wday(const char *text, uint32_t (&wday_en)[7]);

// ---- weekly ----

enum wlan_sw_type : uint32_t {
    WLAN_SW_SAMEDAY = 0, // ends on the day it starts
    WLAN_SW_DIFFDAY = 1, // passes midnight
};

// Indexes of the times in a rule.
enum {
    WLAN_PWDN_TM = 0, // when the period starts
    WLAN_PWUP_TM = 1, // when it ends
    WLAN_SW_CN = 2,
};

// One weekly off period. Of its times only tm_hour, tm_min and tm_wday count, the last a mask of days: bit 0 Sunday.
struct sched_rule {
    wlan_sw_type type;
    struct tm tv[WLAN_SW_CN];
};

constexpr uint32_t SCHED_RULES_MAX = 20;

// Reads the rules of a family of keys: "nkgw.wlan" has "nkgw.wlan.listnum", "nkgw.wlan.offtime.list1" and
// "nkgw.wlan.ontime.list1" and so on. The first rule with a missing or unreadable time ends the list and may be left
// half filled. Gives the number of rules before it.
uint32_t load_sched_rules(const char *family, sched_rule (&rules)[SCHED_RULES_MAX]);

// Tells which setting, and which rules, hold.
void tell_sched_rules(status_weekly *told, uint32_t setting, const sched_rule *rules, uint32_t num);

// Seconds since midnight at which a time of a rule strikes.
uint32_t sched_time_of_day(const struct tm *time);

// Whether rules are to be looked at again: the clock has moved by 2 s or more, either way, since `last_time` (calendar
// seconds), which then becomes `now`.
bool sched_is_due(uint32_t *last_time, time_t now);

// Told the number (from 1) of a rule whose type is none.
using unknown_rule_fn = void (*)(uint32_t number);

// Whether one of the first `num` rules holds at the local time `local`; those of unknown type never do.
// `report_unknown` may be null.
bool sched_rules_hold(const sched_rule *rules, uint32_t num, const struct tm *local, unknown_rule_fn report_unknown);

#endif
