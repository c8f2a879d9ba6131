#include "tools/tcctl/daemon_rules.h"

#include <cstddef>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "tools/key_table.h"

// What the daemon's units here call for GetValue, with its meaning.
extern "C" int tcctl_get_value(const char *key, char *value, size_t size);

namespace
{

const tcctl::settings *read_from; // while one of the daemon's readers runs

} // namespace

int tcctl_get_value(const char *key, char *value, size_t size)
{
    const tcctl::setting *const found = read_from->find(key);
    const std::string text = found == nullptr ? "" : found->value;
    const size_t length = text.copy(value, size - 1);
    value[length] = '\0';
    return found == nullptr ? 0 : 1;
}

namespace tcctl
{

const daily_keys RESTART = {
    .what = "the restart",
    .enable = KEY_REBOOT_ENABLE,
    .type = KEY_REBOOT_TYPE,
    .wday = KEY_REBOOT_WDAY,
    .start_time = KEY_REBOOT_START_TIME,
    .end_time = KEY_REBOOT_END_TIME,
    .max_speed = KEY_REBOOT_MAX_SPEED,
};

const daily_keys SLEEP = {
    .what = "power saving",
    .enable = KEY_POWER_ENABLE,
    .type = KEY_POWER_TYPE,
    .wday = KEY_POWER_WDAY,
    .start_time = KEY_POWER_START_TIME,
    .end_time = KEY_POWER_END_TIME,
    .max_speed = KEY_POWER_MAX_SPEED,
};

daily_read read_daily(const settings &given, const daily_keys &keys)
{
    const auto standard = [](const char *key) { return std::string(keys::find(key)->standard); };
    const std::string start = standard(keys.start_time);
    const std::string end = standard(keys.end_time);
    const std::string speed = standard(keys.max_speed);
    const daily_settings of_module = {
        .enable = keys.enable,
        .type = keys.type,
        .wday = keys.wday,
        .start_time = keys.start_time,
        .end_time = keys.end_time,
        .max_speed = keys.max_speed,
        .default_start = start.c_str(),
        .default_end = end.c_str(),
        .default_max_speed = speed.c_str(),
    };
    daily_read result;
    read_from = &given;
    result.is_default_start = load_daily_schedule(&result.schedule, &of_module) == 1;
    return result;
}

std::optional<uint32_t> read_time_of_day(const std::string &text)
{
    // Two standards: what is read does not hang on them.
    const uint32_t one = time_check_parse_time_of_day(text.c_str(), 1, 0);
    const uint32_t other = time_check_parse_time_of_day(text.c_str(), 2, 0);
    return one == other ? std::optional(one) : std::nullopt;
}

bool weekly_read::holds(int day, uint32_t second) const
{
    struct tm local = {};
    local.tm_wday = day;
    local.tm_hour = static_cast<int>(second / 3600);
    local.tm_min = static_cast<int>(second / 60 % 60);
    local.tm_sec = static_cast<int>(second % 60);
    return sched_rules_hold(rules, number, &local, nullptr);
}

weekly_read read_weekly(const settings &given, const char *family)
{
    weekly_read result;
    read_from = &given;
    result.number = load_sched_rules(family, result.rules);
    return result;
}

std::string clock_text(uint32_t second)
{
    return fmt::format("{:02}:{:02}", second / 3600, second / 60 % 60);
}

} // namespace tcctl
