// Whether a router's own settings fit the machine that it is.
#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "tools/tcctl/finding.h"

namespace tcctl
{

namespace
{

namespace fs = std::filesystem;

bool is_there(const fs::path &path)
{
    std::error_code ignored;
    return fs::exists(path, ignored);
}

std::vector<std::string> bridges_of(const fs::path &interfaces)
{
    std::vector<std::string> bridges;
    std::error_code failed;
    for (const fs::directory_entry &each : fs::directory_iterator(interfaces, failed))
        if (is_there(each.path() / "bridge"))
            bridges.push_back(each.path().filename());
    std::sort(bridges.begin(), bridges.end());
    return bridges;
}

// ---- bridges ----

void check_named_bridge(const settings &given, const char *key, const std::vector<std::string> &bridges,
                        findings &found)
{
    const setting *const named = given.find(key);
    if (named == nullptr || named->value.empty() ||
        std::find(bridges.begin(), bridges.end(), named->value) != bridges.end())
        return;
    std::string meant;
    for (const std::string &bridge : bridges)
        meant += (meant.empty() ? "" : " or ") + bridge;
    found.push_back({fault::no_such_bridge, *named, "this machine has no such bridge",
                     "its clients are nobody: the router restarts and sleeps under its users", meant});
}

void check_bridges(const settings &given, const std::vector<std::string> &bridges, findings &found)
{
    check_named_bridge(given, KEY_LAN_IFNAME, bridges, found);
    check_named_bridge(given, KEY_LAN2_IFNAME, bridges, found);
    const std::vector<std::string> looked_at = {"br0", "br1", given.value(KEY_LAN_IFNAME),
                                                given.value(KEY_LAN2_IFNAME)};
    for (const std::string &bridge : bridges)
        if (std::find(looked_at.begin(), looked_at.end(), bridge) == looked_at.end())
            found.push_back(
                {fault::bridge_not_looked_at,
                 {},
                 fmt::format("the quiet checks do not look at {}", bridge),
                 "its clients are nobody: the router restarts and sleeps under its users",
                 fmt::format("lan.ifname={0} or lan2.ifname={0}, if it is the LAN's or the guests'", bridge)});
}

// ---- the time zone ----

// Whether a text of TZ is a rule of its own, such as CET-1CEST: letters, then an offset.
bool is_rule(const std::string &zone)
{
    const size_t offset = zone.find_first_of("0123456789");
    return offset != std::string::npos && offset >= 3 && zone.find('/') > offset;
}

void check_named_zone(const machine_paths &paths, std::string zone, findings &found)
{
    if (zone.starts_with(':'))
        zone.erase(0, 1);
    const fs::path file = zone.starts_with('/') ? fs::path(zone) : fs::path(paths.zones) / zone;
    if (zone.empty())
        found.push_back({fault::zone_not_set, {}, "TZ is set and empty", "all schedules go by UTC", ""});
    else if (!is_rule(zone) && !is_there(file))
        found.push_back({fault::zone_unknown,
                         {},
                         fmt::format("TZ names {}, and there is no such time zone", zone),
                         "all schedules go by UTC",
                         ""});
}

void check_zone(const machine_paths &paths, const char *zone, findings &found)
{
    std::error_code ignored;
    if (zone != nullptr)
        check_named_zone(paths, zone, found);
    else if (fs::is_symlink(paths.zone_file, ignored) && !is_there(paths.zone_file))
        found.push_back({fault::zone_unknown,
                         {},
                         fmt::format("{} leads nowhere", paths.zone_file),
                         "all schedules go by UTC",
                         "a zone of this machine"});
    else if (!is_there(paths.zone_file))
        found.push_back({fault::zone_not_set,
                         {},
                         fmt::format("there is no {}", paths.zone_file),
                         "all schedules go by UTC",
                         "a link to the zone's file"});
}

} // namespace

findings check_machine(const settings &given, const machine_paths &paths, const char *zone)
{
    findings found;
    check_bridges(given, bridges_of(paths.interfaces), found);
    check_zone(paths, zone, found);
    return found;
}

} // namespace tcctl
