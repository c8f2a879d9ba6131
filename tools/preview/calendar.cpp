#include "tools/preview/calendar.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace preview
{

namespace
{

constexpr int HOUR = 3600;
constexpr int DAY = 24 * HOUR;

struct tm local_of(time_t time)
{
    struct tm local = {};
    localtime_r(&time, &local);
    return local;
}

time_t moment_of(struct tm local)
{
    local.tm_isdst = -1;
    return mktime(&local);
}

time_t midnight_before(time_t time)
{
    struct tm local = local_of(time);
    local.tm_hour = local.tm_min = local.tm_sec = 0;
    return moment_of(local);
}

// The day after the one that begins at `midnight`. A zone may leave midnight out: the day then begins at one.
time_t midnight_after(time_t midnight)
{
    return midnight_before(midnight + DAY + HOUR + HOUR / 2);
}

} // namespace

bool is_zone(const std::string &zone)
{
    static const std::regex posix(R"((<[A-Za-z0-9+-]{3,}>|[A-Za-z]{3,})[+-]?\d{1,3}(:\d\d){0,2})"
                                  R"(((<[A-Za-z0-9+-]{3,}>|[A-Za-z]{3,})([+-]?\d{1,3}(:\d\d){0,2})?)"
                                  R"((,[MJ\d][\d./:+-]*,[MJ\d][\d./:+-]*)?)?)");
    if (std::regex_match(zone, posix))
        return true;
    const std::string name = zone.starts_with(':') ? zone.substr(1) : zone;
    const char *const folder = std::getenv("TZDIR");
    const std::filesystem::path path = std::filesystem::path(folder == nullptr ? "/usr/share/zoneinfo" : folder) / name;
    std::error_code ignored;
    return !name.empty() && std::filesystem::is_regular_file(path, ignored);
}

std::optional<time_t> read_local(std::string_view text)
{
    static const std::regex form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)");
    if (!std::regex_match(text.begin(), text.end(), form))
        return std::nullopt;
    const auto number = [text](size_t at, size_t length) {
        return std::atoi(std::string(text.substr(at, length)).c_str());
    };
    struct tm local = {};
    local.tm_year = number(0, 4) - 1900;
    local.tm_mon = number(5, 2) - 1;
    local.tm_mday = number(8, 2);
    local.tm_hour = number(11, 2);
    local.tm_min = number(14, 2);
    local.tm_sec = number(17, 2);
    if (local.tm_hour > 23 || local.tm_min > 59 || local.tm_sec > 59)
        return std::nullopt;
    const time_t moment = moment_of(local);
    const struct tm back = local_of(moment);
    if (back.tm_mday != local.tm_mday || back.tm_mon != local.tm_mon) // February 30
        return std::nullopt;
    const time_t hour_before = moment - HOUR;
    const struct tm before = local_of(hour_before);
    return before.tm_hour == back.tm_hour && before.tm_min == back.tm_min ? hour_before : moment;
}

std::string local_text(time_t time, const char *format)
{
    const struct tm local = local_of(time);
    return fmt::format(fmt::runtime(fmt::format("{{:{}}}", format)), local);
}

std::string iso_text(time_t time)
{
    const long offset = local_of(time).tm_gmtoff / 60;
    return fmt::format("{}{}{:02}:{:02}", local_text(time, "%Y-%m-%dT%H:%M:%S"), offset < 0 ? '-' : '+',
                       std::abs(offset) / 60, std::abs(offset) % 60);
}

int time_of_day(time_t time)
{
    const struct tm local = local_of(time);
    return (local.tm_hour * 60 + local.tm_min) * 60 + local.tm_sec;
}

std::vector<local_day> days_between(time_t from, time_t to)
{
    std::vector<local_day> days;
    for (time_t begin = midnight_before(from); begin < to;) {
        const time_t end = midnight_after(begin);
        days.push_back({.begin = begin, .end = end});
        begin = end;
    }
    return days;
}

time_t moment_on(const local_day &day, int seconds)
{
    if (seconds >= DAY)
        return day.end;
    time_t low = day.begin;
    time_t guess = day.begin + seconds;
    if (guess < day.end && time_of_day(guess) == seconds)
        return guess; // no change of the clock before it
    for (; low < day.end && time_of_day(low) < seconds; low += 60)
        ;
    while (low > day.begin && time_of_day(low - 1) >= seconds)
        low--;
    return std::min(low, day.end);
}

time_t days_later(time_t time, int days)
{
    struct tm local = local_of(time);
    local.tm_mday += days;
    return moment_of(local);
}

std::vector<clock_change> clock_changes_between(time_t from, time_t to)
{
    std::vector<clock_change> changes;
    const auto offset_at = [](time_t time) { return local_of(time).tm_gmtoff; };
    for (time_t begin = from; begin < to; begin += DAY) {
        time_t low = begin;
        time_t high = std::min<time_t>(begin + DAY, to);
        const long by = offset_at(high) - offset_at(low);
        if (by == 0)
            continue;
        const long old = offset_at(low);
        while (high - low > 1) {
            const time_t middle = low + (high - low) / 2;
            (offset_at(middle) == old ? low : high) = middle;
        }
        changes.push_back({.at = high, .by = static_cast<int>(by)});
    }
    return changes;
}

} // namespace preview
