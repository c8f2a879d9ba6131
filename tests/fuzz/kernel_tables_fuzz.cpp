// The kernel's tables and the other files that the daemon reads, one a part; parts are divided by '|'.
#include <cstddef>
#include <iterator>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check_common.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_reboot.h"
#include "time_check/wan_surf_check.h"

static const char *const files[] = {
    "/proc/net/arp",
    "/proc/net/ip_mr_vif",
    "/sys/class/net/br0/statistics/tx_bytes",
    "/sys/class/net/br0/statistics/rx_bytes",
    "/proc/stat",
    "/proc/412/stat",
    "/etc/httpd.pid",
    "/etc/resolv.conf",
    "/etc/lan.ini",
    "etc/dhcpc/noresp",
};

static void set_up()
{
    sim::VirtualRouter &box = sim::router();
    for (const auto &[key, value] :
         {std::pair("sys.schedulereboot.enable", "1"), std::pair("sys.schedulereboot.type", "1"),
          std::pair("sys.schedulereboot.start_time", "02:30"), std::pair("wl2g.public.mode", "ap"),
          std::pair("wl5g.public.mode", "ap"), std::pair("sys.workmode", "ap")})
        box.set(key, value);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool once = (set_up(), true);
    static_cast<void>(once);
    sim::VirtualRouter &box = sim::router();
    fresh_daemon();
    size_t number = 0;
    for (const std::string &text : parts_of(data, size, '|', std::size(files)))
        box.file(files[number++], text);

    init_time_check_module_entries();
    for (int i = 0; i < 3; i++) {
        run_ticks();
        box.step_clock(1);
    }
    flow_check_reboot(1);
    time_check_get_sleep_rand();
    wan_surf_check_init();
    int interval_s = 0;
    surf_check(&interval_s, 1);
    expect_order();
    return 0;
}
