// What is wrong with the line, from the daemon's status page.
#ifndef ROUTER_DHTTPD_REPORT_H
#define ROUTER_DHTTPD_REPORT_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/common/status_file.h"

namespace dhttpd
{

enum class standing : uint8_t { GOOD, BROKEN, UNKNOWN };

// What a person can be told of a line: the first that is missing.
enum class line_state : uint8_t { GOOD, NO_CABLE, WITHOUT_ADDRESS, NOT_ASSOCIATED, NO_NAMES, NO_ANSWER, UNKNOWN };

struct line {
    std::string interface; // "" where it is not known
    line_state state = line_state::UNKNOWN;
};

// From the router outwards: the cable or the radio, the connection to the provider, the way from there.
std::array<standing, 3> parts_of(const line &line);

enum class outcome : uint8_t {
    FAULT,  // the line is dead
    WELL,   // the internet is there, or the fault has just gone
    UNTOLD, // the daemon does not say
};

enum { FAULT_UNKNOWN = 0, FAULT_CABLE = 1, FAULT_LOGIN = 2, FAULT_DIAL_UP = 3, FAULT_DHCP = 4, FAULTS = 5 };

struct report {
    outcome what = outcome::UNTOLD;
    uint32_t fault = FAULT_UNKNOWN;
    int64_t since = 0; // seconds since 1970; 0: not known
    int64_t now = 0;   // of the second that is told of
    std::vector<line> lines;
};

// `reading` is null where there is no page, or none of this moment.
report report_of(const status_reading *reading);

} // namespace dhttpd

#endif
