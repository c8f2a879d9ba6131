// What the fuzz targets share: a fresh router for each input, and what must hold after it.
#ifndef TESTS_FUZZ_FUZZ_DAEMON_H
#define TESTS_FUZZ_FUZZ_DAEMON_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/virtual_router.h"

// Files that the daemon reads, in the order in which an input gives them.
inline constexpr const char *FILES_READ[] = {
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
    "/etc/resolv.conf.time_check",
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// The parts of an input, as text without zeros, divided by `separator`; at most `most` of them.
std::vector<std::string> parts_of(const uint8_t *data, size_t size, char separator, size_t most);

// A factory router at 03:00, long up, whose daemon has not been started. It remembers no lines.
void fresh_router();

// Ends the program: something did not hold.
[[noreturn]] void give_up(const char *what, const std::string &text);

// Ends the program when the daemon has ended, lost a thread or left a descriptor open.
void expect_order();

#endif
