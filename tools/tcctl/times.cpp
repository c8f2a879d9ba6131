#include "tools/tcctl/times.h"

#include <array>
#include <ctime>

#include <fmt/format.h>

namespace tcctl
{

std::string length_of(int64_t seconds)
{
    struct unit {
        int64_t seconds;
        const char *name;
    };
    constexpr std::array<unit, 4> UNITS = {{{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}}};
    for (size_t i = 0; i < UNITS.size(); i++) {
        if (seconds < UNITS[i].seconds)
            continue;
        std::string text = fmt::format("{} {}", seconds / UNITS[i].seconds, UNITS[i].name);
        const int64_t rest = seconds % UNITS[i].seconds;
        if (i + 1 < UNITS.size() && rest >= UNITS[i + 1].seconds)
            text += fmt::format(" {} {}", rest / UNITS[i + 1].seconds, UNITS[i + 1].name);
        return text;
    }
    return "0 s";
}

// By hand: each line of a status has a time or two, and these digits were an eighth of what it costs (decision 0207).
std::string time_of_day(uint32_t seconds)
{
    const auto digit = [](uint32_t number) { return static_cast<char>('0' + number % 10); };
    const auto append = [&digit](std::string &text, uint32_t number) {
        if (number >= 100) // no hour of a day, but the page is not ours
            text += fmt::format("{}", number / 100);
        text += digit(number / 10);
        text += digit(number);
    };
    std::string text;
    append(text, seconds / 3600);
    text += ':';
    append(text, seconds % 3600 / 60);
    if (seconds % 60 != 0) {
        text += ':';
        append(text, seconds % 60);
    }
    return text;
}

std::string time_of(int64_t calendar, int64_t now)
{
    constexpr int64_t DAYS_NAMED = 6;
    constexpr std::array<const char *, 7> NAMES = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    const time_t asked = calendar;
    const time_t present = now;
    struct tm then = {};
    struct tm today = {};
    if (localtime_r(&asked, &then) == nullptr || localtime_r(&present, &today) == nullptr)
        return fmt::format("second {}", calendar);
    std::string clock = time_of_day(static_cast<uint32_t>(then.tm_hour * 3600 + then.tm_min * 60 + then.tm_sec));
    if (then.tm_year == today.tm_year && then.tm_yday == today.tm_yday)
        return clock;
    if (calendar > now - DAYS_NAMED * 86400 && calendar < now + DAYS_NAMED * 86400)
        return fmt::format("{} {}", NAMES.at(static_cast<size_t>(then.tm_wday)), clock);
    return fmt::format("{:04}-{:02}-{:02} {}", then.tm_year + 1900, then.tm_mon + 1, then.tm_mday, clock);
}

std::string rate_of(uint32_t bytes)
{
    return fmt::format("{}.{} kB/s", bytes / 1000, bytes % 1000 / 100);
}

} // namespace tcctl
