#include "tools/fleet/night.h"

#include <algorithm>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/sim/virtual_router.h"
#include "tools/fleet/chance.h"
#include "tools/preview/calendar.h"
#include "tools/preview/verdicts.h"

namespace fleet
{

namespace
{

using sim::router;

constexpr int64_t SECOND_MS = 1000;
constexpr const char *CLIENT = "192.168.0.100";
constexpr uint64_t BYTES_A_SECOND = 1000000; // far above every limit that a household sets
constexpr int RESTART_TAKES_S = 20;

// As a router comes from the factory, with the nightly restart that its maker has switched on.
constexpr std::pair<const char *, const char *> FACTORY[] = {
    {KEY_SYS_WORKMODE, "router"},     {KEY_WANS_FLAG, "1"},
    {KEY_LAN_IP, "192.168.0.1"},      {KEY_WL2G_PUBLIC_MODE, "ap"},
    {KEY_WL5G_PUBLIC_MODE, "ap"},     {KEY_REBOOT_ENABLE, "1"},
    {KEY_REBOOT_TYPE, "1"},           {KEY_REBOOT_WDAY, "1;1;1;1;1;1;1"},
    {KEY_REBOOT_START_TIME, "02:00"}, {KEY_REBOOT_END_TIME, "05:30"},
    {KEY_REBOOT_MAX_SPEED, "5"},
};

// What is the router's own. Times are in milliseconds since the beginning of the night, below 0 before it.
struct draw {
    int64_t started;
    int64_t boots;       // when the simulation begins
    int64_t clock_right; // when the clock is set
    int64_t clock_error; // s
    int64_t quiet_from;
    bool has_clients;
    bool is_busy;
    bool leaves;
    bool is_online;
    int64_t sent_mb_a_day;
    int64_t sent_before; // bytes, as odd as chance is
};

// Always in this order, and always all of it.
draw drawn(const profile &given, uint64_t seed, uint32_t number)
{
    // A daemon that starts before the night gets its settling, and its 20 s between two looks at the WAN, over with.
    constexpr int64_t SETTLES_MS = 60 * SECOND_MS;
    chance random(seed, number);
    draw result = {};
    result.started = random.between(given.started.from * SECOND_MS, given.started.to * SECOND_MS + SECOND_MS - 1);
    result.boots = std::max(result.started, -SETTLES_MS - random.between(0, SETTLES_MS - 1));
    result.clock_right =
        result.started + random.between(given.clock_right.from * SECOND_MS, given.clock_right.to * SECOND_MS);
    result.clock_error = random.between(given.clock_error.from, given.clock_error.to);
    result.quiet_from = random.between(after_begin(given, given.quiet_from.from) * SECOND_MS,
                                       after_begin(given, given.quiet_from.to) * SECOND_MS);
    const int64_t kind = random.between(0, 99);
    result.has_clients = kind >= given.empty;
    result.is_busy = result.has_clients && kind < given.empty + given.busy;
    result.leaves = random.happens(given.leaving);
    result.is_online = !random.happens(given.offline);
    result.sent_mb_a_day = random.between(given.sent.from, given.sent.to);
    result.sent_before = random.between(0, 999999);
    return result;
}

// The night of the one router that there is.
struct night {
    counts &to;
    const profile &given;
    draw own;
    int64_t runs_since; // ms, as draw's
    uint64_t restarts = 0;
    bool is_busy = false;
    std::map<std::string, std::string> names; // by address

