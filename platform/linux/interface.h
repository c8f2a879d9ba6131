// What the kernel tells of one network interface.
#ifndef PLATFORM_LINUX_INTERFACE_H
#define PLATFORM_LINUX_INTERFACE_H

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

// The IPv4 address and its netmask (either may be null). False: there is none. Any thread.
bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask);

#endif
