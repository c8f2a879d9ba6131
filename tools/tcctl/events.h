// What tcctl events was asked for, and its two ways to go on: to show what is there, or to follow.
#ifndef TOOLS_TCCTL_EVENTS_H
#define TOOLS_TCCTL_EVENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tcctl/event.h"
#include "tools/tcctl/event_lines.h"
#include "tools/tcctl/event_program.h"

namespace tcctl
{

struct events_options {
    std::vector<std::string> modules; // names that are known; none: all
    std::vector<std::string> kinds;   // the same
    std::vector<std::string> program; // to run for each event, with its arguments; none: they are printed
    program_limits limits;
    std::string place; // the file that remembers what is done with
    std::string since_text;
    int64_t since = INT64_MIN;
    bool follows = false;
    bool is_json = false;
    bool is_raw = false;
    bool wants_all = false;
};

// What may be asked for.
std::vector<std::string_view> event_modules();
std::vector<std::string_view> event_names();

// "" when all that was asked for can be had; then `since` is set.
std::string fault_in(events_options &options);

bool is_wanted(const events_options &options, const event &told);
bool is_wanted(const events_options &options, const journal_record &act);

// Goes on until nobody reads any more, also where there is no journal yet. Gives the exit code.
int follow_printing(const events_options &options);

// The same for ever, with a program.
int follow_running(const events_options &options);

// What is printed of acts and events.
std::string printed(const events_options &options, event_lines &lines, const std::vector<journal_record> &acts);
std::string printed(const events_options &options, event_lines &lines, std::vector<event> &events);

} // namespace tcctl

#endif
