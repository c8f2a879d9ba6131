#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>

#include <fmt/format.h>

#include "tools/replay/trace.h"

namespace replay
{

namespace
{

constexpr int YEAR_MAX = 2199;
constexpr micros MOMENT_END = 7258118400 * SECOND; // 2200-01-01T00:00:00Z
constexpr int FRACTION_DIGITS = 6;

// Reads a text from its front; what does not fit leaves it failed.
struct scanner {
    std::string_view rest;
    bool failed = false;

    int number(size_t digits, int least, int most)
    {
        int value = 0;
        const std::string_view part = rest.substr(0, digits);
        const auto result = std::from_chars(part.data(), part.data() + part.size(), value);
        failed = failed || part.size() != digits || part.starts_with('-') || result.ec != std::errc() ||
                 result.ptr != part.data() + part.size() || value < least || value > most;
        rest.remove_prefix(part.size());
        return value;
    }
    bool takes(char c)
    {
        if (!rest.starts_with(c))
            return false;
        rest.remove_prefix(1);
        return true;
    }
    void expect(char c)
    {
        failed = !takes(c) || failed;
    }
};

micros read_fraction(scanner &in)
{
    micros fraction = 0;
    micros unit = SECOND / 10;
    int digits = 0;
    for (; !in.rest.empty() && in.rest[0] >= '0' && in.rest[0] <= '9' && digits < FRACTION_DIGITS; digits++) {
        fraction += (in.rest[0] - '0') * unit;
        unit /= 10;
        in.rest.remove_prefix(1);
    }
    in.failed = in.failed || digits == 0;
    return fraction;
}

// Seconds east of Greenwich.
int read_offset(scanner &in)
{
    if (in.takes('Z'))
        return 0;
    const bool is_west = in.rest.starts_with('-');
    if (!in.takes('-'))
        in.expect('+');
    const int hours = in.number(2, 0, 23);
    in.expect(':');
    const int offset = (hours * 60 + in.number(2, 0, 59)) * 60;
    return is_west ? -offset : offset;
}

} // namespace

std::string fraction_text(micros fraction)
{
    if (fraction == 0)
        return "";
    std::string text = fmt::format(".{:06}", fraction);
    text.erase(text.find_last_not_of('0') + 1);
    return text;
}

std::optional<micros> read_moment(std::string_view text)
{
    scanner in = {.rest = text};
    const int year = in.number(4, 1970, YEAR_MAX);
    in.expect('-');
    const int month = in.number(2, 1, 12);
    in.expect('-');
    const int day = in.number(2, 1, 31);
    in.expect('T');
    const int hour = in.number(2, 0, 23);
    in.expect(':');
    const int minute = in.number(2, 0, 59);
    in.expect(':');
    const int second = in.number(2, 0, 59);
    const micros fraction = in.takes('.') ? read_fraction(in) : 0;
    const int offset = read_offset(in);
    const std::chrono::year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (in.failed || !in.rest.empty() || !date.ok())
        return std::nullopt;
    const micros days = std::chrono::sys_days(date).time_since_epoch().count();
    const micros moment = ((days * 24 + hour) * 3600 + micros{minute} * 60 + second - offset) * SECOND + fraction;
    return moment >= 0 && moment < MOMENT_END ? std::optional(moment) : std::nullopt;
}

std::string moment_text(micros moment, int offset_s)
{
    const std::chrono::microseconds local(moment + offset_s * SECOND);
    const auto days = std::chrono::floor<std::chrono::days>(local);
    const std::chrono::year_month_day date{std::chrono::sys_days(days)};
    const micros of_day = (local - days).count();
    const micros seconds = of_day / SECOND;
    std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}", static_cast<int>(date.year()),
                                   static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                   seconds / 3600, seconds / 60 % 60, seconds % 60, fraction_text(of_day % SECOND));
    if (offset_s == 0)
        return text + 'Z';
    const int minutes = std::abs(offset_s) / 60;
    return text + fmt::format("{}{:02}:{:02}", offset_s < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

} // namespace replay