    int64_t now_ms() const
    {
        return own.boots + router().clock.now() / sim::MILLISECOND;
    }
    // Gives whether it is in the night.
    bool count(series &in, int64_t at_ms, uint32_t more = 1) const
    {
        const auto second = static_cast<size_t>(at_ms / SECOND_MS);
        if (at_ms < 0 || second >= to.restarts.size())
            return false;
        in[second] += more;
        return true;
    }
    series &of(std::map<std::string, series> &all, const std::string &host) const
    {
        series &found = all[host];
        found.resize(to.restarts.size());
        return found;
    }
    // Seconds of the night from now on; 0 when it is past.
    void at(int64_t at_ms, std::function<void()> change) const
    {
        router().at(static_cast<double>(std::max<int64_t>(at_ms - own.boots, 0)) / SECOND_MS, std::move(change));
    }
};

void set_clock(const night &is)
{
    sim::Clock &clock = router().clock;
    clock.set_uptime(static_cast<int>((is.own.boots - is.own.started) / SECOND_MS));
    const auto right = [&is] {
        const int64_t seconds = (is.now_ms() - (is.now_ms() < 0 ? SECOND_MS - 1 : 0)) / SECOND_MS;
        router().clock.set(is.to.begin + static_cast<time_t>(seconds + is.own.clock_error));
    };
    if (is.own.clock_right <= is.own.boots) {
        right();
    } else {
        clock.set(static_cast<time_t>(clock.uptime()));
        is.at(is.own.clock_right, right);
    }
}

void set_internet(bool up)
{
    router().network.set_internet(up);
    router().network.set_dns(up);
}

void set_network(const night &is)
{
    sim::Network &network = router().network;
    network.set_link(1, true);
    network.set_address("eth1", "203.0.113.9");
    set_internet(is.own.is_online);
    if (is.given.outage.from == is.given.outage.to || !is.own.is_online)
        return;
    is.at(after_begin(is.given, is.given.outage.from) * SECOND_MS, [] { set_internet(false); });
    is.at(after_begin(is.given, is.given.outage.to) * SECOND_MS, [] { set_internet(true); });
}

void set_clients(night &is)
{
    if (!is.own.has_clients)
        return;
    router().network.set_neighbour(CLIENT, "0x2", "02:00:00:00:00:01", "br0");
    is.is_busy = true;
    if (is.own.is_busy)
        return;
    is.at(is.own.quiet_from, [&is] {
        is.is_busy = false;
        if (is.own.leaves)
            router().network.clear_neighbours();
    });
}

// What the LAN was sent since the start, of which the daemon makes the pause before a restart.
void set_sent_bytes(const night &is)
{
    router().files.generate("/sys/class/net/br0/statistics/tx_bytes", [&is](std::string &text) {
        const int64_t bytes = is.own.sent_before + router().clock.uptime() * (is.own.sent_mb_a_day * 1000000 / 86400);
        text = fmt::format("{}\n", bytes);
    });
}

// Moved only in seconds in which a rule samples it: the next sample finds what came in the meantime.
void move_traffic(const night &is)
{
    static constexpr uint64_t QUIET_BYTES_A_SECOND = 100;
    const auto seconds = static_cast<uint64_t>(router().clock.now() / sim::SECOND);
    const uint64_t before = router().network.hosts().empty() ? 0 : router().network.hosts()[0].up_bytes;
    const uint64_t bytes = is.is_busy ? seconds * BYTES_A_SECOND : before + QUIET_BYTES_A_SECOND;
    router().network.set_host(CLIENT, bytes, bytes);
}

// The journal has up-times, which count from a start that is known: that of the last restart. Gives whether the night
// had one.
bool count_restarts(night &is)
{
    bool any = false;
    for (const sim::Journal::Moment &moment : router().journal.moments()) {
        const int64_t at_ms = is.runs_since + moment.uptime * SECOND_MS;
        any = is.count(is.to.restarts, at_ms) || any;
        is.runs_since = at_ms + RESTART_TAKES_S * SECOND_MS;
    }
    return any;
}

void watch(night &is)
{
    router().network.watch_lookups([&is](const std::string &host, const std::string &ip) {
        is.names[ip] = host;
        is.count(is.of(is.to.lookups, host), is.now_ms());
    });
    router().network.watch_pings([&is](const std::string &ip, int requests) {
        is.count(is.of(is.to.echo_requests, is.names[ip]), is.now_ms(), static_cast<uint32_t>(requests));
    });
    router().watch_passes([&is] {
        if (is.restarts != router().restarts()) {
            is.restarts = router().restarts();
            set_sent_bytes(is);
        }
        if (preview::takes_samples_now())
            move_traffic(is);
    });
}

void mute_acts()
{
    router().log.ignore();
    for (const char *unused :
         {"set", "commit", "command", "exec", "netctrl", "leds", "wan_lan_check", "write", "unlink", "rename"})
        router().journal.mute(unused);
}

void make_world(night &is)
{
    sim::make_router_anew();
    mute_acts();
    router().restart_takes(RESTART_TAKES_S);
    router().local_time.set_zone(is.given.zone);
    for (const auto &[key, value] : FACTORY)
        router().store.set(key, value);
    for (const auto &[key, value] : is.given.settings)
        router().store.set(key, value);
    set_clock(is);
    set_network(is);
    set_clients(is);
    set_sent_bytes(is);
}

} // namespace

counts no_counts(const profile &given, const std::string &night, uint64_t seed, uint32_t routers)
{
    router().local_time.set_zone(given.zone);
    const std::optional<time_t> begin =
        preview::read_local(fmt::format("{} {:02}:{:02}:00", night, given.begin / 3600, given.begin % 3600 / 60));
    if (!begin)
        throw refused(fmt::format("--night: not YYYY-MM-DD: {}", night));
    counts none;
    none.of = {.profile = given.lines, .seed = seed, .night = night, .routers = routers};
    none.begin = *begin;
    none.zone = given.zone;
    none.restarts.resize(static_cast<size_t>(given.hours * 3600));
    return none;
}

void add_night(counts &to, const profile &given, uint32_t number)
{
    const draw own = drawn(given, to.of.seed, number);
    night is = {.to = to,
                .given = given,
                .own = own,
                .runs_since = own.boots - (own.boots - own.started) / SECOND_MS * SECOND_MS,
                .names = {}};
    make_world(is);
    watch(is);
    router().boot();
    router().run(static_cast<double>(given.hours * 3600 * SECOND_MS - own.boots) / SECOND_MS);
    to.restarted += count_restarts(is) ? 1 : 0;
}

} // namespace fleet
