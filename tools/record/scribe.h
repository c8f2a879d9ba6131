// Writes a trace as it happens: a line where something has changed, with its time.
#ifndef TOOLS_RECORD_SCRIBE_H
#define TOOLS_RECORD_SCRIBE_H

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/replay/trace.h"

namespace record
{

using replay::kind;
using replay::micros;
using replay::SECOND;

// The machine's clocks at one moment.
struct clocks {
    micros wall; // since 1970
    micros up;   // since the machine started
};
clocks read_clocks();

class scribe
{
public:
    // `goes_on`: behind a trace that is there already, whose last line was at `last`.
    scribe(FILE *out, bool goes_on, micros last);

    // The moment of what is told from here on. Tells of a clock that was set since.
    void now(const clocks &read);
    const clocks &now() const
    {
        return now_;
    }

    // A line. `at`: when it was; it never stands before the line above it.
    void tell(kind what, const std::vector<std::string> &words)
    {
        tell_at(now_.wall, what, words);
    }
    void tell_at(micros at, kind what, const std::vector<std::string> &words, bool with_uptime = false);
    // A line unless the last one of this kind with the same first `named` words was the same.
    void tell_state(kind what, const std::vector<std::string> &words, size_t named);
    void forget_state(kind what, const std::string &name);
    // What is known by tell_state of this kind and of `name`, its one named word, and since which line's moment;
    // nullptr: nothing.
    struct state {
        std::vector<std::string> words;
        micros since;
    };
    const state *known(kind what, const std::string &name) const;

    // The moment of the last line, and how many there are.
    micros last() const
    {
        return last_;
    }
    uint64_t lines() const
    {
        return lines_;
    }

    // A line on standard error, once: what cannot be read and so is not in the trace.
    void lacks(const std::string &what);

    // False: the trace can no longer be written.
    bool flush();

private:
    FILE *out_;
    clocks now_;
    micros last_;        // of the last line
    uint64_t lines_ = 0; // of this program
    std::map<std::pair<kind, std::string>, state> states_;
    std::set<std::string> lacking_;
};

} // namespace record

#endif
