// The world of the Linux ground: interfaces, processes and files, and the real store in a folder of its own. It needs
// namespaces (kit/in_namespaces).
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/kit/world.h"
#include "tests/contract/network_support.h"

namespace
{

constexpr int DEADLINE_S = 4;

struct LinuxWorld {
    ~LinuxWorld()
    {
        remove_interfaces_and_rules();
    }

    std::filesystem::path leds() const
    {
        return folders.run().parent_path() / "leds";
    }

    StoreFolders folders;
    bus_end netctrl = {-1, -1};
    std::optional<OtherMachine> lan;
    std::optional<OtherMachine> provider;
    std::optional<OtherMachine> access_point;
};

std::unique_ptr<LinuxWorld> here;
int restarts_asked;

// What a world's call gives: whether all that it expected has come true.
int done()
{
    return testing::Test::HasFailure() ? -1 : 0;
}

int begin()
{
    here = std::make_unique<LinuxWorld>();
    setenv("TIME_CHECK_COMMAND_DEADLINE_S", std::to_string(DEADLINE_S).c_str(), 1);
    setenv("TIME_CHECK_LED_DIR", here->leds().c_str(), 1);
    std::filesystem::create_directories(here->leds() / "wan");
    write_text(here->leds() / "wan" / "brightness", "0\n");
    write_text(here->leds() / "wan" / "max_brightness", "255\n");
    write_text(here->leds() / "wan" / "trigger", "none [netdev] timer\n");
    return done();
}

void end()
{
    here.reset();
}

int restart()
{
    here->folders.restart();
    return 0;
}

int post(const char *name, const char *text)
{
    return bus_post(name, text) == BUS_DONE ? 0 : -1;
}

int ask_to_end()
{
    return kill(getpid(), SIGTERM);
}

int ask_to_read_again()
{
    return kill(getpid(), SIGHUP);
}

int netctrl_listens(int listens)
{
    if (listens != 0)
        return bus_open("netctrl", &here->netctrl) == BUS_DONE ? 0 : -1;
    if (here->netctrl.socket >= 0)
        bus_close(&here->netctrl);
    return 0;
}

int netctrl_heard(char *text, size_t size)
{
    bus_message message;
    if (bus_receive(&here->netctrl, &message) != BUS_DONE)
        return -1;
    snprintf(text, size, "%s", message.text);
    return 0;
}

int leds()
{
    const std::string trigger = text_of(here->leds() / "wan" / "trigger");
    if (trigger.starts_with("timer"))
        return 2;
    if (trigger.find("netdev") != std::string::npos)
        return 3;
    const std::string brightness = text_of(here->leds() / "wan" / "brightness");
    return brightness == "0" ? 0 : brightness == "255" ? 1 : -1;
}

int restarts()
{
    return restarts_asked;
}

int lan_address(const char *address)
{
    here->lan.emplace();
    wire("lan0", *here->lan);
    sh("ip link add br0 type bridge && ip link set lan0 master br0 && ip link set br0 up");
    sh(std::string("ip addr add ") + address + "/24 dev br0");
    EXPECT_TRUE(comes_true([] { return text_of("/sys/class/net/br0/operstate") == "up\n"; }));
    return done();
}

int wan_cable(int plugged)
{
    if (!here->provider) {
        here->provider.emplace();
        wire("wan1", *here->provider);
    }
    here->provider->sh(plugged != 0 ? "ip link set eth0 up" : "ip link set eth0 down");
    return done();
}

int wan_address(const char *text)
{
    const std::string address = text;
    sh("ip addr flush dev wan1");
    if (address.empty())
        return done();
    sh("ip addr add " + address + "/24 dev wan1");
    here->provider->sh("ip addr add " + address.substr(0, address.rfind('.')) + ".1/24 dev eth0");
    return done();
}

int radio(int state)
{
    if (!here->access_point) {
        here->access_point.emplace();
        wire("wlan0", *here->access_point);
    }
    here->access_point->sh(state > 0 ? "ip link set eth0 up" : "ip link set eth0 down");
    sh(state < 0 ? "ip link set wlan0 down" : "ip link set wlan0 up");
    return done();
}

int user_changes_uplink(int changes)
{
    return SetValue("wl.wisp.webpage_status", changes != 0 ? "0" : "1") == 1 ? 0 : -1;
}

void connect_lan_to_internet()
{
    if (here->lan)
        return;
    lan_address("192.168.0.1");
    wan_cable(1);
    wan_address("10.91.0.2");
    sh("echo 1 >/proc/sys/net/ipv4/ip_forward");
    here->provider->sh("ip route add default via 10.91.0.2");
    // the answer of an unreachable port would be counted too
    for (const OtherMachine *machine : {&*here->lan, &*here->provider})
        machine->sh("nft \"table ip quiet { chain c { type filter hook input priority 0; udp dport 9 drop; }; }\"");
}

int traffic(const char *host, int sent, int received)
{
    connect_lan_to_internet();
    const std::string address = host;
    here->lan->sh("ip addr add " + address + "/24 dev eth0; ip route replace default via 192.168.0.1");
    here->lan->act([&] { send_datagrams(address, "10.91.0.1", sent); });
    here->provider->act([&] { send_datagrams("10.91.0.1", address, received); });
    return done();
}

} // namespace

// Instead of the C library's, in this program: nothing restarts here.
extern "C" int reboot(int /*how*/)
{
    restarts_asked++;
    errno = EPERM;
    return -1;
}

const world kit_world = {
    .name = "the plain-Linux ground",
    .is_model = 0,
    .begin = begin,
    .end = end,
    .restart = restart,
    .set_elsewhere = kit_set_elsewhere,
    .get_elsewhere = kit_get_elsewhere,
    .post = post,
    .hold_name = kit_hold_name,
    .ask_to_end = ask_to_end,
    .ask_to_read_again = ask_to_read_again,
    .netctrl_listens = netctrl_listens,
    .netctrl_heard = netctrl_heard,
    .command_deadline_s = DEADLINE_S,
    .process = kit_process,
    .end_processes = kit_end_processes,
    .leds = leds,
    .restarts = restarts,
    .file = kit_file,
    .lan_address = lan_address,
    .wan_cable = wan_cable,
    .wan_address = wan_address,
    .radio = radio,
    .user_changes_uplink = user_changes_uplink,
    .traffic = traffic,
};
