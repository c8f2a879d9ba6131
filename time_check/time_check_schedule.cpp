#include "time_check/time_check_schedule.h"

#include <cstdio>
#include <cstring>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/system.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_status.h"
#include "time_check/time_check_text.h"

// ---- daily ----

uint32_t time_check_parse_time_of_day(const char *text, uint32_t default_hour, uint32_t default_minute)
{
    const char *colon = strchr(text, ':');
    char minute[64];
    if (colon == nullptr || colon == text || !copy_column(minute, sizeof minute, colon + 1, 1))
        return default_hour * SECONDS_AN_HOUR + default_minute * SECONDS_A_MINUTE;
    return static_cast<uint32_t>(time_check_atoi(text)) * SECONDS_AN_HOUR +
           static_cast<uint32_t>(time_check_atoi(minute)) * SECONDS_A_MINUTE;
}

void time_check_parse_wday(const char *text, uint32_t (&wday_en)[7])
{
    memset(wday_en, 0, sizeof wday_en);
    for (uint32_t &day : wday_en) {
        if (*text == '\0' || *text == ';')
            return;
        char first[2] = {*text, '\0'};
        if (&day == &wday_en[6]) // the rest of the text, read as a word: blanks before it do not count (decision 0003)
            copy_column(first, sizeof first, text, 1);
        day = static_cast<uint32_t>(time_check_atoi(first));
        text += strcspn(text, ";");
        if (*text == ';')
            text++;
    }
}

static uint32_t time_of_day_or(const char *text, const char *standard)
{
    const auto hour = static_cast<uint32_t>(time_check_atoi(standard));
    const auto minute = static_cast<uint32_t>(time_check_atoi(standard + sizeof "HH"));
    return time_check_parse_time_of_day(text, hour, minute);
}

void tell_daily_schedule(status_daily *told, const daily_schedule *schedule, int32_t has_factory_start)
{
    told->enabled = schedule->enabled;
    told->type = schedule->type;
    told->start = schedule->start_time;
    told->end = schedule->end_time;
    told->factory_start = static_cast<uint32_t>(has_factory_start);
    status_memory.main.changed = 1;
}

int32_t load_daily_schedule(daily_schedule *schedule, const daily_settings *settings)
{
    char value[64];
    GetValue(settings->enable, value);
    schedule->enabled = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(settings->type, value);
    schedule->type = static_cast<uint32_t>(time_check_atoi(value));
    GetValue(settings->wday, value);
    time_check_parse_wday(value, schedule->wday_en);
    GetValue(settings->start_time, value);
    const bool is_default = value[0] == '\0' || strcmp(value, settings->default_start) == 0;
    schedule->start_time = time_of_day_or(value, settings->default_start);
    GetValue(settings->end_time, value);
    schedule->end_time = time_of_day_or(value, settings->default_end);
    GetValue(settings->max_speed, value);
    schedule->max_speed =
        static_cast<uint32_t>(time_check_atoi(value[0] == '\0' ? settings->default_max_speed : value));
    return is_default ? 1 : 0;
}

void print_daily_schedule(const daily_schedule *schedule, uint32_t check_speed, const char *function)
{
    const uint32_t *day = schedule->wday_en;
    const uint32_t start = schedule->start_time;
    const uint32_t end = schedule->end_time;
    LOG_INFO_OF(function, "\t\t enable:%d\n", schedule->enabled);
    LOG_INFO_OF(function, "\t\t type:%d\n", schedule->type);
    LOG_INFO_OF(function, "\t\t wday_en:%d;%d;%d;%d;%d;%d;%d\n", day[0], day[1], day[2], day[3], day[4], day[5],
                day[6]);
    LOG_INFO_OF(function, "\t\t start_time:%02d:%02d\n", start / 3600, start % 3600 / 60);
    LOG_INFO_OF(function, "\t\t end_time:%02d:%02d\n", end / 3600, end % 3600 / 60);
    LOG_INFO_OF(function, "\t\t max_speed:%d\n", schedule->max_speed);
    // An equals sign where the lines above have a colon (compat 43).
    LOG_INFO_OF(function, "\t\t check_speed=%d\n", check_speed);
}

// ---- weekly: loading ----

// A time whose text fills the buffer may have lost its last digit, so it is not taken (decision 0040).
static bool load_time(const char *family, const char *field, uint32_t number, struct tm *time)
{
    char key[64];
    char text[512];
    snprintf(key, sizeof key, "%s%s%u", family, field, number);
    return GetValue(key, text) == 1 && strlen(text) < sizeof text - 1 && utc2tm(text, time) == 0;
}

