// A fleet's night on as many processors as there are: a process has one virtual router.
#ifndef TOOLS_FLEET_WORKERS_H
#define TOOLS_FLEET_WORKERS_H

#include <functional>

#include "tools/fleet/counts.h"
#include "tools/fleet/profile.h"

namespace fleet
{

// How many processors this process may use.
int processors();

// Adds the nights of these routers to `to`, in `workers` processes. `progress` is told the share that is done, 0 to 1.
// The outcome does not hang on the number of workers. Throws refused, or what became of a worker.
void run_nights(counts &to, const profile &given, span routers, int workers,
                const std::function<void(double)> &progress);

} // namespace fleet

#endif
