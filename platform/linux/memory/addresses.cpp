// The remembered addresses: the list that was read last, until the kernel tells of a change.
// Saves the only system call of an idle tick beside its sleep ("system calls" in bench/REPORT.md, decision 0101).
// Left out with -DTIME_CHECK_REMEMBER_ADDRESSES=OFF; no_addresses.cpp takes its place.
#include "platform/linux/memory/addresses.h"

#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/interface.h"

struct remembered_addresses {
    bool is_current; // no change had been told just now
    bool is_watched; // any since it was read will be told
    address_list list;
};

static thread_local remembered_addresses addresses;
static thread_local int changes = -1; // where the kernel tells of them

static void open_changes()
{
    sockaddr_nl own = {};
    own.nl_family = AF_NETLINK;
    own.nl_groups = RTMGRP_IPV4_IFADDR;
    const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    const sockaddr *const generic = reinterpret_cast<sockaddr *>(&own); // NOLINT(*-reinterpret-cast)
    if (socket >= 0 && bind(socket, generic, sizeof own) == 0)
        changes = socket;
    else if (socket >= 0)
        close(socket);
}

int address_changes()
{
    addresses.is_current = false;
    if (changes < 0)
        open_changes();
    return changes;
}

void addresses_changed()
{
    char message[64]; // what changed is not asked; the rest of it is cut off
    addresses.is_watched = false;
    addresses.is_current = false;
    while (recv(changes, message, sizeof message, 0) >= 0 || errno == ENOBUFS) {
    }
}

void addresses_slept(bool stood_still)
{
    addresses.is_current = stood_still && addresses.is_watched;
}

void addresses_in_doubt()
{
    addresses.is_current = false;
}

const address_list *current_addresses()
{
    if (addresses.is_current)
        return &addresses.list;
    if (!read_address_list(&addresses.list))
        return nullptr;
    addresses.is_watched = changes >= 0;
    return &addresses.list;
}
