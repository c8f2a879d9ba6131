#include "platform/linux/bus_copy.h"

#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/linux/run_directory.h"

// Nobody mostly holds the name: then the one look is all.
void bus_copy(const char *to, const char *text)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const int length =
        snprintf(address.sun_path, sizeof address.sun_path, "%s/bus.%s%s", run_directory(), to, BUS_RECORDER);
    if (length < 0 || static_cast<size_t>(length) >= sizeof address.sun_path || access(address.sun_path, F_OK) != 0)
        return;
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return;
    const sockaddr *const generic = reinterpret_cast<const sockaddr *>(&address); // NOLINT(*-reinterpret-cast)
    sendto(socket, text, strlen(text), MSG_NOSIGNAL, generic, sizeof address);
    close(socket);
}
