#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/fleet/counts.h"
#include "tools/preview/calendar.h"

namespace fleet
{

namespace
{

using nlohmann::json;

constexpr int VERSION = 1;
constexpr time_t LAST_NIGHT = 7258118400; // the year 2200; beyond what a calendar can be asked of

json peak_json(const series &steps, time_t begin, int step_s)
{
    const peak highest = peak_of(steps);
    return {{"at", preview::iso_text(begin + static_cast<time_t>(highest.at) * step_s)}, {"count", highest.count}};
}

json hosts_json(const std::map<std::string, series> &hosts, size_t seconds, time_t begin)
{
    const series all = together(hosts, seconds);
    json result = {{"total", sum(all)}, {"peak_second", peak_json(all, begin, 1)}, {"hosts", json::object()}};
    for (const auto &[host, counted] : hosts)
        result["hosts"][host] = {
            {"total", sum(counted)}, {"peak_second", peak_json(counted, begin, 1)}, {"a_second", counted}};
    return result;
}

std::map<std::string, series> hosts_of(const json &given, size_t seconds)
{
    std::map<std::string, series> result;
    for (const auto &[host, counted] : given.at("hosts").items()) {
        result[host] = counted.at("a_second").get<series>();
        if (result[host].size() != seconds)
            throw refused("its hosts have nights of another length");
    }
    return result;
}

counts read(const json &given)
{
    if (given.at("version").get<int>() != VERSION)
        throw refused("of another version");
    counts result;
    result.of = {.profile = given.at("profile").get<std::vector<std::string>>(),
                 .seed = given.at("seed").get<uint64_t>(),
                 .night = given.at("night").get<std::string>(),
                 .routers = given.at("routers").get<uint32_t>()};
    result.begin = given.at("begin_seconds").get<time_t>();
    if (result.begin < 0 || result.begin >= LAST_NIGHT)
        throw refused("its night begins in no year from 1970 to 2199");
    result.zone = given.at("zone").get<std::string>();
    for (const json &each : given.at("done"))
        result.done.push_back({.first = each.at(0).get<uint32_t>(), .last = each.at(1).get<uint32_t>()});
    result.restarted = given.at("restarted").get<uint64_t>();
    result.restarts = given.at("restarts").at("a_second").get<series>();
    result.lookups = hosts_of(given.at("name_queries"), result.restarts.size());
    result.echo_requests = hosts_of(given.at("echo_requests"), result.restarts.size());
    return result;
}

} // namespace

std::string json_of(const counts &given)
{
    const series minutes = by_minute(given.restarts);
    json done = json::array();
    for (const span &each : given.done)
        done.push_back({each.first, each.last});
    const json whole = {{"version", VERSION},
                        {"profile", given.of.profile},
                        {"seed", given.of.seed},
                        {"night", given.of.night},
                        {"routers", given.of.routers},
                        {"zone", given.zone},
                        {"begin", preview::iso_text(given.begin)},
                        {"begin_seconds", given.begin},
                        {"done", done},
                        {"restarted", given.restarted},
                        {"restarts",
                         {{"total", sum(given.restarts)},
                          {"peak_minute", peak_json(minutes, given.begin, 60)},
                          {"peak_second", peak_json(given.restarts, given.begin, 1)},
                          {"a_minute", minutes},
                          {"a_second", given.restarts}}},
                        {"name_queries", hosts_json(given.lookups, given.restarts.size(), given.begin)},
                        {"echo_requests", hosts_json(given.echo_requests, given.restarts.size(), given.begin)}};
    return whole.dump() + "\n";
}

counts counts_of(std::string_view text, const std::string &name)
{
    try {
        return read(json::parse(text));
    } catch (const json::parse_error &error) {
        throw refused(fmt::format("{}: no JSON: byte {}", name, error.byte));
    } catch (const json::exception &) {
        throw refused(fmt::format("{}: not what tcctl fleet --format json writes", name));
    } catch (const refused &why) {
        throw refused(fmt::format("{}: {}", name, why.what()));
    }
}

} // namespace fleet
