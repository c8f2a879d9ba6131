// The scheduled reboot's two quiet-network checks, one sample a call.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_reboot.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

class QuietCheck : public RouterTest
{
protected:
    void SetUp() override
    {
        box.store.set("sys.schedulereboot.max_speed", "5");
        set_time_check_reboot_info();
        box.log.clear();
    }

    void client_comes()
    {
        box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    }

    void client_goes()
    {
        box.network.clear_neighbours();
    }
};

// ---- the check of the forwarded traffic ----

class ForwardedCheck : public QuietCheck
{
protected:
    void SetUp() override
    {
        QuietCheck::SetUp();
        client_comes();
    }

    // One sample, with these totals of the one host.
    int32_t sample(uint64_t received, uint64_t sent, uint32_t period = 1)
    {
        box.log.clear();
        box.network.set_host("192.168.0.7", sent, received);
        return flow_check_forword_reboot(period);
    }

    // The bodies of one sample that is compared with a first one of zeros.
    Lines second_sample(uint64_t received, uint64_t sent, uint32_t period = 1)
    {
        sample(0, 0);
        sample(received, sent, period);
        return box.log.bodies();
    }
};

TEST_F(ForwardedCheck, TheFirstSampleIsABaselineWithoutALine)
{
    _DEBUG_LIST_[1] = 1;
    EXPECT_EQ(sample(123456789, 987654321), 0);
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(ForwardedCheck, ALowSamplePrintsOnlyWithTheDebugSwitch)
{
    EXPECT_THAT(second_sample(4999, 1), IsEmpty());
    _DEBUG_LIST_[1] = 1;
    sample(9998, 2);
    EXPECT_THAT(box.log.bodies(), ElementsAre("num 3:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s!!"));
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;32m\\[TIMER_CHECK_DEBUG >>flow_check_forword_reboot\\([0-9]+\\)\\]:"
                                      "\033\\[mnum 3.*"));
}

TEST_F(ForwardedCheck, AtTheThresholdASampleIsBusy)
{
    EXPECT_THAT(second_sample(5000, 0), ElementsAre("num 2:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!"));
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>flow_check_forword_reboot\\([0-9]+\\)\\]:"
                                      "\033\\[mnum 2.*"));
}

TEST_F(ForwardedCheck, SentBytesCountToo)
{
    EXPECT_THAT(second_sample(0, 5000), ElementsAre("num 2:froward_rx = 0.00kB/s,froward_tx = 5.00kB/s !!"));
}

TEST_F(ForwardedCheck, ABusySamplePrintsBothLinesWithTheDebugSwitch)
{
    _DEBUG_LIST_[1] = 1;
    EXPECT_THAT(second_sample(123456, 7890), ElementsAre("num 2:froward_rx = 123.46kB/s,froward_tx = 7.89kB/s!!",
                                                         "num 2:froward_rx = 123.46kB/s,froward_tx = 7.89kB/s !!"));
}

TEST_F(ForwardedCheck, MulticastIntoTheLanCountsAsReceived)
{
    box.network.set_multicast("br0", 100);
    sample(0, 0);
    box.network.set_multicast("br0", 5100);
    sample(0, 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre("num 2:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!"));
}

TEST_F(ForwardedCheck, AfterABusySampleTheNextIsABaseline)
{
    second_sample(5000, 0);
    sample(900000, 900000);
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    sample(905000, 900000);
    EXPECT_THAT(box.log.bodies(), ElementsAre("num 2:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!"));
}

TEST_F(ForwardedCheck, ThePeriodStretchesTheThresholdAndTheRate)
{
    EXPECT_THAT(second_sample(49999, 0, 10), IsEmpty());
    sample(99999, 0, 10);
    EXPECT_THAT(box.log.bodies(), ElementsAre("num 3:froward_rx = 5.00kB/s,froward_tx = 0.00kB/s !!"));
}

TEST_F(ForwardedCheck, TheThresholdIs32BitsWide)
{
    // 5000 x 858994 is 4294970000, which is 2704 in 32 bits.
    EXPECT_THAT(second_sample(2703, 0, 858994), IsEmpty());
    EXPECT_THAT(second_sample(2704, 0, 858994), ElementsAre("num 3:froward_rx = 0.00kB/s,froward_tx = 0.00kB/s !!"));
}

