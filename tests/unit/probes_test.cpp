// Clients in the neighbour table, byte counters, and the quiet-network count.
#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/statistics.h"
#include "tests/support/router_test.h"
#include "time_check/time_check_quiet.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr char ARP[] = "/proc/net/arp";
constexpr char ARP_HEADER[] = "IP address       HW type     Flags       HW address            Mask     Device\n";
constexpr char MULTICAST[] = "/proc/net/ip_mr_vif";
constexpr char MULTICAST_HEADER[] = "Interface      BytesIn  PktsIn  BytesOut PktsOut Flags Local    Remote\n";

// ---- clients ----

class Clients : public RouterTest
{
protected:
    int32_t on(const char *ifname, const std::string &lines)
    {
        box.log.clear();
        box.files.set(ARP, ARP_HEADER + lines);
        return time_check_get_client(ifname);
    }
};

TEST_F(Clients, ALiveEntryOnTheInterfaceIsAClient)
{
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    EXPECT_EQ(time_check_get_client("br0"), 1);
    EXPECT_EQ(time_check_get_client("br1"), 0);
}

TEST_F(Clients, NoEntriesNoClient)
{
    EXPECT_EQ(on("br0", ""), 0);
    box.files.set(ARP, "");
    EXPECT_EQ(time_check_get_client("br0"), 0);
}

