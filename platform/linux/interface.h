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

// The IPv4 address and its netmask (which may be null). False: there is none. Any thread.
bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask);

// ---- for a thread that sleeps between its questions: what has not changed since need not be read again ----

// A descriptor of the calling thread's own that is readable once an address has changed; -1: nobody tells.
int address_changes();

// Has been readable: reads everything from it and forgets the addresses.
void addresses_changed();

// Was not readable just now, until the next addresses_may_have_changed().
void addresses_stood_still();
void addresses_may_have_changed();

#endif
