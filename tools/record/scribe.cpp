#include "tools/record/scribe.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <fmt/format.h>

#include "tools/tcctl/output.h"

namespace record
{

namespace
{

micros read_clock(clockid_t which)
{
    timespec now = {};
    clock_gettime(which, &now);
    return now.tv_sec * SECOND + now.tv_nsec / 1000;
}

// A trace's times have offsets of whole minutes.
int offset_at(micros wall)
{
    const auto seconds = static_cast<time_t>(wall / SECOND);
    struct tm local = {};
    localtime_r(&seconds, &local);
    return static_cast<int>(local.tm_gmtoff / 60 * 60);
}

} // namespace

clocks read_clocks()
{
    return {.wall = read_clock(CLOCK_REALTIME), .up = read_clock(CLOCK_BOOTTIME)};
}

scribe::scribe(FILE *out, bool goes_on, micros last) : out_(out), now_(read_clocks()), last_(last)
{
    if (!goes_on)
        std::fputs(replay::head().c_str(), out_);
    else if (now_.wall < last_) // a router without a battery for its clock
        tell_at(last_, kind::clock, {replay::moment_text(now_.wall, offset_at(now_.wall))});
}

void scribe::now(const clocks &read)
{
    constexpr micros SLEWED = SECOND / 2;
    const micros would_be = now_.wall + read.up - now_.up;
    if (std::abs(read.wall - would_be) > SLEWED)
        tell_at(would_be, kind::clock, {replay::moment_text(read.wall, offset_at(read.wall))});
    now_ = read;
}

void scribe::tell_at(micros at, kind what, const std::vector<std::string> &words, bool with_uptime)
{
    const micros moment = std::max(at, last_);
    const micros uptime = lines_ == 0 || with_uptime ? std::max<micros>(now_.up - (now_.wall - moment), 0) : -1;
    std::fputs(replay::line_of(moment, offset_at(moment), uptime, what, words).c_str(), out_);
    last_ = what == kind::clock ? *replay::read_moment(words[0]) : moment;
    lines_++;
}

void scribe::tell_state(kind what, const std::vector<std::string> &words, size_t named)
{
    std::string name;
    for (size_t i = 0; i < named; i++)
        name += words[i] + ' ';
    std::vector<std::string> is(words.begin() + static_cast<ptrdiff_t>(named), words.end());
    const auto [place, is_new] = states_.try_emplace({what, name});
    if (!is_new && place->second.words == is)
        return;
    tell(what, words);
    place->second = {.words = std::move(is), .since = last_};
}

const scribe::state *scribe::known(kind what, const std::string &name) const
{
    const auto place = states_.find({what, name + ' '});
    return place == states_.end() ? nullptr : &place->second;
}

void scribe::forget_state(kind what, const std::string &name)
{
    states_.erase({what, name + ' '});
}

void scribe::lacks(const std::string &what)
{
    if (lacking_.insert(what).second)
        fmt::print(stderr, "tcctl record: {}\n", tcctl::shown(what));
}

bool scribe::flush()
{
    return std::fflush(out_) == 0 && std::ferror(out_) == 0;
}

} // namespace record