TEST_F(ForwardedCheck, AnIncreaseOf32BitsAndMoreIsBusy)
{
    EXPECT_THAT(second_sample(4294967296, 0),
                ElementsAre("num 2:froward_rx = 4294967.50kB/s,froward_tx = 0.00kB/s !!"));
}

TEST_F(ForwardedCheck, RatesAreSinglePrecision)
{
    EXPECT_THAT(second_sample(16777217, 123456789),
                ElementsAre("num 2:froward_rx = 16777.22kB/s,froward_tx = 123456.79kB/s !!"));
    EXPECT_THAT(second_sample(99999999999, 0), Contains(HasSubstr("froward_rx = 100000000.00kB/s")));
}

TEST_F(ForwardedCheck, ACounterThatWentBackNeitherCountsNorResets)
{
    _DEBUG_LIST_[1] = 1;
    sample(10000, 10000);
    sample(10000, 10000);
    EXPECT_THAT(box.log.bodies(), ElementsAre(HasSubstr("num 2:")));
    sample(9999, 20000);
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    sample(9999, 20000); // compared with the sample that did not count
    EXPECT_THAT(box.log.bodies(), ElementsAre("num 3:froward_rx = 0.00kB/s,froward_tx = 0.00kB/s!!"));
    sample(9999, 19999);
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    sample(9999, 19999);
    EXPECT_THAT(box.log.bodies(), ElementsAre(HasSubstr("num 4:")));
}

TEST_F(ForwardedCheck, AFailingProbeLooksLikeACounterThatWentBack)
{
    _DEBUG_LIST_[1] = 1;
    sample(10000, 10000);
    box.faults.fail("get_statistic_info");
    sample(10000, 10000);
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    sample(14999, 10000); // all of it is new again
    EXPECT_THAT(box.log.bodies(), Contains("num 2:froward_rx = 15.00kB/s,froward_tx = 10.00kB/s !!"));
}

