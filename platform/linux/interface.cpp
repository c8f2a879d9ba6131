#include "platform/linux/interface.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/small_file.h"

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

static bool query(const char *ifname, unsigned long request, in_addr *address)
{
    ifreq question = {};
    const size_t length = strlen(ifname);
    if (length == 0 || length >= sizeof question.ifr_name)
        return false;
    memcpy(question.ifr_name, ifname, length);
    question.ifr_addr.sa_family = AF_INET;
    if (ioctl(query_socket(), request, &question) != 0)
        return false;
    sockaddr_in answer = {};
    memcpy(&answer, &question.ifr_addr, sizeof answer);
    *address = answer.sin_addr;
    return true;
}

bool address_of_interface(const char *ifname, in_addr *address, in_addr *netmask)
{
    return (address == nullptr || query(ifname, SIOCGIFADDR, address)) &&
           (netmask == nullptr || query(ifname, SIOCGIFNETMASK, netmask));
}

// Carrier and not operstate tells the link, since the latter may lag by a second. Only operstate tells that a radio has
// carrier but is not let in yet.
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
