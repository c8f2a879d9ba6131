#include <algorithm>

#include <fmt/format.h>

#include "tools/fleet/counts.h"
#include "tools/preview/calendar.h"

namespace fleet
{

namespace
{

constexpr size_t BAR_WIDTH = 60;

std::string clock_of(const counts &given, size_t second, const char *format)
{
    return preview::local_text(given.begin + static_cast<time_t>(second), format);
}

std::string head(const counts &given)
{
    std::string text = fmt::format("{} routers, the night of {} from {}, seed {}\n", given.of.routers, given.of.night,
                                   clock_of(given, 0, "%H:%M %Z"), given.of.seed);
    if (!is_whole(given)) {
        text += "Of these only";
        for (const span &each : given.done)
            text += fmt::format(" {}-{}", each.first, each.last);
        text += "\n";
    }
    return text;
}

std::string restarts_line(const counts &given, const series &minutes)
{
    const uint64_t total = sum(given.restarts);
    std::string text = fmt::format("\nRestarts: {}, by {} routers\n", total, given.restarted);
    if (total == 0)
        return text;
    const peak minute = peak_of(minutes);
    const peak second = peak_of(given.restarts);
    return text + fmt::format("Most in a minute: {} at {}; in a second: {} at {}\n", minute.count,
                              clock_of(given, minute.at * 60, "%H:%M"), second.count,
                              clock_of(given, second.at, "%H:%M:%S"));
}

// A row for each minute; one for many without a restart.
std::string histogram(const counts &given, const series &minutes)
{
    const uint64_t highest = peak_of(minutes).count;
    std::string text;
    bool has_gap = true; // before the first
    for (size_t minute = 0; minute < minutes.size() && highest > 0; minute++) {
        if (minutes[minute] == 0) {
            if (!has_gap)
                text += "  ...\n";
            has_gap = true;
            continue;
        }
        has_gap = false;
        const size_t bar = std::max<size_t>(minutes[minute] * BAR_WIDTH / highest, 1);
        text += fmt::format("  {} {:>8} {}\n", clock_of(given, minute * 60, "%H:%M"), minutes[minute],
                            std::string(bar, '#'));
    }
    return text;
}

std::string hosts_table(const counts &given, std::string_view title, const std::map<std::string, series> &hosts)
{
    const series all = together(hosts, given.restarts.size());
    const peak highest = peak_of(all);
    std::string text = fmt::format("\n{}: {}", title, sum(all));
    if (highest.count > 0)
        text += fmt::format(", most in a second {} at {}", highest.count, clock_of(given, highest.at, "%H:%M:%S"));
    text += "\n";
    for (const auto &[host, counted] : hosts) {
        const peak own = peak_of(counted);
        text += fmt::format("  {:<24} {:>12}, most {:>8} at {}\n", host, sum(counted), own.count,
                            clock_of(given, own.at, "%H:%M:%S"));
    }
    return text;
}

} // namespace

std::string text_of(const counts &given)
{
    const series minutes = by_minute(given.restarts);
    return head(given) + restarts_line(given, minutes) + histogram(given, minutes) +
           hosts_table(given, "Name queries", given.lookups) + hosts_table(given, "Echo requests", given.echo_requests);
}

} // namespace fleet
