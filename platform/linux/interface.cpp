#include "platform/linux/interface.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/kernel_file.h"

// Asked every second, so the socket is kept. -1: there is none yet.
static std::atomic<int> kept_query_socket{-1};

// When two threads make it at once, the later one gives its own up.
static int query_socket()
{
    int socket = kept_query_socket.load();
    if (socket >= 0)
        return socket;
    socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int none = -1;
    if (socket >= 0 && !kept_query_socket.compare_exchange_strong(none, socket)) {
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

// Asked about a single name that there is not, the kernel would each time have a program look for a module of that
// name (decision 0101).
bool read_address_list(address_list *list)
{
    ifconf question = {};
    question.ifc_len = sizeof list->entries;
    question.ifc_req = list->entries;
    if (ioctl(query_socket(), SIOCGIFCONF, &question) != 0)
        return false;
    list->number = static_cast<size_t>(question.ifc_len) / sizeof(ifreq);
    return true;
}

// A full list may lack some. Their interfaces are asked about one by one, and only those that there are
// (decision 0128).
static bool address_beyond_list(const address_list *list, const char *ifname, in_addr *address)
{
    return list->number == MOST_LISTED && link_of_interface(ifname) != LINK_NO_INTERFACE &&
           ask_about(ifname, SIOCGIFADDR, address);
}

// Most names differ in the first letter already.
static bool find_address(const address_list *list, const char *ifname, in_addr *address)
{
    for (const ifreq *entry = list->entries, *const end = entry + list->number; entry != end; entry++) {
        if (entry->ifr_name[0] == ifname[0] && strcmp(entry->ifr_name, ifname) == 0) {
            *address = address_in(entry);
            return true;
        }
    }
    return address_beyond_list(list, ifname, address);
}

bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask)
{
    const address_list *const list = current_addresses();
    if (list == nullptr || !find_address(list, ifname, address))
        return false;
    return netmask == nullptr || ask_about(ifname, SIOCGIFNETMASK, netmask);
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
