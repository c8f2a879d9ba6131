// Echo requests from an ICMP socket of their own, without a child process.
#include "platform/network.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/linux/deadline.h"
#include "platform/linux/ping.h"

constexpr int64_t REPLY_TIMEOUT_MS = 1000; // for each request

// ---- opening ----

static std::atomic<uint32_t> pingers_made; // so that no two of the process have the same token

static bool bind_to_interface(int socket, const char *ifname)
{
    if (ifname == nullptr)
        return true;
    const size_t length = strlen(ifname); // an empty name would unbind
    return length > 0 && length < IFNAMSIZ &&
           setsockopt(socket, SOL_SOCKET, SO_BINDTODEVICE, ifname, static_cast<socklen_t>(length + 1)) == 0;
}

static bool connect_to(int socket, const char *address)
{
    sockaddr_in target = {};
    target.sin_family = AF_INET;
    if (inet_pton(AF_INET, address, &target.sin_addr) != 1 || target.sin_addr.s_addr == INADDR_ANY)
        return false;
    const sockaddr *const generic = reinterpret_cast<sockaddr *>(&target); // NOLINT(*-reinterpret-cast)
    return connect(socket, generic, sizeof target) == 0; // the kernel then passes on what comes from there alone
}

void make_echo_request(echo_packet *request)
{
    const uint32_t call = pingers_made++;
    const auto process = static_cast<uint32_t>(getpid());
    *request = {};
    request->header.type = ICMP_ECHO;
    request->header.un.echo.id = htons(static_cast<uint16_t>(process + call));
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    request->token[0] = static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
    request->token[1] = (static_cast<uint64_t>(process) << 32U) | call;
}

// False: there is no way to send; the socket is closed again.
static bool open_pinger(pinger *pinger, const char *address, const char *ifname)
{
    constexpr int KIND_FLAGS = SOCK_CLOEXEC | SOCK_NONBLOCK;
    pinger->is_raw = true;
    pinger->socket = socket(AF_INET, SOCK_RAW | KIND_FLAGS, IPPROTO_ICMP);
    if (pinger->socket < 0) { // not root; a router may allow the unprivileged kind
        pinger->is_raw = false;
        pinger->socket = socket(AF_INET, SOCK_DGRAM | KIND_FLAGS, IPPROTO_ICMP);
    }
    if (pinger->socket < 0)
        return false;
    if (!bind_to_interface(pinger->socket, ifname) || !connect_to(pinger->socket, address)) {
        close(pinger->socket);
        return false;
    }
    make_echo_request(&pinger->request);
    return true;
}

// ---- one request ----

static uint16_t internet_checksum(const void *data, size_t size)
{
    uint32_t sum = 0;
    for (size_t i = 0; i < size; i += sizeof(uint16_t)) {
        uint16_t word = 0;
        memcpy(&word, static_cast<const char *>(data) + i, sizeof word);
        sum += word;
    }
    sum = (sum & 0xffffU) + (sum >> 16U);
    sum += sum >> 16U;
    return static_cast<uint16_t>(~sum);
}

static bool send_request(pinger *pinger, int sequence)
{
    icmphdr *const header = &pinger->request.header;
    header->un.echo.sequence = htons(static_cast<uint16_t>(sequence));
    header->checksum = 0;
    header->checksum = internet_checksum(&pinger->request, sizeof pinger->request);
    return send(pinger->socket, &pinger->request, sizeof pinger->request, MSG_NOSIGNAL) ==
           static_cast<ssize_t>(sizeof pinger->request);
}

bool is_our_reply(const pinger *pinger, const char *packet, size_t length, int sequence)
{
    if (pinger->is_raw) {
        const size_t ip_header = length == 0 ? 0 : (static_cast<unsigned char>(packet[0]) & 0xfU) * 4U;
        if (length < ip_header)
            return false;
        packet += ip_header;
        length -= ip_header;
    }
    echo_packet reply;
    if (length != sizeof reply)
        return false;
    memcpy(&reply, packet, sizeof reply);
    const bool same_id = !pinger->is_raw || reply.header.un.echo.id == pinger->request.header.un.echo.id;
    return reply.header.type == ICMP_ECHOREPLY && reply.header.code == 0 && same_id &&
           ntohs(reply.header.un.echo.sequence) <= sequence &&
           memcmp(reply.token, pinger->request.token, sizeof reply.token) == 0;
}

static bool reply_waits(const pinger *pinger, int sequence)
{
    char packet[128];
    ssize_t length = 0;
    do {
        length = recv(pinger->socket, packet, sizeof packet, 0);
        if (length > 0 && is_our_reply(pinger, packet, static_cast<size_t>(length), sequence))
            return true;
    } while (length >= 0);
    return false;
}

static bool wait_for_reply(const pinger *pinger, int sequence)
{
    const int64_t deadline = monotonic_ms() + REPLY_TIMEOUT_MS;
    for (int64_t left_ms = REPLY_TIMEOUT_MS; left_ms > 0; left_ms = deadline - monotonic_ms()) {
        const timespec timeout = timespec_of_ms(left_ms);
        pollfd readable = {.fd = pinger->socket, .events = POLLIN, .revents = 0};
        if (ppoll(&readable, 1, &timeout, nullptr) == 0)
            return false;
        if (reply_waits(pinger, sequence))
            return true;
    }
    return reply_waits(pinger, sequence); // came in time, while the thread had to wait for the processor
}

// ---- the calls ----

int ping_by_interface(const char *address, int count, const char *ifname)
{
    pinger pinger;
    if (address == nullptr || !open_pinger(&pinger, address, ifname))
        return -1;
    // Until it was connected, the socket took every answer of the machine; a thread that had to wait for the processor
    // meanwhile finds the queue full, and an answer to us would be dropped.
    reply_waits(&pinger, 0);
    bool answered = false;
    for (int sequence = 1; sequence <= count && !answered; sequence++)
        answered = send_request(&pinger, sequence) && wait_for_reply(&pinger, sequence);
    close(pinger.socket);
    return answered ? 0 : -1;
}

int simple_ping(const char *address)
{
    return ping_by_interface(address, 1, nullptr);
}