TEST_F(ForwardedCheck, The1801stQuietSampleSaysSo)
{
    for (int i = 1; i <= 1800; i++)
        ASSERT_EQ(sample(0, 0), 0) << i;
    _DEBUG_LIST_[1] = 1;
    EXPECT_EQ(sample(9000000, 0), 1); // not compared
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    EXPECT_EQ(sample(9000000, 0), 0); // a new count
    EXPECT_THAT(box.log.bodies(), IsEmpty());
    EXPECT_EQ(sample(9004999, 0), 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre(HasSubstr("num 2:")));
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

TEST_F(ForwardedCheck, ABusySampleStartsTheCountAgain)
{
    for (int i = 1; i <= 1799; i++)
        sample(0, 0);
    sample(5000, 0); // the 1800th
    for (int i = 1; i <= 1800; i++)
        ASSERT_EQ(sample(5000, 0), 0) << i;
    EXPECT_EQ(sample(5000, 0), 1);
}

TEST_F(ForwardedCheck, AReloadStartsTheCountAgain)
{
    for (int i = 1; i <= 1800; i++)
        sample(0, 0);
    set_time_check_reboot_info();
    for (int i = 1; i <= 1800; i++)
        ASSERT_EQ(sample(0, 0), 0) << i;
    EXPECT_EQ(sample(0, 0), 1);
}

TEST_F(ForwardedCheck, OnlyAnotherWanNameStartsTheCountAgain)
{
    for (int i = 1; i <= 1800; i++)
        sample(0, 0);
    set_time_check_reboot_wan_info(); // the same
    EXPECT_EQ(sample(0, 0), 1);

    for (int i = 1; i <= 1800; i++)
        sample(0, 0);
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    set_time_check_reboot_wan_info();
    EXPECT_EQ(sample(0, 0), 0);
}

TEST_F(ForwardedCheck, AClientOnTheSecondBridgeIsAClient)
{
    client_goes();
    box.network.set_neighbour("192.168.1.7", "0x2", "52:54:00:12:34:57", "br1");
    for (int i = 0; i < 200; i++)
        sample(0, 0);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

TEST_F(ForwardedCheck, AClientOnALanBridgeOfAnotherNameIsAClient)
{
    client_goes();
    box.network.set_lan("br-lan");
    box.network.set_neighbour("192.168.0.7", "0x2", "52:54:00:12:34:56", "br-lan");
    for (int i = 0; i < 200; i++)
        sample(0, 0);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

// ---- without a client ----

TEST_F(ForwardedCheck, The181stSampleWithoutAClientReboots)
{
    client_goes();
    for (int i = 1; i <= 180; i++)
        ASSERT_EQ(sample(0, 0), 0) << i;
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    EXPECT_THAT(box.log.lines(), IsEmpty());

    box.clock.set("2026-03-01 03:04:59");
    EXPECT_EQ(sample(0, 0), 1); // and comes back
    EXPECT_ACTS("command date", "reboot");
    EXPECT_BODIES("now time:03:04", "no client! reboot now!!");
    for (const std::string &line : box.log.lines())
        EXPECT_THAT(line, HasSubstr("\033[1;31m[TIMER_CHECK >>flow_check_forword_reboot("));
}

TEST_F(ForwardedCheck, TheClockIsReadAfterTheDateCommand)
{
    client_goes();
    for (int i = 1; i <= 180; i++)
        sample(0, 0);
    box.clock.set("2026-03-01 03:04:59");
    box.commands.set_duration(2);
    sample(0, 0);
    EXPECT_THAT(box.log.bodies(), Contains("now time:03:05"));
}

TEST_F(ForwardedCheck, TheCountGoesOnPast180WithoutAnotherReboot)
{
    client_goes();
    for (int i = 1; i <= 181; i++)
        sample(0, 0);
    box.journal.clear();
    for (int i = 0; i < 400; i++)
        EXPECT_EQ(sample(0, 0), 0);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

TEST_F(ForwardedCheck, EachSampleWithoutAClientIsADebugLine)
{
    client_goes();
    _DEBUG_LIST_[1] = 1;
    sample(0, 0);
    EXPECT_BODIES("num 0:br_client = 0!!");
    sample(0, 0);
    EXPECT_BODIES("num 1:br_client = 0!!");
    EXPECT_THAT(box.log.lines().front(), HasSubstr("\033[1;32m[TIMER_CHECK_DEBUG >>flow_check_forword_reboot("));
}

TEST_F(ForwardedCheck, AClientStartsTheCountWithoutClientsAgain)
{
    client_goes();
    for (int i = 1; i <= 180; i++)
        sample(0, 0);
    client_comes();
    sample(0, 0);
    client_goes();
    for (int i = 1; i <= 180; i++)
        ASSERT_EQ(sample(0, 0), 0) << i;
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    EXPECT_EQ(sample(0, 0), 1);
}

TEST_F(ForwardedCheck, ASampleWithoutAClientStartsTheQuietCountAgain)
{
    for (int i = 1; i <= 1800; i++)
        sample(0, 0);
    client_goes();
    sample(0, 0);
    client_comes();
    for (int i = 1; i <= 1800; i++)
        ASSERT_EQ(sample(0, 0), 0) << i;
    EXPECT_EQ(sample(0, 0), 1);
}

TEST_F(ForwardedCheck, AReloadStartsTheCountWithoutClientsAgain)
{
    client_goes();
    for (int i = 1; i <= 180; i++)
        sample(0, 0);
    set_time_check_reboot_info();
    sample(0, 0);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

// ---- the check of the interfaces ----

class InterfaceCheck : public QuietCheck
{
protected:
    void SetUp() override
    {
        configure({{"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}});
        QuietCheck::SetUp();
        for (const char *counter : {"rx_bytes", "tx_bytes"})
            box.files.set_missing(std::string("/sys/class/net/br1/statistics/") + counter);
        client_comes();
    }

    int32_t sample(uint64_t lan_rx, uint64_t lan_tx, uint64_t wan_rx, uint64_t wan_tx, uint32_t period = 1)
    {
        box.log.clear();
        box.network.set_counters("br0", lan_rx, lan_tx);
        box.network.set_counters("eth1", wan_rx, wan_tx);
        return flow_check_reboot(period);
    }

    static constexpr char NO_SECOND_LAN[] = "fopen (/sys/class/net/br1/statistics/tx_bytes) error";
};

TEST_F(InterfaceCheck, EverySampleIsTwoInfoLines)
{
    EXPECT_EQ(sample(1000, 2000, 3000, 4000), 0);
    EXPECT_BODIES("num 0:br_client = 1!!", NO_SECOND_LAN,
                  "num 1:rx = 1.00kB/s,tx = 2.00kB/s,wan_rx = 3.00kB/s,wan_tx = 4.00kB/s!!");
    for (const size_t line : {0U, 2U})
        EXPECT_THAT(box.log.lines().at(line), HasSubstr("\033[1;32m[TIMER_CHECK >>flow_check_reboot("));
    sample(1100, 2200, 3300, 4400);
    EXPECT_BODIES("num 0:br_client = 1!!", NO_SECOND_LAN,
                  "num 2:rx = 0.10kB/s,tx = 0.20kB/s,wan_rx = 0.30kB/s,wan_tx = 0.40kB/s!!");
}

TEST_F(InterfaceCheck, EachOfTheFourCountersCanBeBusy)
{
    const uint64_t increases[4][4] = {{5000, 0, 0, 0}, {0, 5000, 0, 0}, {0, 0, 5000, 0}, {0, 0, 0, 5000}};
    const char *lines[] = {"num 2:rx = 5.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!",
                           "num 2:rx = 0.00kB/s,tx = 5.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!",
                           "num 2:rx = 0.00kB/s,tx = 0.00kB/s,wan_rx = 5.00kB/s,wan_tx = 0.00kB/s!!",
                           "num 2:rx = 0.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 5.00kB/s!!"};
    for (size_t i = 0; i < 4; i++) {
        sample(0, 0, 0, 0);
        sample(increases[i][0], increases[i][1], increases[i][2], increases[i][3]);
        EXPECT_BODIES("num 0:br_client = 1!!", NO_SECOND_LAN, lines[i], lines[i]);
        EXPECT_THAT(box.log.lines().at(2), HasSubstr("\033[1;32m[TIMER_CHECK >>flow_check_reboot("));
        EXPECT_THAT(box.log.lines().at(3), HasSubstr("\033[1;31m[TIMER_CHECK >>flow_check_reboot("));
    }
}

TEST_F(InterfaceCheck, BelowTheThresholdASampleCounts)
{
    sample(0, 0, 0, 0);
    sample(4999, 4999, 4999, 4999);
    sample(9998, 9998, 9998, 9998);
    EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("num 3:rx = 5.00kB/s")));
    EXPECT_EQ(box.log.bodies().size(), 3U);
}

TEST_F(InterfaceCheck, AnyCounterThatWentBackKeepsTheSampleFromCounting)
{
    const uint64_t values[4][4] = {{9, 10, 10, 10}, {10, 9, 10, 10}, {10, 10, 9, 10}, {10, 10, 10, 9}};
    for (const auto &value : values) {
        set_time_check_reboot_info();
        sample(10, 10, 10, 10);
        sample(10, 10, 10, 10);
        sample(value[0], value[1], value[2], value[3]);
        EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("num 3:")));
        sample(value[0], value[1], value[2], value[3]); // compared with the one that did not count
        EXPECT_THAT(box.log.bodies(),
                    Contains("num 3:rx = 0.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!"));
    }
}

TEST_F(InterfaceCheck, TheSecondBridgeIsAddedWhenItCanBeRead)
{
    box.network.set_counters("br1", 500, 600);
    sample(1000, 2000, 0, 0);
    EXPECT_BODIES("num 0:br_client = 1!!", "num 1:rx = 1.50kB/s,tx = 2.60kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!");
}

TEST_F(InterfaceCheck, ASecondBridgeThatCanBeReadByHalfIsNotAdded)
{
    box.network.set_counters("br1", 500, 600);
    box.files.set_unreadable("/sys/class/net/br1/statistics/rx_bytes");
    sample(1000, 2000, 0, 0);
    EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("rx = 1.00kB/s,tx = 2.00kB/s")));
}

TEST_F(InterfaceCheck, WithoutTheFirstBridgeTheSampleIsSkipped)
{
    sample(0, 0, 0, 0);
    box.files.set_unreadable("/sys/class/net/br0/statistics/rx_bytes");
    box.log.clear();
    EXPECT_EQ(flow_check_reboot(1), 0);
    EXPECT_BODIES("num 0:br_client = 1!!", "fopen (/sys/class/net/br0/statistics/rx_bytes) error");
    sample(0, 0, 0, 0);
    EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("num 2:"))); // it did not count
}

