// Traces: what is read is written again as the same, and the daemon lives through the first hours of it.
#include <stdexcept>

#include "platform/sim/virtual_router.h"
#include "tests/fuzz/fuzz_daemon.h"
#include "tools/replay/replay.h"

namespace
{

constexpr replay::micros MOST = 2 * 3600 * replay::SECOND;

std::string written(const replay::trace &told)
{
    std::string text = replay::head();
    replay::micros wall = told.begin;
    replay::micros before = 0;
    for (const replay::change &each : told.changes) {
        wall += each.elapsed - before;
        before = each.elapsed;
        text += replay::line_of(wall, 0, each.uptime, each.what, each.words);
        if (each.what == replay::kind::clock)
            wall = *replay::read_moment(each.words[0]);
    }
    return text;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    replay::trace told;
    try {
        told = replay::parse({reinterpret_cast<const char *>(data), size}, "input");
    } catch (const replay::refused &) {
        return 0;
    }
    const std::string again = written(told);
    if (!(replay::parse(again, "written") == told))
        give_up("written and read again it is another trace", again);
    sim::make_router_anew();
    try {
        replay::run(told, told.begin + MOST);
    } catch (const std::runtime_error &) { // commands that take days: the model says that a pass does not end
    }
    return 0;
}
