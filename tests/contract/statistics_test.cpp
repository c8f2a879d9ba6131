// Bytes forwarded for each LAN host, with real traffic through real interfaces.
#include "platform/statistics.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <linux/mroute.h>
#include <net/if.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tests/contract/memory_store.h"
#include "tests/contract/network_support.h"

users_info *ip_info;

// The ground's clocks, as far ahead as a test puts them.
static time_t clock_ahead_s;

extern "C" int __real_clock_gettime(clockid_t clock, timespec *now); // NOLINT(bugprone-reserved-identifier)
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec *now); // NOLINT(bugprone-reserved-identifier)
int __wrap_clock_gettime(clockid_t clock, timespec *now)             // NOLINT(bugprone-reserved-identifier)
{
    const int result = __real_clock_gettime(clock, now);
    now->tv_sec += clock_ahead_s;
    return result;
}

namespace
{

using host_bytes = std::pair<uint64_t, uint64_t>; // up, down

// All hosts' counters in ascending order.
std::vector<host_bytes> counted()
{
    uint64_t first = 0;
    uint64_t second = 0;
    int count = -1;
    EXPECT_EQ(get_statistic_info(&first, &second, &count), 0);
    std::vector<host_bytes> hosts;
    uint64_t up = 0;
    uint64_t down = 0;
    for (int i = 0; i < count; i++) {
        hosts.emplace_back(ip_info[i].up_bytes, ip_info[i].down_bytes);
        up += ip_info[i].up_bytes;
        down += ip_info[i].down_bytes;
    }
    EXPECT_EQ(first, up);
    EXPECT_EQ(second, down);
    free(ip_info);
    ip_info = nullptr;
    std::sort(hosts.begin(), hosts.end());
    return hosts;
}

class Statistics : public NetworkTest
{
protected:
    Statistics()
    {
        stored().clear();
        wire("lan0", lan);
        wire("wan1", internet);
        sh("ip link add br0 type bridge && ip link set lan0 master br0 && ip link set br0 up");
        sh("ip addr add 10.77.0.1/24 dev br0 && ip addr add 10.91.0.2/24 dev wan1");
        sh("echo 1 >/proc/sys/net/ipv4/ip_forward");
        lan.sh("ip addr add 10.77.0.10/24 dev eth0; ip route add default via 10.77.0.1");
        internet.sh("ip addr add 10.91.0.1/24 dev eth0; ip route add default via 10.91.0.2");
        // a unreachable port's answer would be counted too
        for (const OtherMachine *machine : {&lan, &internet})
            machine->sh("nft \"table ip quiet { chain c { type filter hook input priority 0; udp dport 9 drop; }; }\"");
        EXPECT_TRUE(comes_true([] { return text_of("/sys/class/net/br0/operstate") == "up\n"; }));
    }

