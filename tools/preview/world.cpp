#include "tools/preview/world.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/sim/virtual_router.h"
#include "tools/preview/calendar.h"

namespace preview
{

namespace
{

using sim::router;

constexpr const char *CLIENT = "192.168.0.100";
constexpr uint64_t BYTES_A_SECOND = 1000000; // far above every limit that a household sets

struct change {
    time_t at;
    bool comes;
};

void set_client(bool is_there)
{
    router().network.clear_neighbours();
    if (is_there)
        router().network.set_neighbour(CLIENT, "0x2", "02:00:00:00:00:01", "br0");
}

// The changes up to `to`, by time. Periods that overlap or touch leave the client there.
std::vector<change> client_changes(const request &asked, time_t to)
{
    std::vector<change> edges;
    for (const local_day &day : days_between(asked.from - time_t{24} * 3600, to))
        for (const daily_time &period : asked.clients) {
            const local_day next = days_between(day.end, day.end + 1).front();
            edges.push_back({.at = moment_on(day, period.from), .comes = true});
            edges.push_back({.at = moment_on(period.to > period.from ? day : next, period.to), .comes = false});
        }
    std::ranges::stable_sort(edges, {}, &change::at);
    std::vector<change> changes;
    int there = 0;
    for (const change &edge : edges) {
        const bool was_there = there > 0;
        there += edge.comes ? 1 : -1;
        if ((there > 0) != was_there)
            changes.push_back({.at = edge.at, .comes = there > 0});
    }
    return changes;
}

} // namespace

void make_world(const request &asked, time_t begin)
{
    sim::VirtualRouter &box = router();
    box.log.ignore();
    for (const char *unused : {"command", "exec", "wan_lan_check", "write", "unlink", "rename", "netctrl"})
        box.journal.mute(unused);
    box.restart_takes(RESTART_TAKES_S);
    box.local_time.set_zone(asked.zone);
    box.clock.set(begin);
    for (const auto &[key, value] : asked.settings)
        box.store.set(key, value);

    box.network.set_internet(true);
    for (const int port : {1, 2})
        box.network.set_link(port, true);
    for (const char *ifname : {"eth1", "wan2", "wlc0", "wlc1"})
        box.network.set_address(ifname, "203.0.113.9");
    for (const char *uplink : {"wlc0", "wlc1"})
        box.radios.set(uplink, 3, 3);
    set_chance();
}

void set_chance()
{
    router().network.set_counters("br0", 0, 1);
}

void order_clients(const request &asked, time_t to)
{
    if (asked.always) {
        set_client(true);
        return;
    }
    const time_t now = router().clock.wall();
    for (const change &each : client_changes(asked, to))
        if (each.at <= now)
            set_client(each.comes);
        else
            router().at(static_cast<double>(each.at - now), [comes = each.comes] { set_client(comes); });
}

void move_traffic()
{
    const auto bytes = static_cast<uint64_t>(router().clock.now() / sim::SECOND) * BYTES_A_SECOND;
    router().network.set_host(CLIENT, bytes, bytes);
}

} // namespace preview
