#include <cstdlib>
#include <new>

#include "platform/sim/daemon_state.h"
#include "platform/sim/virtual_router.h"

namespace sim
{

static void make_factory_router()
{
    VirtualRouter &box = router();
    box.local_time.set_zone("UTC0");
    box.clock.set("2026-01-01 12:00:00");

    box.processes.begin();
    box.processes.start("netctrl", 300);
    box.processes.start("httpd", 412);
    box.files.set("/etc/httpd.pid", "412\n");

    box.network.set_counters("br0", 0, 0);
    box.network.set_counters("eth1", 0, 0);
    box.network.clear_neighbours();
    box.network.machine_restarted(); // writes the empty tables
    box.commands.machine_restarted();
    box.files.set("/etc/resolv.conf", "nameserver 192.0.2.1\nnameserver 192.0.2.2\n");
    box.files.set_missing("etc/dhcpc/noresp");
    box.files.set_missing("/etc/lan.ini");

    box.network.set_address("br0", "192.168.0.1");
    box.network.set_wan(1, "eth1");
    box.network.set_eth_name(10, "eth1");
    box.radios.set_name(24, "wlc0");
    box.radios.set_name(5, "wlc1");
}

void VirtualRouter::machine_restarted()
{
    local_time.machine_restarted();
    streams.machine_restarted();
    files.machine_restarted();
    store.machine_restarted();
    network.machine_restarted();
    commands.machine_restarted();
}

std::vector<std::string> VirtualRouter::open_descriptors() const
{
    std::vector<std::string> paths = files.open_paths();
    const std::vector<std::string> directories = streams.open_directories();
    paths.insert(paths.end(), directories.begin(), directories.end());
    return paths;
}

constinit RouterPlace router_place;

static const bool made = (new (&router_place.router) VirtualRouter, make_factory_router(), true);

void make_router_anew()
{
    router().~VirtualRouter();
    new (&router_place.router) VirtualRouter;
    restore_daemon_state();
    srandom(1); // as a process finds them
    srand(1);
    make_factory_router();
}

} // namespace sim
