#include <cstdlib>
#include <new>

#include "platform/sim/daemon_state.h"
#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"

namespace sim
{

static void make_factory_router()
{
    VirtualRouter &box = router();
    box.timezone("UTC0");
    box.clock("2026-01-01 12:00:00");

    model().processes.begin();
    box.process("netctrl", 300);
    box.process("httpd", 412);
    box.file("/etc/httpd.pid", "412\n");

    box.counters("br0", 0, 0);
    box.counters("eth1", 0, 0);
    box.clear_arp();
    model().network.machine_restarted(); // writes the empty tables
    model().commands.machine_restarted();
    box.file("/etc/resolv.conf", "nameserver 192.0.2.1\nnameserver 192.0.2.2\n");
    box.missing("etc/dhcpc/noresp");
    box.missing("/etc/lan.ini");

    box.address("br0", "192.168.0.1");
    box.wan(1, "eth1");
    box.eth_name(10, "eth1");
    box.radio_name(24, "wlc0");
    box.radio_name(5, "wlc1");
}

void Model::machine_restarted()
{
    local_time.machine_restarted();
    streams.machine_restarted();
    files.machine_restarted();
    store.machine_restarted();
    network.machine_restarted();
    commands.machine_restarted();
}

// Made while the program starts. It lives as long as the process: the daemon may stand in the middle of a call at its
// end.
Model *const the_model = new Model;

static const bool made = (make_factory_router(), true);

void make_router_anew()
{
    the_model->~Model();
    new (the_model) Model;
    restore_daemon_state();
    srandom(1); // as a process finds them
    srand(1);
    make_factory_router();
}

VirtualRouter &router()
{
    static VirtualRouter box;
    return box;
}

} // namespace sim
