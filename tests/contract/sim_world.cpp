// The world of the virtual router: what the model is told.
#include <cstdio>
#include <string>
#include <vector>

#include "platform/network.h"
#include "platform/sim/virtual_router.h"
#include "platform/wifi.h"
#include "tests/contract/kit/world.h"

using sim::router;

static std::vector<std::string> processes;

static int begin()
{
    sim::VirtualRouter &box = router();
    box.network.set_wan(1, "wan1");
    box.network.set_eth_name(WAN_1, "wan1");
    box.store.unset("sys.mode");
    box.store.unset("wan1.connecttype");
    for (const char *ifname : {"br0", "wan1"})
        box.network.set_address(ifname, "");
    box.network.set_reachable("*", "", false);
    box.processes.end("dhttpd");
    return 0;
}

static int restart()
{
    router().restart();
    return 0;
}

static int set_elsewhere(const char *key, const char *value)
{
    router().store.set_uncommitted(key, value);
    return 0;
}

static int get_elsewhere(const char *key, char *value, size_t size)
{
    snprintf(value, size, "%s", router().store.get(key).c_str());
    return 0;
}

static int netctrl_listens(int listens)
{
    return listens != 0 ? 0 : -1; // it always does
}

static int netctrl_heard(char *text, size_t size)
{
    const std::vector<std::string> &messages = router().journal.messages_to_netctrl();
    snprintf(text, size, "%s", messages.empty() ? "" : messages.back().c_str());
    return 0;
}

static int process(const char *name)
{
    router().processes.start(name, 4321);
    processes.emplace_back(name);
    return 0;
}

static int end_processes()
{
    for (const std::string &name : processes)
        router().processes.end(name);
    return 0;
}

// What the daemon's lines in the journal say: the last of them that begins so, and how many there are.
static const std::string *last_act(const std::string &beginning, int *count)
{
    const std::string *last = nullptr;
    for (const std::string &line : router().journal.lines())
        if (line.starts_with(beginning)) {
            last = &line;
            ++*count;
        }
    return last;
}

static int leds()
{
    int count = 0;
    const std::string *const last = last_act("leds ", &count);
    return last == nullptr ? -1 : last->back() - '0';
}

static int restarts()
{
    int count = 0;
    last_act("reboot", &count);
    return count;
}

static int file(const char *text, char *path, size_t size)
{
    router().files.set("/etc/settings", text);
    snprintf(path, size, "/etc/settings");
    return 0;
}

static int lan_address(const char *address)
{
    router().network.set_address("br0", address);
    return 0;
}

static int wan_cable(int plugged)
{
    router().network.set_link(wanid_to_sw_port(1), plugged != 0);
    return 0;
}

static int wan_address(const char *text)
{
    const std::string address = text;
    router().network.set_address("wan1", address);
    if (address.empty())
        return 0;
    const std::string provider = address.substr(0, address.rfind('.')) + ".1";
    router().network.set_reachable(provider, "", true);
    router().network.set_reachable(provider, "absent9", false);
    return 0;
}

static int radio(int state)
{
    static constexpr int LINKS[] = {-1, TPI_NOT_CONNECTED, TPI_CONNECTED};
    static constexpr int RELAYS[] = {WIFI_RELAY_DOWN, WIFI_RELAY_UP, WIFI_RELAY_CONNECTED};
    router().radios.set_name(24, "wlan0");
    router().radios.set("wlan0", LINKS[state + 1], RELAYS[state + 1]);
    return 0;
}

static int user_changes_uplink(int changes)
{
    router().radios.webpage_status = changes != 0 ? 0 : 1;
    return 0;
}

static int traffic(const char *host, int sent, int received)
{
    constexpr uint64_t DATAGRAM = 128;
    router().network.set_host(host, static_cast<uint64_t>(sent) * DATAGRAM, static_cast<uint64_t>(received) * DATAGRAM);
    return 0;
}

// Messages are handed over to a daemon that runs in it, which is none of this program's (tests/sim).
const world kit_world = {
    .name = "the virtual router",
    .is_model = 1,
    .begin = begin,
    .end = nullptr,
    .restart = restart,
    .set_elsewhere = set_elsewhere,
    .get_elsewhere = get_elsewhere,
    .post = nullptr,
    .hold_name = nullptr,
    .ask_to_end = nullptr,
    .ask_to_read_again = nullptr,
    .netctrl_listens = netctrl_listens,
    .netctrl_heard = netctrl_heard,
    .command_deadline_s = 0,
    .process = process,
    .end_processes = end_processes,
    .leds = leds,
    .restarts = restarts,
    .file = file,
    .lan_address = lan_address,
    .wan_cable = wan_cable,
    .wan_address = wan_address,
    .radio = radio,
    .user_changes_uplink = user_changes_uplink,
    .traffic = traffic,
};
