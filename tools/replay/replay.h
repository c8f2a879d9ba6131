// A trace gone through again: the daemon's own objects in the virtual router, and what they do.
#ifndef TOOLS_REPLAY_REPLAY_H
#define TOOLS_REPLAY_REPLAY_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/replay/findings.h"
#include "tools/replay/trace.h"

namespace replay
{

struct act {
    micros elapsed;            // since the trace's first line
    std::string line;          // as the journal's timed lines, by the zone of that moment
    bool repeats;              // sets what the daemon has set already, and nobody has changed it since
    std::optional<finding> by; // what the rule found that did it, if one did
};

struct outcome {
    std::vector<act> acts; // by time
    std::string ends;      // the time of the last second, as in a line
    bool runs = true;      // false: the daemon has ended by itself
};

// Goes through the trace up to its last line, or to `until` (since 1970, by the clock with which the trace begins) when
// that is less. Once in a process, unless sim::make_router_anew() comes between. Sets the process's zone. Afterwards
// the journal still has its lines.
outcome run(const trace &told, micros until = INT64_MAX);

// ---- as people and programs read it ----

// `all`: acts that repeat themselves, too.
std::string text_of(const outcome &gone, bool all);
std::string json_of(const outcome &gone, bool all);

} // namespace replay

#endif
