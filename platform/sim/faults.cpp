#include "platform/sim/faults.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "platform/sim/virtual_router.h"
#include "platform/sim/where_it_stands.h"

namespace sim
{
namespace
{

size_t index_of(std::string_view call)
{
    const auto &names = Faults::names();
    const auto found = std::ranges::find(names, call);
    if (found == names.end())
        throw std::invalid_argument("no call that can fail: " + std::string(call));
    return static_cast<size_t>(found - names.begin());
}

} // namespace

const std::vector<std::string> &Faults::names()
{
#define SIM_CALL_NAME(name) #name,
    static const std::vector<std::string> all = {SIM_CALLS(SIM_CALL_NAME)};
#undef SIM_CALL_NAME
    return all;
}

void Faults::fail(std::string_view call, unsigned nth, int error, bool forever)
{
    Counter &counter = counters_[index_of(call)];
    counter.fails_at = counter.made + nth;
    counter.error = error;
    counter.forever = forever;
    counter.fails = nullptr;
}

void Faults::fail_when(std::string_view call, std::function<bool(uint64_t nth)> fails, int error)
{
    fail(call, 1, error, true);
    counters_[index_of(call)].fails = std::move(fails);
}

bool Faults::is_due(const Counter &counter)
{
    const bool fails = counter.fails ? counter.fails(counter.made - counter.fails_at + 1)
                                     : counter.forever || counter.made == counter.fails_at;
    if (fails)
        errno = counter.error;
    return fails;
}

void Faults::clear()
{
    for (Counter &counter : counters_)
        counter.fails_at = NEVER;
}

const char *Faults::last_call() const
{
#define SIM_CALL_TEXT(name) #name,
    static const char *const all[] = {SIM_CALLS(SIM_CALL_TEXT)};
#undef SIM_CALL_TEXT
    return all[static_cast<size_t>(last_)];
}

uint64_t Faults::made(std::string_view call) const
{
    return counters_[index_of(call)].made;
}

size_t where_it_stands(char *text, size_t size)
{
    const auto last_of = [](const std::vector<std::string> &lines) {
        return lines.empty() ? "none" : lines.back().c_str();
    };
    const Machine &machine = router();
    const int length = snprintf(text, size,
                                "The router: pass %" PRIu64 ", up for %d s, the wall clock at %" PRId64
                                "; last call %s (made %" PRIu64 " times)\nits last act: %s\nits last line: %s\n",
                                machine.ticks(), machine.clock.uptime(), static_cast<int64_t>(machine.clock.wall()),
                                router().faults.last_call(), router().faults.last_call_made(),
                                last_of(router().journal.lines()), last_of(router().log.lines()));
    return std::min(static_cast<size_t>(length), size - 1);
}

} // namespace sim
