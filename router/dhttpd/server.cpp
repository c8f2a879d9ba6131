#include "router/dhttpd/server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <microhttpd.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "router/dhttpd/crowd.h"

namespace dhttpd
{

// ---- listening ----

namespace
{

bool is_any(const sockaddr *address)
{
    if (address->sa_family == AF_INET)
        return reinterpret_cast<const sockaddr_in *>(address)->sin_addr.s_addr == htonl(INADDR_ANY);
    return IN6_IS_ADDR_UNSPECIFIED(&reinterpret_cast<const sockaddr_in6 *>(address)->sin6_addr);
}

// Without brackets, which an address of six has in a link.
std::string bare(const std::string &host)
{
    return host.size() > 2 && host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

bool bind_to(int fd, const addrinfo &found, const std::string &interface)
{
    constexpr int WAITING = 128;
    const int on = 1;
    return setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
           (found.ai_family != AF_INET6 || setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) == 0) &&
           (interface.empty() || setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
                                            static_cast<socklen_t>(interface.size() + 1)) == 0) &&
           bind(fd, found.ai_addr, found.ai_addrlen) == 0 && listen(fd, WAITING) == 0;
}

} // namespace

int listen_at(const place &place, const std::string &interface, std::string *why)
{
    addrinfo hints = {};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int error = getaddrinfo(bare(place.host).c_str(), place.port.c_str(), &hints, &found);
    if (error != 0) {
        *why = place.host + ':' + place.port + ": " + gai_strerror(error);
        return -1;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    if (interface.empty() && is_any(found->ai_addr)) {
        *why = place.host + ": that is every address; the LAN's is wanted, or an interface";
        return -1;
    }
    const int fd = socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0 && bind_to(fd, *found, interface))
        return fd;
    *why = "cannot listen at " + place.host + ':' + place.port + (interface.empty() ? "" : " of " + interface) + ": " +
           strerror(errno);
    if (fd >= 0)
        close(fd);
    return -1;
}

// ---- requests ----

namespace
{

constexpr unsigned CONNECTIONS = 232;       // at once; of these the crowd leaves some to who is coming
constexpr unsigned SILENT_SECONDS = 10;     // after which a connection is ended
constexpr size_t BYTES_OF_A_REQUEST = 7168; // with what the library needs to read it

struct server {
    const site &is;
    crowd visitors{limits{}};
};

int64_t now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * int64_t{1000} + now.tv_nsec / 1000000;
}

std::string header_of(MHD_Connection *connection, const char *name)
{
    const char *const value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? "" : value;
}

MHD_Response *response_of(answer &made)
{
    MHD_Response *const response =
        made.file >= 0 ? MHD_create_response_from_fd(made.file_size, made.file)
                       : MHD_create_response_from_buffer(made.body.size(), made.body.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr && made.file >= 0)
        close(made.file);
    for (const auto &[name, value] : made.headers)
        if (response != nullptr)
            MHD_add_response_header(response, name, value.c_str());
    return response;
}

// Where the request has come in: which of the router's addresses the client, or who leads it here, has asked.
void note_own(MHD_Connection *connection, request *asked)
{
    const MHD_ConnectionInfo *const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    sockaddr_storage own = {};
    socklen_t size = sizeof own;
    if (info == nullptr || getsockname(info->connect_fd, reinterpret_cast<sockaddr *>(&own), &size) != 0)
        return;
    char text[INET6_ADDRSTRLEN] = "";
    in_port_t port = 0;
    if (own.ss_family == AF_INET6) {
        const auto *const address = reinterpret_cast<const sockaddr_in6 *>(&own);
        asked->own_host = std::string("[") + inet_ntop(AF_INET6, &address->sin6_addr, text, sizeof text) + ']';
        port = address->sin6_port;
    } else {
        const auto *const address = reinterpret_cast<const sockaddr_in *>(&own);
        asked->own_host = inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
        port = address->sin_port;
    }
    asked->own_port = std::to_string(ntohs(port));
}

// Keeps a request's first line as it came: the library takes the query away.
void *note_uri(void * /*server*/, const char *uri, MHD_Connection * /*connection*/)
{
    return new std::string(uri);
}

void forget_uri(void * /*server*/, MHD_Connection * /*connection*/, void **uri, MHD_RequestTerminationCode /*how*/)
{
    delete static_cast<std::string *>(*uri);
    *uri = nullptr;
}