TEST_F(InterfaceCheck, WithoutTheWanThePreviousSampleStays)
{
    sample(0, 0, 3000, 4000);
    box.files.set_unreadable("/sys/class/net/eth1/statistics/rx_bytes");
    box.log.clear();
    flow_check_reboot(1);
    EXPECT_THAT(box.log.bodies(), Contains("num 2:rx = 0.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!"));
}

TEST_F(InterfaceCheck, WithoutAWiredWanTheWanIsZero)
{
    box.store.set("wl2g.public.mode", "wisp");
    set_time_check_reboot_info();
    for (const char *counter : {"rx_bytes", "tx_bytes"})
        box.files.set_missing(std::string("/sys/class/net//statistics/") + counter);
    sample(1000, 0, 3000, 4000);
    EXPECT_THAT(box.log.bodies(), Contains("num 1:rx = 1.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!"));
}

TEST_F(InterfaceCheck, OnlyTheLastEightDigitsOfACounterCount)
{
    sample(99999000, 0, 0, 0);
    sample(100000000, 0, 0, 0); // wraps to 0: went back
    EXPECT_EQ(box.log.bodies().size(), 3U);
    sample(100004999, 0, 0, 0);
    EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("num 2:rx = 5.00kB/s")));
    EXPECT_EQ(box.log.bodies().size(), 3U);
}

