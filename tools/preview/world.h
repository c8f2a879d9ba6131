// The virtual router's surroundings in a preview: all is well, so that schedules alone have something to do.
#ifndef TOOLS_PREVIEW_WORLD_H
#define TOOLS_PREVIEW_WORLD_H

#include <ctime>

#include "tools/preview/engine.h"

namespace preview
{

// Zone, clock, settings, an internet that answers, radios that are associated. The clock shows `begin`.
void make_world(const request &asked, time_t begin);

// Has the client come and go as asked until `to`. The clock shows the beginning.
void order_clients(const request &asked, time_t to);

// Moves the client's traffic on to this second. For seconds in which a rule samples it; in between it stands still,
// and the next sample finds what came in the meantime.
void move_traffic();

// The counters that a restart has put to 0 and that the daemon takes for chance: the restart after a quiet half-hour
// comes as early as it may.
void set_chance();

} // namespace preview

#endif