MHD_Result take_request(void *of, MHD_Connection *connection, const char * /*path*/, const char *method,
                        const char * /*version*/, const char * /*upload*/, size_t * /*upload_size*/, void **uri)
{
    // At the first call, with the head alone: whatever body follows is not read.
    const server *const self = static_cast<server *>(of);
    request asked = {.method = method,
                     .uri = *uri == nullptr ? "" : *static_cast<std::string *>(*uri),
                     .host = header_of(connection, MHD_HTTP_HEADER_HOST),
                     .accepted = header_of(connection, MHD_HTTP_HEADER_ACCEPT_LANGUAGE),
                     .own_host = "",
                     .own_port = ""};
    note_own(connection, &asked);
    answer made = answer_to(asked, self->is);
    MHD_Response *const response = response_of(made);
    if (response == nullptr)
        return MHD_NO;
    const MHD_Result is_queued = MHD_queue_response(connection, made.status, response);
    MHD_destroy_response(response);
    return is_queued;
}

// ---- who is connected ----

address address_of(const sockaddr *from)
{
    address bytes = {};
    if (from != nullptr && from->sa_family == AF_INET)
        memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in *>(from)->sin_addr, sizeof(in_addr));
    else if (from != nullptr && from->sa_family == AF_INET6)
        memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in6 *>(from)->sin6_addr, sizeof(in6_addr));
    return bytes;
}

// The library notices it as it would the client's own going.
void send_away(int fd)
{
    if (fd >= 0)
        shutdown(fd, SHUT_RDWR);
}

void note_visitor(void *of, MHD_Connection *connection, void ** /*own*/, MHD_ConnectionNotificationCode what)
{
    server *const self = static_cast<server *>(of);
    const MHD_ConnectionInfo *const socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    const MHD_ConnectionInfo *const from = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    if (socket == nullptr || from == nullptr)
        return;
    if (what == MHD_CONNECTION_NOTIFY_STARTED)
        send_away(self->visitors.comes(socket->connect_fd, address_of(from->client_addr), now_ms()));
    else
        self->visitors.leaves(socket->connect_fd);
}

MHD_Daemon *start(server *self, int listening)
{
    return MHD_start_daemon(MHD_USE_EPOLL, 0, nullptr, nullptr, take_request, self, MHD_OPTION_LISTEN_SOCKET, listening,
                            MHD_OPTION_CONNECTION_LIMIT, CONNECTIONS, MHD_OPTION_CONNECTION_TIMEOUT, SILENT_SECONDS,
                            MHD_OPTION_CONNECTION_MEMORY_LIMIT, BYTES_OF_A_REQUEST, MHD_OPTION_STRICT_FOR_CLIENT, 1,
                            MHD_OPTION_URI_LOG_CALLBACK, note_uri, self, MHD_OPTION_NOTIFY_COMPLETED, forget_uri, self,
                            MHD_OPTION_NOTIFY_CONNECTION, note_visitor, self, MHD_OPTION_END);
}

int signals_of_the_end()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

int wait_of(MHD_Daemon *daemon)
{
    constexpr unsigned long long LONGEST = 1000; // to see whose time is up
    MHD_UNSIGNED_LONG_LONG wait = LONGEST;
    if (MHD_get_timeout(daemon, &wait) != MHD_YES)
        wait = LONGEST;
    return static_cast<int>(std::min(wait, LONGEST));
}

// One of the library's servers for each socket; what they share is the crowd.
struct running {
    std::vector<MHD_Daemon *> daemons = {};
    std::vector<pollfd> watched = {}; // theirs, and the one that tells of the end
};

bool start_all(server *self, const std::vector<int> &listening, running *all)
{
    for (const int fd : listening) {
        MHD_Daemon *const daemon = start(self, fd);
        if (daemon == nullptr)
            return false;
        all->daemons.push_back(daemon);
        all->watched.push_back(
            {.fd = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd, .events = POLLIN, .revents = 0});
    }
    all->watched.push_back({.fd = signals_of_the_end(), .events = POLLIN, .revents = 0});
    return all->watched.back().fd >= 0;
}

void run(server *self, running *all)
{
    for (;;) {
        int wait = INT_MAX;
        for (MHD_Daemon *const daemon : all->daemons)
            wait = std::min(wait, wait_of(daemon));
        poll(all->watched.data(), all->watched.size(), wait);
        if (all->watched.back().revents != 0)
            return;
        for (int fd = 0; (fd = self->visitors.overdue(now_ms())) >= 0;)
            send_away(fd);
        for (MHD_Daemon *const daemon : all->daemons)
            MHD_run(daemon);
    }
}

} // namespace

int serve(const site &site, const std::vector<int> &listening)
{
    server self{.is = site};
    running all;
    signal(SIGPIPE, SIG_IGN);
    if (!start_all(&self, listening, &all)) {
        fprintf(stderr, "dhttpd: cannot start: %s\n", strerror(errno));
        return 1;
    }
    run(&self, &all);
    for (MHD_Daemon *const daemon : all.daemons)
        MHD_stop_daemon(daemon);
    close(all.watched.back().fd);
    return 0;
}

} // namespace dhttpd
