// A moment as people write it on a command line.
#ifndef TOOLS_TCCTL_SINCE_H
#define TOOLS_TCCTL_SINCE_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace tcctl
{

// Seconds since 1970; none when it is no moment. In this machine's zone:
//   HH:MM[:SS]             the last time that the clock showed this
//   YYYY-MM-DD[ HH:MM[:SS]], also with a T between
//   -90s, -30m, -2h, -3d   before `now`
std::optional<int64_t> moment_of(std::string_view text, int64_t now);

} // namespace tcctl

#endif
