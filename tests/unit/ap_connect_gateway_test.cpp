// The wired access point's gateway check.
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check_ap_connect.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"

namespace
{

const std::string LOST = "netctrl 35?op=9,string_info=dhcp_up";
const std::string BACK = "netctrl 35?op=8,string_info=dhcp_down";
const char GATEWAY[] = "192.168.1.254";

class GatewayCheck : public RouterTest
{
protected:
    void SetUp() override
    {
        box.store.set("sys.workmode", "ap");
        box.files.set("/etc/lan.ini", "ip=192.168.1.7\ngateway=192.168.1.254\n");
        box.network.set_reachable(GATEWAY, "", true);
        set_time_check_ap_connect_info();
    }

    void gateway(bool answers)
    {
        box.network.set_reachable(GATEWAY, "", answers);
    }

    static void ticks(int number)
    {
        for (int i = 0; i < number; i++)
            time_check_ap_connect();
    }

    static int32_t send()
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
        return time_check_ap_connect_handle(&msg);
    }

    uint64_t pings() const
    {
        return box.faults.made("simple_ping");
    }
};

TEST_F(GatewayCheck, AReachableGatewayIsNeverToldOf)
{
    ticks(100);
    EXPECT_ACTS();
    EXPECT_EQ(pings(), 100U);
}

TEST_F(GatewayCheck, AnUnreachableGatewayIsToldOfAtTheThirdTickAndOnce)
{
    gateway(false);
    ticks(2);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(LOST);
    ticks(100);
    EXPECT_ACTS(LOST);
}

TEST_F(GatewayCheck, ItsReturnIsToldOfAtTheThirdTickAndOnce)
{
    gateway(false);
    ticks(3);
    box.journal.clear();
    gateway(true);
    ticks(2);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(BACK);
    ticks(100);
    EXPECT_ACTS(BACK);
}

TEST_F(GatewayCheck, EachLossAndReturnIsTold)
{
    for (int i = 0; i < 3; i++) {
        box.journal.clear();
        gateway(false);
        ticks(5);
        gateway(true);
        ticks(5);
        EXPECT_ACTS(LOST, BACK);
    }
}

TEST_F(GatewayCheck, TwoTicksAreNoLoss)
{
    for (int i = 0; i < 20; i++) {
        gateway(false);
        ticks(2);
        gateway(true);
        ticks(1);
    }
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, TwoTicksAreNoReturn)
{
    gateway(false);
    ticks(3);
    box.journal.clear();
    for (int i = 0; i < 20; i++) {
        gateway(true);
        ticks(2);
        gateway(false);
        ticks(1);
    }
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, FlappingEveryTickIsNeverToldOf)
{
    for (int i = 0; i < 100; i++) {
        gateway(i % 2 == 0);
        ticks(1);
    }
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, OutsideApModeNothingIsPinged)
{
    gateway(false);
    for (const char *mode : {"router", "", "AP", "ap1", "apclient"}) {
        box.store.set("sys.workmode", mode);
        ticks(10);
    }
    box.store.unset("sys.workmode");
    ticks(10);
    EXPECT_EQ(pings(), 0U);
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, LeavingApModeFreezesTheCounts)
{
    gateway(false);
    ticks(2);
    box.store.set("sys.workmode", "router");
    ticks(100);
    EXPECT_ACTS();
    box.store.set("sys.workmode", "ap");
    ticks(1);
    EXPECT_ACTS(LOST);
}

TEST_F(GatewayCheck, TheResultsAreFixed)
{
    EXPECT_EQ(time_check_ap_connect(), TIMER_CHECK_SUC);
    EXPECT_EQ(time_check_ap_connect_main(), TIMER_CHECK_ERR);
    gateway(false);
    EXPECT_EQ(time_check_ap_connect(), TIMER_CHECK_SUC);
    EXPECT_EQ(time_check_ap_connect_main(), TIMER_CHECK_ERR);
    EXPECT_EQ(send(), TIMER_CHECK_SUC);
}

// ---- the gateway's address ----

TEST_F(GatewayCheck, AMessageReadsTheGatewayAnew)
{
    box.files.set("/etc/lan.ini", "gateway=10.0.0.1\n");
    ticks(3);
    EXPECT_ACTS(); // still the old one, which answers
    send();
    ticks(3);
    EXPECT_ACTS(LOST);
    box.network.set_reachable("10.0.0.1", "", true);
    ticks(3);
    EXPECT_ACTS(LOST, BACK);
}

TEST_F(GatewayCheck, BlanksAroundKeyAndValueDoNotCount)
{
    box.files.set("/etc/lan.ini", "ip = 10.0.0.9\n gateway =  192.168.1.254 \t\r\n");
    send();
    ticks(3);
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, TheFirstGatewayLineCounts)
{
    box.files.set("/etc/lan.ini", "mygateway=10.0.0.8\ngateway=192.168.1.254\ngateway=10.0.0.9\n");
    send();
    ticks(3);
    EXPECT_ACTS();
}

TEST_F(GatewayCheck, AFileThatIsGoneOrHasNoKeyEmptiesTheAddress)
{
    for (const bool there : {false, true}) {
        box.files.set("/etc/lan.ini", "gateway=192.168.1.254\n");
        send();
        ticks(3);
        box.journal.clear();
        if (there)
            box.files.set("/etc/lan.ini", "ip=192.168.1.7\n");
        else
            box.files.remove("/etc/lan.ini");
        send();
        ticks(3);
        EXPECT_ACTS(LOST);
    }
}

TEST_F(GatewayCheck, WithoutFileAtTheStartEveryPingFails)
{
    box.files.remove("/etc/lan.ini");
    send();
    ticks(3);
    EXPECT_ACTS(LOST);
}

TEST_F(GatewayCheck, AnOverlongAddressIsCut)
{
    box.files.set("/etc/lan.ini", "gateway=" + std::string(500, '1') + "\n");
    send();
    ticks(3);
    EXPECT_ACTS(LOST);
}

TEST_F(GatewayCheck, InitReadsTheGatewayAndTakesTheModulesMessages)
{
    box.files.set("/etc/lan.ini", "gateway=10.0.0.1\n");
    box.network.set_reachable("10.0.0.1", "", true);
    gateway(false);
    init_time_check_module_entries();
    box.journal.clear();
    ticks(5);
    EXPECT_ACTS();
    box.files.set("/etc/lan.ini", "gateway=192.168.1.254\n");
    TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
    handle_time_check_module_msg(TIME_CHECK_AP_CONNECT, &msg);
    ticks(3);
    EXPECT_ACTS(LOST);
}

} // namespace