TEST_F(Clients, WithoutANameThereIsNoneAndNothingIsOpened)
{
    box.files.set_missing(ARP);
    box.files.remove(ARP);
    EXPECT_EQ(time_check_get_client(nullptr), 0);
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(Clients, WithoutATableThereIsNoneAndALineSaysSo)
{
    box.files.remove(ARP);
    box.files.set_missing(ARP);
    EXPECT_EQ(time_check_get_client("br0"), 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre("open /proc/net/arp fail!"));
    EXPECT_THAT(box.log.lines().front(), testing::HasSubstr(">>time_check_get_client("));
}

TEST_F(Clients, AnEntryWithoutAddressIsNone)
{
    EXPECT_EQ(on("br0", "192.168.0.7      0x1         0x2         00:00:00:00:00:00     *        br0\n"), 0);
}

TEST_F(Clients, AnIncompleteEntryIsNone)
{
    EXPECT_EQ(on("br0", "192.168.0.7      0x1         0x0         52:54:00:12:34:56     *        br0\n"), 0);
}

TEST_F(Clients, AnyOtherFlagsAreAClient)
{
    for (const std::string flags : {"0x1", "0x2", "0x4", "0x6", "0x00", "0x", "0"})
        EXPECT_EQ(on("br0", "192.168.0.7 0x1 " + flags + " 52:54:00:12:34:56 * br0\n"), 1) << flags;
}

TEST_F(Clients, ALaterLineCountsToo)
{
    EXPECT_EQ(on("br0", "192.168.0.6 0x1 0x0 52:54:00:12:34:55 * br0\n"
                        "10.0.0.1    0x1 0x2 52:54:00:12:34:57 * eth1\n"
                        "192.168.0.7 0x1 0x2 52:54:00:12:34:56 * br0\n"),
              1);
}

TEST_F(Clients, TheHeaderIsNoEntry)
{
    box.files.set(ARP, "br0 br0 br0 br0\n");
    EXPECT_EQ(time_check_get_client("br0"), 0);
}

TEST_F(Clients, ANameThatMerelyBeginsWithTheInterfacesMatches)
{
    EXPECT_EQ(on("br1", "192.168.0.7 0x1 0x2 52:54:00:12:34:56 * br10\n"), 1);
    EXPECT_EQ(on("br0", "192.168.0.7 0x1 0x2 52:54:00:12:34:56 * br\n"), 0);
}

TEST_F(Clients, ALineWithFewerThanThreeColumnsHasNoFlagsAndCounts)
{
    EXPECT_EQ(on("br0", "192.168.0.7 br0\n"), 1);
}

TEST_F(Clients, ALongLineIsReadInPiecesOf128Characters)
{
    // The name stands in the second piece, which has no flags; the first piece has no name.
    const std::string first = "192.168.0.7 0x1 0x0 52:54:00:12:34:56 *";
    EXPECT_EQ(on("br0", first + std::string(128 - first.size(), ' ') + "br0\n"), 1);
    // In one piece with its flags.
    EXPECT_EQ(on("br0", first + std::string(128 - first.size() - 3, ' ') + "br0\n"), 0);
}

TEST_F(Clients, ALastLineWithoutEndCounts)
{
    EXPECT_EQ(on("br0", "192.168.0.7 0x1 0x2 52:54:00:12:34:56 * br0"), 1);
}

TEST_F(Clients, TheTableIsClosedAgain)
{
    on("br0", "192.168.0.7 0x1 0x2 52:54:00:12:34:56 * br0\n");
    on("br0", "");
    EXPECT_THAT(box.open_descriptors(), IsEmpty());
}

TEST_F(Clients, EachBridgeWithAClientCountsOne)
{
    EXPECT_EQ(time_check_get_bridge_clients(), 0);
    box.network.set_neighbour("192.168.1.7", "0x2", "52:54:00:12:34:57", "br1");
    EXPECT_EQ(time_check_get_bridge_clients(), 1);
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.network.set_neighbour("192.168.0.8", "0x2", "52:54:00:12:34:58", "br0");
    EXPECT_EQ(time_check_get_bridge_clients(), 2);
}

TEST_F(Clients, BridgesOfOtherNamesCountWhenTheUsualOnesAreEmpty)
{
    box.network.set_lan("br-lan");
    EXPECT_EQ(time_check_get_bridge_clients(), 0);
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br-lan");
    EXPECT_EQ(time_check_get_bridge_clients(), 1);
    box.network.clear_neighbours();
    box.network.set_neighbour("192.168.2.7", "0x2", "52:54:00:12:34:57", "guests");
    EXPECT_EQ(time_check_get_bridge_clients(), 0);
    box.store.set("lan2.ifname", "guests");
    EXPECT_EQ(time_check_get_bridge_clients(), 1);
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br-lan");
    EXPECT_EQ(time_check_get_bridge_clients(), 2);
    box.network.set_neighbour("192.168.1.7", "0x2", "52:54:00:12:34:58", "br0");
    EXPECT_EQ(time_check_get_bridge_clients(), 1);
}

// An empty name would be found in every line, the provider's router's too.
TEST_F(Clients, WithoutABridgeOfAnotherNameNoOtherInterfaceCounts)
{
    box.network.set_neighbour("198.51.100.1", "0x2", "52:54:00:12:34:56", "eth1");
    for (const char *guests : {"", "br0", "br1"}) {
        box.store.set("lan2.ifname", guests);
        const uint64_t opened = box.faults.made("open");
        EXPECT_EQ(time_check_get_bridge_clients(), 0) << guests;
        EXPECT_EQ(box.faults.made("open") - opened, 2U) << guests;
    }
}

// ---- interface counters ----

class Counters : public RouterTest
{
protected:
    static constexpr char tx[] = "/sys/class/net/eth1/statistics/tx_bytes";
    static constexpr char rx[] = "/sys/class/net/eth1/statistics/rx_bytes";

    uint64_t read_as(const std::string &text)
    {
        FLOW_SPEED flow = {7, 7};
        box.files.set(tx, text);
        box.files.set(rx, "0\n");
        EXPECT_EQ(time_check_get_RX_TX_pack("eth1", &flow), 1);
        return flow.tx_flow;
    }
};

TEST_F(Counters, ReplaceBothFields)
{
    FLOW_SPEED flow = {1000, 1000};
    box.network.set_counters("eth1", 123, 456);
    EXPECT_EQ(time_check_get_RX_TX_pack("eth1", &flow), 1);
    EXPECT_EQ(flow.rx_flow, 123U);
    EXPECT_EQ(flow.tx_flow, 456U);
}

TEST_F(Counters, OnlyTheLastEightDigitsCount)
{
    EXPECT_EQ(read_as("99999999\n"), 99999999U);
    EXPECT_EQ(read_as("123456789\n"), 23456789U);
    EXPECT_EQ(read_as("100000000\n"), 0U);
    EXPECT_EQ(read_as("123456789012\n"), 56789012U);
    EXPECT_EQ(read_as("18446744073709551615\n"), 9551615U);
}

TEST_F(Counters, TheFirstWordCounts)
{
    EXPECT_EQ(read_as("12 34\n"), 12U);
    EXPECT_EQ(read_as("  12\n"), 12U);
    EXPECT_EQ(read_as("12"), 12U);
}

TEST_F(Counters, AnEmptyOrStrangeFileIsZero)
{
    EXPECT_EQ(read_as(""), 0U);
    EXPECT_EQ(read_as("\n"), 0U);
    EXPECT_EQ(read_as("unknown\n"), 0U);
}

TEST_F(Counters, WithoutTheSentCounterNothingIsSet)
{
    FLOW_SPEED flow = {1, 2};
    box.network.set_counters("eth1", 123, 456);
    box.files.remove(tx);
    box.files.set_missing(tx);
    EXPECT_EQ(time_check_get_RX_TX_pack("eth1", &flow), 0);
    EXPECT_EQ(flow.rx_flow, 1U);
    EXPECT_EQ(flow.tx_flow, 2U);
    EXPECT_THAT(box.log.bodies(), ElementsAre("fopen (/sys/class/net/eth1/statistics/tx_bytes) error"));
    EXPECT_THAT(box.log.lines().front(), testing::HasSubstr(">>time_check_get_RX_TX_pack("));
}

TEST_F(Counters, WithoutTheReceivedCounterTheSentOneStaysSet)
{
    FLOW_SPEED flow = {1, 2};
    box.network.set_counters("eth1", 123, 456);
    box.files.set_unreadable(rx);
    EXPECT_EQ(time_check_get_RX_TX_pack("eth1", &flow), 0);
    EXPECT_EQ(flow.rx_flow, 1U);
    EXPECT_EQ(flow.tx_flow, 456U);
    EXPECT_THAT(box.log.bodies(), ElementsAre("fopen (/sys/class/net/eth1/statistics/rx_bytes) error"));
}

TEST_F(Counters, AreClosedAgain)
{
    read_as("12\n");
    EXPECT_THAT(box.open_descriptors(), IsEmpty());
}

// ---- forwarded traffic ----

using Forwarded = RouterTest;

TEST_F(Forwarded, SumsUpAllHosts)
{
    FLOW_SPEED flow = {};
    box.network.set_host("192.168.0.7", 10, 1000);
    box.network.set_host("192.168.0.8", 20, 2000);
    EXPECT_EQ(time_check_get_forword_RX_TX_pack(&flow), 1);
    EXPECT_EQ(flow.rx_flow, 3000U); // what the hosts received
    EXPECT_EQ(flow.tx_flow, 30U);
    EXPECT_EQ(ip_info, nullptr);
}

TEST_F(Forwarded, AddsToWhatIsThere)
{
    FLOW_SPEED flow = {1, 2};
    box.network.set_host("192.168.0.7", 10, 1000);
    time_check_get_forword_RX_TX_pack(&flow);
    EXPECT_EQ(flow.rx_flow, 1001U);
    EXPECT_EQ(flow.tx_flow, 12U);
}

TEST_F(Forwarded, SumsAre64BitsWide)
{
    FLOW_SPEED flow = {};
    box.network.set_host("192.168.0.7", 0xffffffff, 0x8000000000000000);
    box.network.set_host("192.168.0.8", 0xffffffff, 0x7fffffffffffffff);
    time_check_get_forword_RX_TX_pack(&flow);
    EXPECT_EQ(flow.tx_flow, 0x1fffffffeU);
    EXPECT_EQ(flow.rx_flow, 0xffffffffffffffffU);
}

TEST_F(Forwarded, WithoutHostsNothingIsAdded)
{
    FLOW_SPEED flow = {1, 2};
    EXPECT_EQ(time_check_get_forword_RX_TX_pack(&flow), 1);
    EXPECT_EQ(flow.rx_flow, 1U);
    EXPECT_EQ(flow.tx_flow, 2U);
    EXPECT_EQ(ip_info, nullptr);
}

TEST_F(Forwarded, AFailureLeavesTheRecordAsItIs)
{
    FLOW_SPEED flow = {1, 2};
    box.network.set_host("192.168.0.7", 10, 1000);
    box.faults.fail("get_statistic_info");
    EXPECT_EQ(time_check_get_forword_RX_TX_pack(&flow), 1);
    EXPECT_EQ(flow.rx_flow, 1U);
    EXPECT_EQ(flow.tx_flow, 2U);
}

// ---- multicast ----

class Multicast : public RouterTest
{
protected:
    uint64_t received_with(const std::string &lines)
    {
        FLOW_SPEED flow = {};
        box.files.set(MULTICAST, MULTICAST_HEADER + lines);
        EXPECT_EQ(time_check_get_multicast_forword_RX_TX_pack(&flow), 1);
        EXPECT_EQ(flow.tx_flow, 0U);
        return flow.rx_flow;
    }
};

TEST_F(Multicast, BytesSentIntoTheLanCountAsReceived)
{
    FLOW_SPEED flow = {100, 200};
    box.network.set_multicast("br0", 5);
    box.network.set_multicast("br1", 7);
    box.network.set_multicast("eth1", 1000);
    EXPECT_EQ(time_check_get_multicast_forword_RX_TX_pack(&flow), 1);
    EXPECT_EQ(flow.rx_flow, 112U);
    EXPECT_EQ(flow.tx_flow, 200U);
}

TEST_F(Multicast, OtherInterfacesAreIgnored)
{
    EXPECT_EQ(received_with(" 0 eth1 11 12 13 14 0\n 1 br2 11 12 13 14 0\n 2 br01 11 12 13 14 0\n 3 BR0 1 2 3\n"), 0U);
}

TEST_F(Multicast, TheFifthColumnIsTheBytesSent)
{
    EXPECT_EQ(received_with(" 0 br0        11      12  13     14 00000 C0A80001 00000000\n"), 13U);
}

TEST_F(Multicast, OnlyTheLastEightDigitsCount)
{
    EXPECT_EQ(received_with(" 0 br0 11 12 123456789012 14\n"), 56789012U);
    EXPECT_EQ(received_with(" 0 br0 11 12 12345678 14\n"), 12345678U);
}

TEST_F(Multicast, AShortLineAddsNothing)
{
    EXPECT_EQ(received_with(" 0 br0 11 12\n 1 br0\n 2\n\n 3 br1 11 12 5 14\n"), 5U);
}

TEST_F(Multicast, TheHeaderIsSkipped)
{
    FLOW_SPEED flow = {};
    box.files.set(MULTICAST, "0 br0 1 2 3 4\n");
    EXPECT_EQ(time_check_get_multicast_forword_RX_TX_pack(&flow), 1);
    EXPECT_EQ(flow.rx_flow, 0U);
    EXPECT_EQ(received_with(""), 0U);
}

TEST_F(Multicast, ALongLineIsReadInPiecesOf256Characters)
{
    const std::string line = " 0 br0 11 12 77";
    EXPECT_EQ(received_with(line + std::string(256 - line.size(), ' ') + "9 br1 11 12 5\n"), 82U);
}

TEST_F(Multicast, AWordLongerThanItsFieldIsCut)
{
    EXPECT_EQ(received_with(" 0 br0 11 12 " + std::string(63, '1') + "2222\n"), 11111111U);
    EXPECT_EQ(received_with(" 0 br0456789abcdefgh 11 12 5\n"), 0U);
}

TEST_F(Multicast, WithoutATableItIsAFailureWithALine)
{
    FLOW_SPEED flow = {1, 2};
    box.files.remove(MULTICAST);
    box.files.set_missing(MULTICAST);
    EXPECT_EQ(time_check_get_multicast_forword_RX_TX_pack(&flow), 0);
    EXPECT_EQ(flow.rx_flow, 1U);
    EXPECT_THAT(box.log.bodies(), ElementsAre("open /proc/net/ip_mr_vif fail!"));
    EXPECT_THAT(box.log.lines().front(), testing::HasSubstr(">>time_check_get_multicast_forword_RX_TX_pack("));
}

TEST_F(Multicast, TheTableIsClosedAgain)
{
    received_with(" 0 br0 11 12 13 14\n");
    EXPECT_THAT(box.open_descriptors(), IsEmpty());
}

TEST_F(Multicast, ForwardedFlowIsBothTogether)
{
    box.network.set_host("192.168.0.7", 10, 1000);
    box.network.set_multicast("br0", 5);
    const FLOW_SPEED flow = time_check_get_forwarded_flow();
    EXPECT_EQ(flow.rx_flow, 1005U);
    EXPECT_EQ(flow.tx_flow, 10U);
}

// ---- the quiet-network count ----

class QuietCount : public RouterTest
{
protected:
    QUIET_SAMPLE sample(uint64_t rx, uint64_t tx, uint32_t limit = 5000)
    {
        counters[0].now = rx;
        counters[1].now = tx;
        return time_check_quiet_sample(&count, counters, 2, limit);
    }

    uint32_t count = 0;
    flow_counter counters[2] = {}; // received, sent
};

TEST_F(QuietCount, TheFirstSampleIsTheBaseline)
{
    EXPECT_EQ(sample(1000000, 2000000), QUIET_BASELINE);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(counters[0].before, 1000000U);
    EXPECT_EQ(counters[1].before, 2000000U);
}

TEST_F(QuietCount, StrictlyBelowTheLimitIsLow)
{
    sample(0, 0);
    EXPECT_EQ(sample(4999, 4999), QUIET_LOW);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(sample(9999, 4999), QUIET_BUSY); // 5000 more
    EXPECT_EQ(count, 0U);
}

TEST_F(QuietCount, OneBusyCounterIsEnough)
{
    sample(0, 0);
    EXPECT_EQ(sample(0, 5000), QUIET_BUSY);
    sample(0, 0);
    EXPECT_EQ(sample(5000, 0), QUIET_BUSY);
}

TEST_F(QuietCount, AfterABusySampleTheNextIsABaseline)
{
    sample(0, 0);
    sample(5000, 0);
    EXPECT_EQ(sample(9000000, 0), QUIET_BASELINE);
    EXPECT_EQ(count, 1U);
}

TEST_F(QuietCount, ACounterThatWentBackDoesNotCountTheSample)
{
    sample(1000, 1000);
    sample(1000, 1000);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(sample(999, 9000000), QUIET_WENT_BACK); // though the other one is busy
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(counters[0].before, 999U);
    EXPECT_EQ(counters[1].before, 9000000U);
    EXPECT_EQ(sample(999, 9000000), QUIET_LOW);
}

TEST_F(QuietCount, IncreasesOf32BitsAndMoreAreNeverLow)
{
    sample(0, 0);
    EXPECT_EQ(sample(1ULL << 32, 0, 0xffffffff), QUIET_BUSY);
    sample(0, 0);
    EXPECT_EQ(sample(0xfffffffe, 0, 0xffffffff), QUIET_LOW);
}

TEST_F(QuietCount, ALimitOfZeroIsNeverLow)
{
    sample(0, 0);
    EXPECT_EQ(sample(0, 0, 0), QUIET_BUSY);
}

TEST_F(QuietCount, The1801stSampleEndsItWithoutComparing)
{
    EXPECT_EQ(sample(0, 0), QUIET_BASELINE);
    for (int i = 2; i <= 1800; i++)
        ASSERT_EQ(sample(0, 0), QUIET_LOW) << i;
    EXPECT_EQ(count, 1800U);
    EXPECT_EQ(sample(9000000, 9000000), QUIET_LONG_ENOUGH);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(counters[0].before, 0U); // not taken over
}

TEST(FlowRate, IsKilobytesASecondInSinglePrecision)
{
    EXPECT_FLOAT_EQ(time_check_flow_rate(5000, 0, 1), 5.0F);
    EXPECT_FLOAT_EQ(time_check_flow_rate(5000, 4000, 2), 0.5F);
    EXPECT_EQ(time_check_flow_rate(16777217, 0, 1), 16777216.0F / 1000.0F); // one more than a float can tell apart
    EXPECT_EQ(time_check_flow_rate(0, 1, 1), 18446744073709551616.0F / 1000.0F);
}

TEST(FlowRate, NeverDividesByZero)
{
    EXPECT_EQ(time_check_flow_rate(5000, 0, 0), 5000.0F);
    EXPECT_EQ(time_check_flow_rate(5000, 0, 536870912), 5000.0F); // a thousand times this is 0 in 32 bits
}

} // namespace
