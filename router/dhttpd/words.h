// What the fault page says, in each language.
#ifndef ROUTER_DHTTPD_WORDS_H
#define ROUTER_DHTTPD_WORDS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "router/dhttpd/report.h"
#include "router/dhttpd/request.h"

namespace dhttpd
{

struct advice {
    const char *title;
    const char *meaning;
    std::array<const char *, 3> steps; // null where there are fewer
};

struct words {
    const char *code; // of the language
    const char *router, *provider, *internet;
    const char *since;     // with the time, and how long that is
    const char *what_now;  // heads of parts of the page
    const char *the_lines; //
    const char *connection;
    const char *wanted;                    // before the address
    const char *looks_again;               // with the seconds
    const char *looked_at;                 // with the time
    const char *own_pages;                 // that the router's own stay reachable
    std::array<const char *, 3> parts;     // of a line, as parts_of has them
    std::array<const char *, 3> standings; // of such a part
    std::array<const char *, 7> states;    // of a line
    std::array<advice, FAULTS> faults;
    advice well;
    advice untold;
};

const words &words_in(language which);

// A local calendar time as people write it; the day only where it is another than that of `now`.
std::string time_in(language which, int64_t calendar, int64_t now);

} // namespace dhttpd

#endif
