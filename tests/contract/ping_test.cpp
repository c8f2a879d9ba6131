// Echo requests to machines of the test's own.
#include "platform/network.h"

#include <arpa/inet.h>
#include <atomic>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tests/contract/network_support.h"

using namespace std::chrono_literals;

static std::function<void()> before_next_connect;

// In libc's place: what else the machine does between the opening of a socket and its connecting, in which a thread may
// have to wait for the processor.
extern "C" int connect(int socket, const sockaddr *address, socklen_t size)
{
    if (before_next_connect)
        std::exchange(before_next_connect, nullptr)();
    return static_cast<int>(syscall(SYS_connect, socket, address, size));
}

// And between the look that finds no answer and what follows it: told once, of which socket it was.
static std::function<void(int socket)> after_second_look;
static int looks_in_vain;

extern "C" ssize_t recv(int socket, void *buffer, size_t size, int flags)
{
    const ssize_t got = syscall(SYS_recvfrom, socket, buffer, size, flags, nullptr, nullptr);
    if (got < 0 && after_second_look && ++looks_in_vain == 2)
        std::exchange(after_second_look, nullptr)(socket);
    return got;
}

// How often somebody waited for an answer.
static std::atomic<int> waits;

extern "C" int ppoll(pollfd *descriptors, nfds_t number, const timespec *timeout, const sigset_t *signals)
{
    waits++;
    timespec left = *timeout; // the kernel writes there
    constexpr size_t SIGNALS_SIZE = 8;
    return static_cast<int>(syscall(SYS_ppoll, descriptors, number, &left, signals, SIGNALS_SIZE));
}

namespace
{

// Two providers: 10.91.0.1 behind wan1 and 10.92.0.1 behind wan2, and 198.51.100.1 behind both, routed by wan1.
class Ping : public NetworkTest
{
protected:
    Ping()
    {
        connect_wan("wan1", "10.91.0", first);
        connect_wan("wan2", "10.92.0", second);
        sh("ip route add 198.51.100.0/24 via 10.91.0.1 && ip route add 198.51.100.0/24 via 10.92.0.1 metric 9");
    }

    static void connect_wan(const std::string &name, const std::string &network, const OtherMachine &provider)
    {
        wire(name, provider);
        sh("ip addr add " + network + ".2/24 dev " + name);
        provider.sh("ip addr add " + network + ".1/24 dev eth0; ip addr add 198.51.100.1/32 dev lo");
    }

    OtherMachine first;
    OtherMachine second;
};

TEST_F(Ping, MachineThatAnswersIsReached)
{
    EXPECT_EQ(simple_ping("127.0.0.1"), 0);
    EXPECT_EQ(simple_ping("10.91.0.1"), 0);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 2, nullptr), 0);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 2, "wan1"), 0);
}

TEST_F(Ping, SilentMachineIsNotReachedAndTheTimeIsBounded)
{
    first.sh("echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all");
    const auto one = time_taken([] { EXPECT_EQ(simple_ping("10.91.0.1"), -1); });
    EXPECT_GE(one, 990ms);
    EXPECT_LT(one, 5s);
    const auto two = time_taken([] { EXPECT_EQ(ping_by_interface("10.91.0.1", 2, "wan1"), -1); });
    EXPECT_GE(two, 1980ms);
    EXPECT_LT(two, 10s);
}

TEST_F(Ping, RequestsLeaveByTheInterfaceGiven)
{
    EXPECT_EQ(ping_by_interface("198.51.100.1", 1, "wan1"), 0);
    EXPECT_EQ(ping_by_interface("198.51.100.1", 1, "wan2"), 0);
    first.sh("echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all");
    EXPECT_EQ(ping_by_interface("198.51.100.1", 1, "wan1"), -1);
    EXPECT_EQ(ping_by_interface("198.51.100.1", 1, "wan2"), 0);
    EXPECT_EQ(ping_by_interface("198.51.100.1", 1, nullptr), -1) << "the routing table says wan1";
}

TEST_F(Ping, UnknownInterfaceFailsRatherThanGoingOutAnywhere)
{
    EXPECT_EQ(ping_by_interface("10.91.0.1", 1, "wan9"), -1);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 1, ""), -1);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 1, "a_name_that_is_too_long"), -1);
}

TEST_F(Ping, WhatIsNoAddressFailsAtOnce)
{
    waits = 0;
    for (const char *address : {"", "0.0.0.0", "10.91.0", "10.91.0.1 ", "name.example", "::1", "256.1.1.1"})
        EXPECT_EQ(simple_ping(address), -1) << address;
    EXPECT_EQ(simple_ping(nullptr), -1);
    EXPECT_EQ(ping_by_interface("10.91.0.1", 0, nullptr), -1);
    EXPECT_EQ(waits, 0);
}

TEST_F(Ping, RequestThatCannotBeSentFailsAtOnce)
{
    waits = 0;
    EXPECT_EQ(simple_ping("203.0.113.1"), -1) << "no route";
    sh("nft 'table ip wall { chain c { type filter hook output priority 0; ip daddr 10.91.0.1 drop; }; }'");
    EXPECT_EQ(simple_ping("10.91.0.1"), -1) << "forbidden";
    EXPECT_EQ(waits, 0);
}

