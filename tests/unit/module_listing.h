// What the table of modules says of itself, for tests of lines that depend on how many modules there are.
#ifndef TESTS_UNIT_MODULE_LISTING_H
#define TESTS_UNIT_MODULE_LISTING_H

#include <string>

#include "platform/sim/virtual_router.h"
#include "time_check/time_check_dispatch.h"

// The line about a name that no module has. It names the last module. Empties the log; the registry must be filled.
inline std::string line_of_unknown_names()
{
    sim::router().log.clear();
    show_time_check_all_module_entries();
    std::string last;
    for (const std::string &line : sim::router().log.lines())
        if (line.rfind("name:", 0) == 0)
            last = line.substr(5);
    sim::router().log.clear();
    return "not found msg id[" + last + "]";
}

#endif
