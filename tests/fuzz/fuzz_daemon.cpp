#include "tests/fuzz/fuzz_daemon.h"

#include <cstdio>
#include <cstdlib>

#include "platform/sim/daemon_state.h"
#include "time_check/time_check_ap_connect.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_reboot.h"
#include "time_check/time_check_stoppage_check.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wifi_connect.h"
#include "time_check/time_check_wl_guest.h"

std::vector<std::string> parts_of(const uint8_t *data, size_t size, char separator, size_t most)
{
    std::vector<std::string> parts(1);
    for (size_t i = 0; i < size; i++) {
        const char c = static_cast<char>(data[i]);
        if (c == separator) {
            if (parts.size() == most)
                break;
            parts.emplace_back();
        } else if (c != '\0') {
            parts.back() += c;
        }
    }
    return parts;
}

void fresh_daemon()
{
    sim::VirtualRouter &box = sim::router();
    sim::restore_daemon_state();
    box.keep_log(false);
    box.clear_journal();
    box.clock("2026-03-04 03:00:00");
    box.uptime(100000);
}

void run_ticks()
{
    time_check_reboot();
    time_check_power();
    time_check_wifi();
    time_check_led();
    time_check_cpu();
    time_check_daemon();
    time_check_wifi_connect();
    time_check_ap_connect();
    time_check_wl_guest();
    time_check_stoppage();
}

void expect_order()
{
    for (const std::string &path : sim::router().open_descriptors()) {
        fprintf(stderr, "left open: %s\n", path.c_str());
        abort();
    }
}
