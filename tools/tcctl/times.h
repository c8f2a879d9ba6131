// Times, lengths of time and rates as people read them.
#ifndef TOOLS_TCCTL_TIMES_H
#define TOOLS_TCCTL_TIMES_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tcctl
{

// "35 s", "9 min 5 s", "4 h 10 min", "6 d 4 h": the two greatest units that are not 0. Below 0 as 0.
std::string length_of(int64_t seconds);

// A local calendar time as seen from `now`: "04:38" or "04:38:21" on the same day, "Mon 04:38" within six days of it,
// else "2026-03-04 04:38".
std::string time_of(int64_t calendar, int64_t now);

// Seconds since local midnight, which may pass a day's end: "03:00", "03:00:20".
std::string time_of_day(uint32_t seconds);

// Bytes a second: "41.0 kB/s".
std::string rate_of(uint32_t bytes);

// A field of the page, which need not end with a 0.
template <size_t SIZE>
std::string_view text_of(const char (&field)[SIZE])
{
    const std::string_view all(field, SIZE);
    return all.substr(0, all.find('\0'));
}

} // namespace tcctl

#endif
