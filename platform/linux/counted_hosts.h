// The LAN hosts that one reading of the kernel's counters finds, and how its answers are read. Main thread.
#ifndef PLATFORM_LINUX_COUNTED_HOSTS_H
#define PLATFORM_LINUX_COUNTED_HOSTS_H

#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>

#include "platform/statistics.h"

constexpr int HOSTS_A_SET = 512; // further hosts are forwarded, but not counted
constexpr int BRIDGES = 2;       // the LAN's and the guests'
constexpr size_t MOST_COUNTED_HOSTS = 2 * HOSTS_A_SET + BRIDGES;

struct counted_host {
    uint64_t id;
    users_info bytes;
};

extern counted_host counted_hosts[MOST_COUNTED_HOSTS];
extern size_t counted_host_num;

void forget_hosts();

// A set of the netfilter table, and what it counts.
struct counted_set {
    const char *name;
    uint64_t users_info::*bytes;
    uint64_t family; // keeps an interface's number apart from an address
};

constexpr size_t COUNTED_SETS = 4;
extern const counted_set counted_sets[COUNTED_SETS];

// Reads all sets into the hosts above, as they are; makes nothing. False: they cannot be read, errno says why (ENOENT:
// nobody has counted yet).
bool read_counted_hosts();

// Takes the elements of one message of the answer to a question for a set, `context` being the counted_set, into the
// hosts above. What is no element, or is cut, is passed over. The library's signature and result.
int take_counted_message(const nlmsghdr *message, void *context);

#endif