TEST_F(InterfaceCheck, The1801stQuietSampleSaysSoAndPrintsItsLine)
{
    for (int i = 1; i <= 1800; i++)
        ASSERT_EQ(sample(0, 0, 0, 0), 0) << i;
    EXPECT_EQ(sample(9000000, 0, 0, 0), 1);
    EXPECT_BODIES("num 0:br_client = 1!!", NO_SECOND_LAN,
                  "num 1801:rx = 9000.00kB/s,tx = 0.00kB/s,wan_rx = 0.00kB/s,wan_tx = 0.00kB/s!!");
    sample(0, 0, 0, 0);
    EXPECT_THAT(box.log.bodies(), Contains(HasSubstr("num 1:")));
}

TEST_F(InterfaceCheck, The181stSampleWithoutAClientReboots)
{
    client_goes();
    for (int i = 1; i <= 180; i++) {
        ASSERT_EQ(sample(0, 0, 0, 0), 0) << i;
        ASSERT_EQ(box.log.bodies(), Lines{"num " + std::to_string(i - 1) + ":br_client = 0!!"});
    }
    EXPECT_THAT(box.journal.lines(), IsEmpty());
    box.clock.set("2026-03-01 03:04:59");
    _DEBUG_LIST_[1] = 1; // it has no debug line
    EXPECT_EQ(sample(0, 0, 0, 0), 1);
    EXPECT_ACTS("command date", "reboot");
    EXPECT_BODIES("num 180:br_client = 0!!", "now time:03:04", "no client! reboot now!!");
    EXPECT_THAT(box.log.lines().back(), HasSubstr("\033[1;31m[TIMER_CHECK >>flow_check_reboot("));
}

TEST_F(InterfaceCheck, BothBridgesClientsAreShown)
{
    box.network.set_neighbour("192.168.1.7", "0x2", "52:54:00:12:34:57", "br1");
    sample(0, 0, 0, 0);
    EXPECT_EQ(box.log.bodies().front(), "num 0:br_client = 2!!");
}

TEST_F(InterfaceCheck, NothingInTheDaemonCallsIt)
{
    configure({{"sys.schedulereboot.enable", "1"}, {"sys.schedulereboot.type", "1"}});
    box.clock.set("2026-03-01 02:00:00");
    box.clock.set_uptime(86400);
    box.boot();
    box.tick(60);
    EXPECT_FALSE(has_line(">>flow_check_reboot("));
}

} // namespace
