// A trace: what changed around a router, a line each, with its time. docs/traces.md has the form, decision 0171 its
// reasons.
//
// Nothing in here knows a clock, a time zone or the virtual router: a text gives the same trace everywhere.
#ifndef TOOLS_REPLAY_TRACE_H
#define TOOLS_REPLAY_TRACE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/text_file.h"

namespace replay
{

// Of what is no trace, what() is "NAME:LINE:COLUMN: why", for people.
using tools::refused;

enum class kind : uint8_t {
#define TRACE_KIND(name, word, words) name,
#include "tools/replay/kinds.def"
};

// "power-cut", as it is written.
std::string_view name_of(kind which);

using micros = int64_t;
inline constexpr micros SECOND = 1000000;

// Time that a trace can take, from its first line to its last: ten years.
inline constexpr micros LENGTH_MAX = 3660 * micros{24} * 3600 * SECOND;

// One change. Its words are decoded; "-" and "*" are "" where they stand for none and any.
struct change {
    micros elapsed; // since the trace's first line
    kind what;
    std::vector<std::string> words;
    micros uptime = -1; // as the line tells it; -1: it does not
    bool operator==(const change &) const = default;
};

struct trace {
    micros begin = 0;  // by the router's clock, since 1970
    micros uptime = 0; // then
    micros length = 0; // up to the last line
    std::vector<change> changes;
    bool operator==(const trace &) const = default;
};

// `name` stands for the text in what is thrown. Throws refused.
trace parse(std::string_view text, const std::string &name);

// Reads a file to its end, "-" being standard input. Throws refused.
trace read(const std::string &path);

// "2026-03-02T23:00:00.25+01:00" or "...Z": since 1970; none when it is no such text. Years 1970 to 2199.
std::optional<micros> read_moment(std::string_view text);

// ---- writing ----

// The trace's first line, with its end.
std::string head();

// "2026-03-02T23:00:00Z", with the zone's offset in seconds; fractions where there are any.
std::string moment_text(micros moment, int offset_s = 0);

// ".25" for a part of a second, "" for none.
std::string fraction_text(micros fraction);

// A whole line with its end. `uptime` below 0 is left out. The words are as in a change; the last one of "t" or "s" may
// hold blanks.
std::string line_of(micros moment, int offset_s, micros uptime, kind what, const std::vector<std::string> &words);

} // namespace replay

#endif
