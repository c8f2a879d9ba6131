// The changes of a trace, made in the virtual router.
#ifndef TOOLS_REPLAY_WORLD_H
#define TOOLS_REPLAY_WORLD_H

#include "tools/replay/trace.h"

namespace replay
{

// Makes it now. What concerns the run alone, where the daemon starts and the end, changes nothing.
void apply(const change &made);

} // namespace replay

#endif
