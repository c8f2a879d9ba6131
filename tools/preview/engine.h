// The coming days of a router, by the daemon's own objects in the virtual router.
#ifndef TOOLS_PREVIEW_ENGINE_H
#define TOOLS_PREVIEW_ENGINE_H

#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "tools/preview/plan.h"
#include "tools/preview/settings.h"

namespace preview
{

// From one time of day to another, in seconds since midnight; past midnight when it ends earlier than it begins.
struct daily_time {
    int from;
    int to;
};

struct request {
    preview::settings settings;
    time_t from = 0;
    int days = 7;                    // calendar days, 1 to DAYS_MAX
    std::string zone;                // as TZ has it, is_zone
    int uptime = 0;                  // of the router at `from`, seconds
    bool always = false;             // a client uses the network all the time,
    std::vector<daily_time> clients; // or at these times of every day
};

inline constexpr int DAYS_MAX = 3660;

// Told how much of the time has been gone through, 0 to 1.
using progress_fn = std::function<void(double)>;

// Once in a process, unless sim::make_router_anew() comes between. Sets the process's zone.
plan make_plan(const request &asked, const progress_fn &progress);

} // namespace preview

#endif
