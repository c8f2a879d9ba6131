// Calendar time in the zone of the preview, which TZ names (sim::LocalTime::set_zone sets it).
#ifndef TOOLS_PREVIEW_CALENDAR_H
#define TOOLS_PREVIEW_CALENDAR_H

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/preview/plan.h"

namespace preview
{

// Whether libc can read the text as a zone: a POSIX one ("CET-1CEST,M3.5.0,M10.5.0/3"), or a file of the zone database.
// What it cannot read it takes for UTC without a word.
bool is_zone(const std::string &zone);

// "YYYY-MM-DD HH:MM:SS" and nothing else; none when it is no such text or no such day. In an hour that comes twice it
// is the first.
std::optional<time_t> read_local(std::string_view text);

// By strftime's format.
std::string local_text(time_t time, const char *format);

// "2026-03-02T23:00:00+01:00".
std::string iso_text(time_t time);

// Seconds since local midnight, as the clock shows it.
int time_of_day(time_t time);

// A day by the local calendar, which may have 23 or 25 hours.
struct local_day {
    time_t begin;
    time_t end;
};

// The days that lie in [from, to) in part or whole.
std::vector<local_day> days_between(time_t from, time_t to);

// The first moment of a day at which the clock shows `seconds` since midnight or more; of a time that is left out in
// spring, the moment of the change.
time_t moment_on(const local_day &day, int seconds);

// The same time of day that many days later.
time_t days_later(time_t time, int days);

std::vector<clock_change> clock_changes_between(time_t from, time_t to);

} // namespace preview

#endif
