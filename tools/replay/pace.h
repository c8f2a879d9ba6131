// The pace at which the daemon went on the router of a trace: when the passes of its main loop ended, and how long it
// looked at each WAN (decision 0184).
#ifndef TOOLS_REPLAY_PACE_H
#define TOOLS_REPLAY_PACE_H

#include <cstdint>
#include <vector>

#include "tools/replay/trace.h"

namespace replay
{

// Moments are those of a trace: since its first line.
class pace
{
public:
    explicit pace(const trace &told);

    // Whether the trace tells any of it. One that does not goes at the virtual router's own pace.
    bool is_told() const
    {
        return !looks_.empty() || has_passes_;
    }
    // When what a look found holds from, of a line that stands right above it in the same moment; the line's own moment
    // where it belongs to none.
    micros begin_of_finding(size_t number) const
    {
        return finding_begins_[number];
    }

    // ---- while the daemon runs ----

    void daemon_starts(micros now);
    // When the pause ends that begins now, and would end at `ends` by itself: the main loop's, whose pass is over, or
    // the one between two passes of looks.
    micros end_of_pass_pause(micros now, micros ends);
    micros end_of_look_pause(micros now, micros ends) const;
    // The same of a command at the daemon's start, before it has looked at a WAN.
    micros end_of_start(micros now, micros ends) const;
    // How long a look at WAN `wan` that asks for the first time now has to wait until it has its answers; 0 where
    // nothing is told. `is_first`: of the daemon's first pass of looks, before which it is busy with its start.
    micros wait_for_answers(micros now, int wan, bool is_first) const;

private:
    struct look {
        int wan;
        micros begins;
        micros ends;
    };
    struct pass {
        micros ends;
        uint64_t number;
    };
    // From a start of the daemon to the next.
    struct life {
        micros begins;
        std::vector<pass> passes;
    };
    void add_look(const trace &told, size_t number, micros wall);
    micros end_of_pass(const life &in);

    std::vector<look> looks_; // by their beginnings
    std::vector<life> lives_;
    std::vector<micros> finding_begins_;
    bool has_passes_ = false;
    size_t life_ = 0;     // the one that the daemon is in
    uint64_t passed_ = 0; // passes of the main loop in it
    size_t next_ = 0;     // that is told of, from there on
};

} // namespace replay

#endif
