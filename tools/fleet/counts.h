// What happened in the night of some of a fleet's routers, as sums that can be added up in any order.
#ifndef TOOLS_FLEET_COUNTS_H
#define TOOLS_FLEET_COUNTS_H

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/fleet/profile.h"

namespace fleet
{

// Something that happens, counted by the second since the beginning of the night.
using series = std::vector<uint32_t>;

// Which night of which fleet it is. Counts of the same one can be added up.
struct question {
    std::vector<std::string> profile; // its lines
    uint64_t seed = 0;
    std::string night; // "YYYY-MM-DD"
    uint32_t routers = 0;
    bool operator==(const question &) const = default;
};

// Routers by their numbers, from 1, both ends included.
struct span {
    uint32_t first;
    uint32_t last;
    bool operator==(const span &) const = default;
};

struct counts {
    question of;
    time_t begin = 0;       // of the night
    std::string zone;       // in which it is shown
    std::vector<span> done; // by their numbers, and with gaps between
    uint64_t restarted = 0; // routers that restarted at least once
    series restarts;
    std::map<std::string, series> lookups;       // by host name
    std::map<std::string, series> echo_requests; // by the name of the host that they went to
};

// Throws refused when the two are not of one fleet and night, or when both hold a router.
void add(counts &to, const counts &more);

bool is_whole(const counts &given);

struct peak {
    size_t at; // the first, in steps since the beginning
    uint64_t count;
};

uint64_t sum(const series &given);
series by_minute(const series &seconds);
series together(const std::map<std::string, series> &all, size_t seconds);
peak peak_of(const series &given);

// The JSON of counts, and back. The same counts give the same text, however they were added up. counts_of throws
// refused with "NAME: why".
std::string json_of(const counts &given);
counts counts_of(std::string_view text, const std::string &name);

// A histogram for a terminal of 80 columns, in ASCII; and as a picture of its own.
std::string text_of(const counts &given);
std::string svg_of(const counts &given);

} // namespace fleet

#endif
