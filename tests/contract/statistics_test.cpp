// Bytes forwarded for each LAN host, with real traffic through real interfaces.
#include "platform/statistics.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

#include "tests/contract/memory_store.h"
#include "tests/contract/network_support.h"

users_info *ip_info;

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

TEST_F(Statistics, WithoutNftItFailsWithOneLine)
{
    in_own_process([] {
        const std::string path = getenv("PATH");
        setenv("PATH", "/there/is/no/such/folder", 1);
        uint64_t first = 1;
        uint64_t second = 2;
        int count = 3;
        const std::string lines = error_lines_of([&] {
            for (int i = 0; i < 3; i++)
                EXPECT_NE(get_statistic_info(&first, &second, &count), 0);
        });
        setenv("PATH", path.c_str(), 1);
        EXPECT_EQ(first, 1U);
        EXPECT_EQ(second, 2U);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(ip_info, nullptr);
        const std::string expected = "statistics: the netfilter table time_check_acct cannot be made or read: ";
        EXPECT_NE(lines.find(expected), std::string::npos) << lines;
        EXPECT_EQ(lines.find(expected), lines.rfind(expected)) << lines;
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
