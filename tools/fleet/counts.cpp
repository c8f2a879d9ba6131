#include "tools/fleet/counts.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

namespace fleet
{

namespace
{

void add_series(series &to, const series &more)
{
    to.resize(std::max(to.size(), more.size()));
    for (size_t i = 0; i < more.size(); i++)
        to[i] += more[i];
}

// Routers that follow each other are one span, whoever counted them.
void add_spans(std::vector<span> &to, const std::vector<span> &more)
{
    to.insert(to.end(), more.begin(), more.end());
    std::ranges::sort(to, {}, &span::first);
    std::vector<span> joined;
    for (const span &each : to) {
        if (!joined.empty() && each.first <= joined.back().last)
            throw refused(fmt::format("router {} is counted twice", each.first));
        if (!joined.empty() && each.first == joined.back().last + 1)
            joined.back().last = each.last;
        else
            joined.push_back(each);
    }
    to = std::move(joined);
}

} // namespace

void add(counts &to, const counts &more)
{
    if (to.of != more.of)
        throw refused("of another fleet or night: --routers, --profile, --seed and --night must be the same");
    add_spans(to.done, more.done);
    to.restarted += more.restarted;
    add_series(to.restarts, more.restarts);
    for (const auto &[host, seconds] : more.lookups)
        add_series(to.lookups[host], seconds);
    for (const auto &[host, seconds] : more.echo_requests)
        add_series(to.echo_requests[host], seconds);
}

bool is_whole(const counts &given)
{
    return given.done == std::vector<span>{{.first = 1, .last = given.of.routers}};
}

uint64_t sum(const series &given)
{
    return std::accumulate(given.begin(), given.end(), uint64_t{0});
}

series by_minute(const series &seconds)
{
    series minutes((seconds.size() + 59) / 60);
    for (size_t i = 0; i < seconds.size(); i++)
        minutes[i / 60] += seconds[i];
    return minutes;
}

series together(const std::map<std::string, series> &all, size_t seconds)
{
    series result(seconds);
    for (const auto &[host, one] : all)
        add_series(result, one);
    return result;
}

peak peak_of(const series &given)
{
    const auto highest = std::ranges::max_element(given);
    return highest == given.end() ? peak{.at = 0, .count = 0}
                                  : peak{.at = static_cast<size_t>(highest - given.begin()), .count = *highest};
}

} // namespace fleet