// A machine whose answers carry another number, then another content, and then are right. Writes a byte when it
// listens.
void answer_wrongly_twice(int listening)
{
    const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    const timeval patience = {.tv_sec = 20, .tv_usec = 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (write(listening, "", 1) != 1)
        _exit(1);
    constexpr size_t IP_HEADER = 20;
    constexpr size_t CHANGED[] = {IP_HEADER + 4, IP_HEADER + 12}; // in the identifier, in the content
    for (int answered = 0; answered < 3; answered++) {
        char packet[256];
        sockaddr_in from = {};
        socklen_t from_size = sizeof from;
        const ssize_t got = recvfrom(socket, packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&from), &from_size);
        if (got < 36)
            _exit(2);
        packet[IP_HEADER] = ICMP_ECHOREPLY;
        if (answered < 2)
            packet[CHANGED[answered]] = static_cast<char>(packet[CHANGED[answered]] ^ 1);
        sendto(socket, packet + IP_HEADER, static_cast<size_t>(got) - IP_HEADER, 0, reinterpret_cast<sockaddr *>(&from),
               from_size);
    }
}

TEST_F(Ping, AnswersToOthersDoNotCount)
{
    first.sh("echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all");
    int listening[2];
    ASSERT_EQ(pipe(listening), 0);
    std::thread stranger([&] { first.act([&] { answer_wrongly_twice(listening[1]); }); });
    char byte = 0;
    EXPECT_EQ(read(listening[0], &byte, 1), 1);
    EXPECT_EQ(simple_ping("10.91.0.1"), -1) << "another number";
    EXPECT_EQ(simple_ping("10.91.0.1"), -1) << "another content";
    EXPECT_EQ(simple_ping("10.91.0.1"), 0);
    stranger.join();
    close(listening[0]);
    close(listening[1]);
}

// A machine that answers one request, with another number at first, and rightly when a byte says so. Writes a byte when
// it listens.
void answer_when_told(int listening, int told)
{
    const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    char packet[256];
    sockaddr_in from = {};
    socklen_t from_size = sizeof from;
    if (write(listening, "", 1) != 1)
        _exit(1);
    const ssize_t got = recvfrom(socket, packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&from), &from_size);
    constexpr size_t IP_HEADER = 20;
    constexpr size_t IDENTIFIER = IP_HEADER + 4;
    packet[IP_HEADER] = ICMP_ECHOREPLY;
    for (const int change : {1, 1}) { // there and back
        packet[IDENTIFIER] = static_cast<char>(packet[IDENTIFIER] ^ change);
        sendto(socket, packet + IP_HEADER, static_cast<size_t>(got) - IP_HEADER, 0, reinterpret_cast<sockaddr *>(&from),
               from_size);
        char byte = 0;
        if (read(told, &byte, 1) != 1)
            _exit(2);
    }
}

// An answer comes while the thread has to wait for the processor, until the second in which it may come is over.
TEST_F(Ping, AnswerThatCameInTimeCountsHoweverLateItIsSeen)
{
    first.sh("echo 1 >/proc/sys/net/ipv4/icmp_echo_ignore_all");
    int listening[2];
    int told[2];
    ASSERT_EQ(pipe(listening), 0);
    ASSERT_EQ(pipe(told), 0);
    std::thread stranger([&] { first.act([&] { answer_when_told(listening[1], told[0]); }); });
    char byte = 0;
    EXPECT_EQ(read(listening[0], &byte, 1), 1);
    after_second_look = [&](int socket) {
        EXPECT_EQ(write(told[1], "12", 2), 2);
        pollfd readable = {.fd = socket, .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&readable, 1, 20000), 1) << "the right answer";
        std::this_thread::sleep_for(1100ms);
    };
    EXPECT_EQ(simple_ping("10.91.0.1"), 0);
    EXPECT_FALSE(after_second_look) << "nobody looked in vain";
    stranger.join();
    for (const int end : {listening[0], listening[1], told[0], told[1]})
        close(end);
}

// More echo requests, each answered, than a socket's queue has room for.
void ping_a_lot(const char *address)
{
    const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    sockaddr_in target = {};
    target.sin_family = AF_INET;
    inet_pton(AF_INET, address, &target.sin_addr);
    ASSERT_EQ(connect(socket, reinterpret_cast<sockaddr *>(&target), sizeof target), 0);
    const timeval patience = {.tv_sec = 20, .tv_usec = 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    int room = 0;
    socklen_t room_size = sizeof room;
    ASSERT_EQ(getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &room, &room_size), 0);

    char request[1024] = {ICMP_ECHO};
    constexpr auto checksum = static_cast<uint16_t>(~ICMP_ECHO); // the first byte is all that is not 0
    memcpy(request + 2, &checksum, sizeof checksum);
    for (int sent = 0; sent < 2 * room; sent += static_cast<int>(sizeof request)) {
        ASSERT_EQ(send(socket, request, sizeof request, 0), static_cast<ssize_t>(sizeof request));
        char reply[2048];
        ASSERT_GT(recv(socket, reply, sizeof reply, 0), 0);
    }
    close(socket);
}

TEST_F(Ping, OthersAnswersLeaveRoomForOurs)
{
    before_next_connect = [] { ping_a_lot("10.91.0.1"); };
    EXPECT_EQ(simple_ping("10.92.0.1"), 0);
    before_next_connect = [] { ping_a_lot("10.92.0.1"); };
    EXPECT_EQ(simple_ping("10.92.0.1"), 0);
}

// On a busy machine this is where an answer was lost: in the queue of a socket that was not yet connected.
TEST_F(Ping, ThreadsMayPingAtTheSameTime)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++)
        threads.emplace_back([i] {
            for (int turn = 0; turn < 50; turn++) {
                EXPECT_EQ(ping_by_interface("198.51.100.1", 2, i % 2 == 0 ? "wan1" : "wan2"), 0);
                EXPECT_EQ(simple_ping("10.92.0.1"), 0);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(Ping, NothingIsLeftOpen)
{
    const size_t descriptors = open_descriptors();
    simple_ping("10.91.0.1");
    simple_ping("203.0.113.1");
    ping_by_interface("10.91.0.1", 1, "wan9");
    EXPECT_EQ(open_descriptors(), descriptors);
}

} // namespace