    OtherMachine lan;
    OtherMachine internet;
};

TEST_F(Statistics, FreshRouterHasNoHosts)
{
    EXPECT_TRUE(counted().empty());
    EXPECT_EQ(ip_info, nullptr);
}

TEST_F(Statistics, BytesAreCountedForEachHostAndDirection)
{
    ASSERT_TRUE(counted().empty()); // makes the table
    lan.sh("ip addr add 10.77.0.11/24 dev eth0");
    lan.act([] { send_datagrams("10.77.0.10", "10.91.0.1", 3); });
    lan.act([] { send_datagrams("10.77.0.11", "10.91.0.1", 5); });
    internet.act([] { send_datagrams("10.91.0.1", "10.77.0.11", 7); });
    EXPECT_TRUE(comes_true([] { return counted() == std::vector<host_bytes>{{3 * 128, 0}, {5 * 128, 7 * 128}}; }));
    sh("nft list set inet time_check_acct up | tr -d '\\n' | grep -q 'packets 3 bytes 384.*packets 5 bytes 640'");
}

TEST_F(Statistics, CountersOnlyGrow)
{
    ASSERT_TRUE(counted().empty());
    lan.act([] { send_datagrams("10.77.0.10", "10.91.0.1", 3); });
    ASSERT_TRUE(comes_true([] { return counted() == std::vector<host_bytes>{{384, 0}}; }));
    lan.act([] { send_datagrams("10.77.0.10", "10.91.0.1", 1); });
    EXPECT_TRUE(comes_true([] { return counted() == std::vector<host_bytes>{{512, 0}}; }));
    in_own_process([] { // another run of the daemon
        EXPECT_EQ(counted(), (std::vector<host_bytes>{{512, 0}}));
    });
}

TEST_F(Statistics, FullHouseIsCountedExactly)
{
    ASSERT_TRUE(counted().empty());
    lan.sh("for i in $(seq 11 250); do echo address add 10.77.0.$i/24 dev eth0; done | ip -batch -");
    lan.act([] {
        for (int i = 11; i <= 250; i++)
            send_datagrams("10.77.0." + std::to_string(i), "10.91.0.1", 2);
    });
    internet.act([] {
        for (int i = 250; i >= 11; i--)
            send_datagrams("10.91.0.1", "10.77.0." + std::to_string(i), 1);
    });
    EXPECT_TRUE(comes_true([] { return counted() == std::vector<host_bytes>(240, {256, 128}); }));
}

TEST_F(Statistics, LookAfterLookOpensNothingMore)
{
    ASSERT_TRUE(counted().empty());
    const size_t descriptors = open_descriptors();
    for (int i = 0; i < 10; i++)
        counted();
    EXPECT_EQ(open_descriptors(), descriptors);
    sh("nft delete table inet time_check_acct");
    counted();
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(Statistics, Ipv6CountsAsOneHostOfTheBridge)
{
    sh("echo 1 >/proc/sys/net/ipv6/conf/all/forwarding");
    sh("ip addr add 2001:db8:77::1/64 dev br0 nodad && ip addr add 2001:db8:91::2/64 dev wan1 nodad");
    lan.sh("ip addr add 2001:db8:77::10/64 dev eth0 nodad; ip route add 2001:db8:91::/64 via 2001:db8:77::1");
    internet.sh("ip addr add 2001:db8:91::1/64 dev eth0 nodad; ip route add 2001:db8:77::/64 via 2001:db8:91::2");
    ASSERT_TRUE(counted().empty());
    EXPECT_TRUE(comes_true([this] {
        lan.act([] {
            const int socket = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sockaddr_in6 peer = {};
            peer.sin6_family = AF_INET6;
            peer.sin6_port = htons(9);
            inet_pton(AF_INET6, "2001:db8:91::1", &peer.sin6_addr);
            sendto(socket, "hello", 5, 0, reinterpret_cast<sockaddr *>(&peer), sizeof peer);
        });
        const std::vector<host_bytes> hosts = counted();
        return hosts.size() == 1 && hosts[0].first >= 53; // 40 + 8 + 5 bytes a datagram
    }));
}

// Television, say: into a bridge of any name it counts for its group's address.
TEST_F(Statistics, ForwardedMulticastCountsIntoAnyLan)
{
    stored()["lan.ifname"] = "br-lan";
    sh("ip link set br0 name br-lan");
    ASSERT_TRUE(counted().empty());
    const int router = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_IGMP);
    const int on = 1;
    ASSERT_EQ(setsockopt(router, IPPROTO_IP, MRT_INIT, &on, sizeof on), 0);
    vifi_t number = 0;
    for (const char *ifname : {"wan1", "br-lan"}) {
        vifctl interface = {};
        interface.vifc_vifi = number++;
        interface.vifc_flags = VIFF_USE_IFINDEX;
        interface.vifc_threshold = 1;
        interface.vifc_lcl_ifindex = static_cast<int>(if_nametoindex(ifname));
        ASSERT_EQ(setsockopt(router, IPPROTO_IP, MRT_ADD_VIF, &interface, sizeof interface), 0) << ifname;
    }
    mfcctl route = {};
    inet_pton(AF_INET, "10.91.0.1", &route.mfcc_origin);
    inet_pton(AF_INET, "239.1.2.3", &route.mfcc_mcastgrp);
    route.mfcc_parent = 0;
    route.mfcc_ttls[1] = 1;
    ASSERT_EQ(setsockopt(router, IPPROTO_IP, MRT_ADD_MFC, &route, sizeof route), 0);
    internet.sh("ip route add 239.0.0.0/8 dev eth0");
    internet.sh(
        "nft \"table ip far { chain c { type filter hook output priority 0; ip daddr 239.1.2.3 ip ttl set 8; }; }\"");
    internet.act([] { send_datagrams("10.91.0.1", "239.1.2.3", 3); });
    EXPECT_TRUE(comes_true([] { return counted() == std::vector<host_bytes>{{0, 3 * 128}}; }));
    close(router);
}

TEST_F(Statistics, TableThatSomebodyRemovedIsMadeAnew)
{
    ASSERT_TRUE(counted().empty());
    sh("nft delete table inet time_check_acct");
    EXPECT_TRUE(counted().empty());
    sh("nft list table inet time_check_acct >/dev/null");
}

TEST_F(Statistics, RulesOfOthersAreLeftAlone)
{
    sh("nft 'table inet theirs { chain c { type filter hook forward priority 0; counter; }; }'");
    ASSERT_TRUE(counted().empty());
    sh("nft list table inet theirs | grep -q counter");
}

size_t times_in(const std::string &text, const std::string &part)
{
    size_t times = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        times++;
    return times;
}

std::string path_of_commands()
{
    const char *const path = getenv("PATH");
    return path == nullptr ? "" : path;
}

constexpr char UNREADABLE[] = "statistics: the netfilter table time_check_acct cannot be made or read: ";

TEST_F(Statistics, WithoutNftItFailsAndSaysWhatThatMeansOnceANight)
{
    in_own_process([] {
        const std::string path = path_of_commands();
        setenv("PATH", "/there/is/no/such/folder", 1);
        uint64_t first = 1;
        uint64_t second = 2;
        int count = 3;
        const auto lines_of_looks = [&] {
            return error_lines_of([&] {
                for (int i = 0; i < 3; i++)
                    EXPECT_NE(get_statistic_info(&first, &second, &count), 0);
            });
        };
        constexpr time_t HOUR_S = 3600;
        const std::string lines = lines_of_looks();
        EXPECT_EQ(times_in(lines, UNREADABLE), 1U) << lines;
        EXPECT_EQ(times_in(lines, "a busy network looks quiet"), 1U) << lines;
        EXPECT_EQ(times_in(lines, "install nft"), 1U) << lines;
        clock_ahead_s += 11 * HOUR_S; // the longest night
        EXPECT_EQ(times_in(lines_of_looks(), UNREADABLE), 0U);
        clock_ahead_s += 2 * HOUR_S; // the next
        EXPECT_EQ(times_in(lines_of_looks(), UNREADABLE), 1U);
        setenv("PATH", path.c_str(), 1);
        EXPECT_EQ(first, 1U);
        EXPECT_EQ(second, 2U);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(ip_info, nullptr);
    });
}

TEST_F(Statistics, OddInterfaceNamesMakeNoTable)
{
    in_own_process([] {
        stored()["lan.ifname"] = "br*";
        uint64_t first = 0;
        uint64_t second = 0;
        int count = 0;
        error_lines_of([&] { EXPECT_NE(get_statistic_info(&first, &second, &count), 0); });
        EXPECT_NE(system("nft list table inet time_check_acct >/dev/null 2>&1"), 0); // NOLINT
    });
}

} // namespace
