// When something that hangs on the local time of the week changes next.
#ifndef TOOLS_TCCTL_LOCAL_EDGES_H
#define TOOLS_TCCTL_LOCAL_EDGES_H

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/status.h"

struct tm;

namespace tcctl
{

// Something that is so, or not so, at a local time. It may change only at the times of day that its owner names, at
// midnight, and where the local time itself jumps.
struct local_rule {
    std::vector<uint32_t> times; // of day, seconds since local midnight
    std::function<bool(const struct tm &)> holds;
};

bool holds_at(const local_rule &rule, int64_t calendar);

// The first second after `from` in which the rule comes to hold (or, `wanted` false, ceases to); none within nine days.
// By this machine's zone, right across its changes of the clock.
std::optional<int64_t> next_turn(const local_rule &rule, int64_t from, bool wanted);

// A daily window, both ends inside; one whose end is before its start passes midnight.
local_rule daily_window(uint32_t start, uint32_t end);

// The off periods of a weekly schedule, as the daemon matches them.
local_rule weekly_periods(const status_weekly &weekly);

} // namespace tcctl

#endif
