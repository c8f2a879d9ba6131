#include "platform/linux/interface.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/kernel_file.h"

// Asked every second, so the socket is kept. When two threads make it at once, the later one gives its own up.
static int query_socket()
{
    static std::atomic<int> kept{-1};
    int socket = kept.load();
    if (socket >= 0)
        return socket;
    socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int none = -1;
    if (socket >= 0 && !kept.compare_exchange_strong(none, socket)) {
        close(socket);
        socket = none;
    }
    return socket;
}

static in_addr address_in(const ifreq *answer)
{
    sockaddr_in found = {};
    memcpy(&found, &answer->ifr_addr, sizeof found);
    return found.sin_addr;
}

// What the kernel answers about an interface that there is.
static bool ask_about(const char *ifname, unsigned long what, in_addr *answer)
{
    ifreq question = {};
    memcpy(question.ifr_name, ifname, strlen(ifname));
    question.ifr_addr.sa_family = AF_INET;
    if (ioctl(query_socket(), what, &question) != 0)
        return false;
    *answer = address_in(&question);
    return true;
}

// ---- addresses ----

constexpr size_t MOST_LISTED = 64;

// The machine's IPv4 addresses, up to so many, under their interfaces' names. Asked about a single name that there is
// not, the kernel would each time have a program look for a module of that name (decision 0101).
struct address_list {
    bool is_current; // no change had been told just now
    bool is_watched; // any since it was read will be told
    size_t number;
    ifreq entries[MOST_LISTED]; // most of them never written
};

static thread_local address_list addresses;
static thread_local int changes = -1; // where the kernel tells of them

int address_changes()
{
    if (changes >= 0)
        return changes;
    sockaddr_nl own = {};
    own.nl_family = AF_NETLINK;
    own.nl_groups = RTMGRP_IPV4_IFADDR;
    const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    const sockaddr *const generic = reinterpret_cast<sockaddr *>(&own); // NOLINT(*-reinterpret-cast)
    if (socket >= 0 && bind(socket, generic, sizeof own) == 0)
        changes = socket;
    else if (socket >= 0)
        close(socket);
    return changes;
}

void addresses_stood_still()
{
    addresses.is_current = addresses.is_watched;
}

void addresses_may_have_changed()
{
    addresses.is_current = false;
}

void addresses_changed()
{
    char message[64]; // what changed is not asked; the rest of it is cut off
    addresses.is_watched = false;
    addresses.is_current = false;
    while (recv(changes, message, sizeof message, 0) >= 0 || errno == ENOBUFS) {
    }
}

static bool read_addresses()
{
    ifconf question = {};
    question.ifc_len = sizeof addresses.entries;
    question.ifc_req = addresses.entries;
    if (ioctl(query_socket(), SIOCGIFCONF, &question) != 0)
        return false;
    addresses.number = static_cast<size_t>(question.ifc_len) / sizeof(ifreq);
    addresses.is_watched = changes >= 0;
    return true;
}

// A full list may lack some. Their interfaces are asked about one by one, and only those that there are
// (decision 0128).
static bool address_beyond_list(const char *ifname, in_addr *address)
{
    return addresses.number == MOST_LISTED && link_of_interface(ifname) != LINK_NO_INTERFACE &&
           ask_about(ifname, SIOCGIFADDR, address);
}

static bool find_address(const char *ifname, in_addr *address)
{
    for (size_t i = 0; i < addresses.number; i++) {
        if (strcmp(addresses.entries[i].ifr_name, ifname) == 0) {
            *address = address_in(&addresses.entries[i]);
            return true;
        }
    }
    return address_beyond_list(ifname, address);
}

bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask)
{
    if (!addresses.is_current && !read_addresses())
        return false;
    return find_address(ifname, address) && (netmask == nullptr || ask_about(ifname, SIOCGIFNETMASK, netmask));
}

// ---- links ----

// Carrier and not operstate tells the link, since the latter may lag by a second. Only operstate tells that a radio has
// carrier but is not let in yet (decision 0024).
interface_link link_of_interface(const char *ifname)
{
    char path[64];
    char value[16];
    if (ifname[0] == '\0' || strlen(ifname) >= IFNAMSIZ || strchr(ifname, '/') != nullptr)
        return LINK_NO_INTERFACE;
    snprintf(path, sizeof path, "/sys/class/net/%s/carrier", ifname);
    if (!read_first_line(path, value, sizeof value))
        return errno == EINVAL ? LINK_INTERFACE_DOWN : LINK_NO_INTERFACE;
    if (strcmp(value, "1") != 0)
        return LINK_NONE;
    snprintf(path, sizeof path, "/sys/class/net/%s/operstate", ifname);
    const bool dormant = read_first_line(path, value, sizeof value) && strcmp(value, "dormant") == 0;
    return dormant ? LINK_PENDING : LINK_UP;
}