// The days of the start count for both ends, whatever days the end was written with.
static void derive_type(sched_rule *rule)
{
    const struct tm *off = &rule->tv[WLAN_PWDN_TM];
    struct tm *on = &rule->tv[WLAN_PWUP_TM];
    if (sched_time_of_day(off) > sched_time_of_day(on)) {
        rule->type = WLAN_SW_DIFFDAY;
        const auto days = static_cast<uint32_t>(off->tm_wday);
        on->tm_wday = static_cast<int>((days << 1 | days >> 6) & 0x7f); // the days after, Sunday after Saturday
    } else {
        rule->type = WLAN_SW_SAMEDAY;
        on->tm_wday = off->tm_wday;
    }
}

uint32_t load_sched_rules(const char *family, sched_rule (&rules)[SCHED_RULES_MAX])
{
    char key[64];
    char text[64];
    snprintf(key, sizeof key, RULES_KEY_LISTNUM, family);
    GetValue(key, text);
    auto count = static_cast<uint32_t>(time_check_atoi(text));
    if (count > SCHED_RULES_MAX)
        count = 0; // not cut to the maximum (compat 46)

    for (uint32_t i = 0; i < count; i++) {
        sched_rule *rule = &rules[i];
        if (!load_time(family, RULE_FIELD_OFFTIME, i + 1, &rule->tv[WLAN_PWDN_TM]) ||
            !load_time(family, RULE_FIELD_ONTIME, i + 1, &rule->tv[WLAN_PWUP_TM]))
            return i;
        derive_type(rule);
    }
    return count;
}

void tell_sched_rules(status_weekly *told, uint32_t setting, const sched_rule *rules, uint32_t num)
{
    told->setting = setting;
    told->num = num;
    for (uint32_t i = 0; i < num; i++) {
        const struct tm *off = &rules[i].tv[WLAN_PWDN_TM];
        const struct tm *on = &rules[i].tv[WLAN_PWUP_TM];
        told->rules[i] = {.start_hour = static_cast<uint8_t>(off->tm_hour),
                          .start_minute = static_cast<uint8_t>(off->tm_min),
                          .start_days = static_cast<uint8_t>(off->tm_wday),
                          .end_hour = static_cast<uint8_t>(on->tm_hour),
                          .end_minute = static_cast<uint8_t>(on->tm_min),
                          .end_days = static_cast<uint8_t>(on->tm_wday),
                          .passes_midnight = rules[i].type == WLAN_SW_DIFFDAY,
                          .reserved = 0};
    }
    status_memory.main.changed = 1;
}

// ---- weekly: matching ----

uint32_t sched_time_of_day(const struct tm *time)
{
    return static_cast<uint32_t>(time->tm_hour) * SECONDS_AN_HOUR +
           static_cast<uint32_t>(time->tm_min) * SECONDS_A_MINUTE;
}

bool sched_is_due(uint32_t *last_time, time_t now)
{
    constexpr uint32_t PERIOD_S = 2;
    const auto seconds = static_cast<uint32_t>(now);
    if (time_check_seconds_apart(seconds, *last_time) < PERIOD_S)
        return false;
    *last_time = seconds;
    return true;
}

static bool has_day(const struct tm *time, int day)
{
    return (static_cast<uint32_t>(time->tm_wday) >> static_cast<uint32_t>(day) & 1U) != 0;
}

bool sched_rules_hold(const sched_rule *rules, uint32_t num, const struct tm *local, unknown_rule_fn report_unknown)
{
    const uint32_t now = sched_time_of_day(local) + static_cast<uint32_t>(local->tm_sec);
    for (uint32_t i = 0; i < num; i++) {
        const struct tm *off = &rules[i].tv[WLAN_PWDN_TM];
        const struct tm *on = &rules[i].tv[WLAN_PWUP_TM];
        const uint32_t start = sched_time_of_day(off);
        const uint32_t end = sched_time_of_day(on);
        bool holds = false;
        switch (rules[i].type) {
        case WLAN_SW_SAMEDAY:
            holds = has_day(off, local->tm_wday) && start <= now && now <= end;
            break;
        case WLAN_SW_DIFFDAY: // the end's own second is outside, unlike the same day's (compat 47)
            holds = (has_day(off, local->tm_wday) && now >= start) || (has_day(on, local->tm_wday) && now < end);
            break;
        default:
            if (report_unknown != nullptr)
                report_unknown(i + 1);
            break;
        }
        if (holds)
            return true;
    }
    return false;
}
