// What the kernel tells of one network interface.
#ifndef PLATFORM_LINUX_INTERFACE_H
#define PLATFORM_LINUX_INTERFACE_H

#include <cstddef>
#include <net/if.h>
#include <netinet/in.h>

enum interface_link {
    LINK_NO_INTERFACE,
    LINK_INTERFACE_DOWN, // switched off
    LINK_NONE,           // no carrier: no cable, or the radio is not associated
    LINK_PENDING,        // associated, but not let in yet
    LINK_UP,
};

// Any thread.
interface_link link_of_interface(const char *ifname);

// The IPv4 address and its netmask (which may be null). False: there is none. Any thread.
bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask);

// ---- the machine's addresses ----

constexpr size_t MOST_LISTED = 64;

// The machine's IPv4 addresses, up to so many, under their interfaces' names.
struct address_list {
    size_t number;
    ifreq entries[MOST_LISTED]; // most of them never written
};

// Reads the list as it is now. False: it cannot be read, and is as it was. Any thread.
bool read_address_list(address_list *list);

// The calling thread's list, good until its next call: read now, or known to be as it is now (memory/addresses.cpp).
// Null: it cannot be read. Any thread.
const address_list *current_addresses();

#endif
