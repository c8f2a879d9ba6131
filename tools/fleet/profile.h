// What the routers of a fleet have in common, and how far they differ.
#ifndef TOOLS_FLEET_PROFILE_H
#define TOOLS_FLEET_PROFILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/preview/settings.h"

namespace fleet
{

using preview::refused;

// Each router draws a value evenly from it, both ends included.
struct range {
    int64_t from;
    int64_t to;
};

// docs/fleet.md says what each line of the file means; the members stand in the order of its table.
struct profile {
    std::string zone = "UTC0";
    int64_t begin = int64_t{22} * 3600;             // seconds since midnight of the night's date
    int64_t hours = 8;                              // of the night
    range started = {-int64_t{30} * 86400, -86400}; // seconds from the beginning
    range clock_right = {10, 60};                   // seconds after the start; before it is 1970
    range clock_error = {-1, 1};                    // seconds
    range quiet_from = {79200, 5400};               // seconds since midnight, the second past midnight or not
    int64_t leaving = 20;                           // percent of these whose clients then leave
    int64_t empty = 10;                             // percent without a client
    int64_t busy = 5;                               // percent with traffic all night
    int64_t offline = 1;                            // percent without internet
    range outage = {0, 0};                          // seconds since midnight; of all of them; empty: none
    range sent = {300, 20000};                      // MB a day into the LAN
    preview::settings settings;                     // over the factory's
    std::vector<std::string> lines;                 // all of it, as a file would say it, in one way only
};

// How long after the beginning the clock shows this time of day, in seconds.
int64_t after_begin(const profile &given, int64_t time_of_day);

// Reads a file, "-" being standard input; of "" the defaults. Throws refused with "NAME: line N: why".
profile read_profile(const std::string &path);

// The same of a text; `name` stands for it in what is thrown.
profile parse_profile(std::string_view text, const std::string &name);

} // namespace fleet

#endif
