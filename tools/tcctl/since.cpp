#include "tools/tcctl/since.h"

#include <charconv>
#include <cstdio>
#include <ctime>
#include <string>

namespace tcctl
{

namespace
{

constexpr int64_t DAY_S = 86400;

std::optional<int64_t> ago(std::string_view text, int64_t now)
{
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), number);
    const std::string_view unit(end, static_cast<size_t>(text.data() + text.size() - end));
    if (error != std::errc() || number < 0 || number > 1000000 || unit.size() != 1)
        return {};
    switch (unit[0]) {
    case 's':
        return now - number;
    case 'm':
        return now - number * 60;
    case 'h':
        return now - number * 3600;
    case 'd':
        return now - number * DAY_S;
    default:
        return {};
    }
}

struct time_of_clock {
    int hour = 0;
    int minute = 0;
    int second = 0;
};

std::optional<time_of_clock> clock_of(const std::string &text)
{
    time_of_clock clock;
    int length = 0;
    const int fields =
        sscanf(text.c_str(), "%2d:%2d%n:%2d%n", &clock.hour, &clock.minute, &length, &clock.second, &length);
    const bool is_whole = fields >= 2 && static_cast<size_t>(length) == text.size();
    if (!is_whole || clock.hour < 0 || clock.hour > 23 || clock.minute < 0 || clock.minute > 59 || clock.second < 0 ||
        clock.second > 59)
        return {};
    return clock;
}

int64_t local_moment(struct tm date, const time_of_clock &clock)
{
    date.tm_hour = clock.hour;
    date.tm_min = clock.minute;
    date.tm_sec = clock.second;
    date.tm_isdst = -1;
    return mktime(&date);
}

std::optional<int64_t> last_time(const time_of_clock &clock, int64_t now)
{
    const time_t present = now;
    struct tm today = {};
    localtime_r(&present, &today);
    const int64_t moment = local_moment(today, clock);
    if (moment <= now)
        return moment;
    today.tm_mday--;
    return local_moment(today, clock);
}

std::optional<int64_t> on_a_day(const std::string &text)
{
    constexpr size_t DATE = 10;
    struct tm date = {};
    int length = 0;
    if (sscanf(text.c_str(), "%4d-%2d-%2d%n", &date.tm_year, &date.tm_mon, &date.tm_mday, &length) != 3 ||
        length != DATE || date.tm_mon < 1 || date.tm_mon > 12 || date.tm_mday < 1 || date.tm_mday > 31)
        return {};
    date.tm_year -= 1900;
    date.tm_mon -= 1;
    if (text.size() == DATE)
        return local_moment(date, {});
    const std::optional<time_of_clock> clock = clock_of(text.substr(DATE + 1));
    if (!clock || (text[DATE] != ' ' && text[DATE] != 'T'))
        return {};
    return local_moment(date, *clock);
}

} // namespace

std::optional<int64_t> moment_of(std::string_view text, int64_t now)
{
    if (text.starts_with('-'))
        return ago(text, now);
    const std::string whole(text);
    if (const std::optional<time_of_clock> clock = clock_of(whole))
        return last_time(*clock, now);
    return on_a_day(whole);
}

} // namespace tcctl
