// Events and acts as lines: for people, and as JSON. docs/events.md says what the fields are.
#ifndef TOOLS_TCCTL_EVENT_LINES_H
#define TOOLS_TCCTL_EVENT_LINES_H

#include <cstdint>
#include <string>

#include "tools/tcctl/event.h"

namespace tcctl
{

// "2026-03-04T02:38:06+01:00", by this machine's zone.
std::string iso_time(int64_t calendar);

// Lines for people, one after the other: where the day changes it is told first.
class event_lines
{
public:
    std::string line_of(const event &told);
    std::string line_of(const journal_record &act); // as it stands in the journal

private:
    std::string clock_of(int64_t calendar);
    int day_ = -1;
};

// An object with its line end.
std::string json_line(const event &told);
std::string json_line(const journal_record &act);

} // namespace tcctl

#endif
