// Simulated seconds that the virtual router passes in a second, with every module configured and both of the daemon's
// threads at work: a line "sim RUN NUMBER" for each run of some days.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/sim/virtual_router.h"

namespace
{

constexpr int RUNS = 5;
constexpr double DAYS = 7;
constexpr double SECONDS_A_DAY = 86400;

constexpr const char *SETTINGS[][2] = {
    {"sys.workmode", "router"},
    {"wans.flag", "2"},
    {"lan.ip", "192.168.0.1"},
    {"sys.schedulereboot.enable", "1"},
    {"sys.schedulereboot.type", "1"},
    {"sys.schedulereboot.start_time", "03:00"},
    {"sys.schedulereboot.end_time", "05:00"},
    {"sys.powersleep.enable", "1"},
    {"sys.powersleep.type", "0"},
    {"sys.powersleep.start_time", "01:00"},
    {"sys.powersleep.end_time", "02:30"},
    {"sys.sched.wifi.enable", "1"},
    {"nkgw.wlan.listnum", "1"},
    {"nkgw.wlan.offtime.list1", "23:00"},
    {"nkgw.wlan.ontime.list1", "06:00"},
    {"sys.sched.led.type", "time"},
    {"nkgw.led.listnum", "1"},
    {"nkgw.led.offtime.list1", "22:00"},
    {"nkgw.led.ontime.list1", "07:00"},
    {"nkgw.led.state", "3"},
    {"wl.guest.dhcps_enable", "1"},
    {"wl.guest.effective_time", "3600"},
    {"wl2g.enable", "1"},
    {"wl5g.enable", "1"},
    {"wl2g.public.enable", "1"},
    {"wl5g.public.enable", "1"},
    {"wl2g.ssid0.enable", "1"},
    {"wl5g.ssid0.enable", "1"},
    {"wl2g.public.mode", "ap"},
    {"wl5g.public.mode", "ap"},
};

void configure(sim::VirtualRouter &box)
{
    box.clock.set("2026-03-01 00:00:00");
    box.clock.set_uptime(100000);
    for (const auto &[key, value] : SETTINGS)
        box.store.set(key, value);
    box.network.set_internet(true);
    box.network.set_dns(true);
    for (const int wan : {1, 2}) {
        const std::string ifname = "eth" + std::to_string(wan);
        box.network.set_wan(wan, ifname);
        box.network.set_link(wan, true);
        box.network.set_address(ifname, "203.0.113." + std::to_string(wan));
    }
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.network.set_host("192.168.0.7", 1000, 2000);
    box.network.set_multicast("br0", 300);
    box.network.set_counters("br0", 0, 90); // the pause before a restart
    box.log.keep(false);
}

// In a process of its own, since a process has one virtual router.
void run(int number)
{
    sim::VirtualRouter &box = sim::router();
    configure(box);
    const auto began = std::chrono::steady_clock::now();
    if (!box.boot())
        _exit(1);
    box.run(DAYS * SECONDS_A_DAY);
    const double took_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const bool online = box.store.get("wan1_isonln") == "1" && box.store.get("wan2_isonln") == "1";
    if (!online || !box.running() || box.restarts() == 0) {
        std::fprintf(stderr, "not the router that it should be: running %d, online %d, %llu restarts\n", box.running(),
                     online, static_cast<unsigned long long>(box.restarts()));
        _exit(1);
    }
    std::printf("sim\t%d\t%.0f\t%llu\n", number, DAYS * SECONDS_A_DAY / took_s,
                static_cast<unsigned long long>(box.ticks()));
    std::fflush(stdout);
    _exit(0);
}

} // namespace

int main()
{
    for (int number = 0; number < RUNS; number++) {
        const pid_t child = fork();
        if (child == 0)
            run(number);
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) < 0 || status != 0)
            return 1;
    }
}
