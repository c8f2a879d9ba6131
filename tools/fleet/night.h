// One router's night in the virtual router, and what is counted of it (decision 0176).
#ifndef TOOLS_FLEET_NIGHT_H
#define TOOLS_FLEET_NIGHT_H

#include <cstdint>

#include "tools/fleet/counts.h"
#include "tools/fleet/profile.h"

namespace fleet
{

// Counts of no router yet. `night` is "YYYY-MM-DD". Sets the process's zone. Throws refused: no such day.
counts no_counts(const profile &given, const std::string &night, uint64_t seed, uint32_t routers);

// Lets the router of this number have its night, and adds what happens. What it does hangs on the profile, the night,
// the seed and its number alone. The process's virtual router is made anew for it.
void add_night(counts &to, const profile &given, uint32_t number);

} // namespace fleet

#endif
