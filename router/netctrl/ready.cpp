#include "router/netctrl/ready.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

void tell_ready()
{
    const char *const path = getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path == nullptr || path[0] == '\0' || strlen(path) >= sizeof address.sun_path)
        return;
    memcpy(address.sun_path, path, strlen(path));
    if (address.sun_path[0] == '@') // an abstract name
        address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + strlen(path));
    const int manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (manager < 0)
        return;
    constexpr char READY[] = "READY=1";
    const auto *const generic = static_cast<const sockaddr *>(static_cast<const void *>(&address));
    sendto(manager, READY, sizeof READY - 1, MSG_NOSIGNAL, generic, length);
    close(manager);
}
