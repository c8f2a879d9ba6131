// The radios as uplinks; a wired pair stands in for a radio: its carrier is the association.
#include "platform/wifi.h"

#include <gtest/gtest.h>

#include "tests/contract/memory_store.h"
#include "tests/contract/network_support.h"

namespace
{

class Wifi : public NetworkTest
{
protected:
    Wifi()
    {
        stored().clear();
    }
};

TEST_F(Wifi, ClientInterfacesHaveNames)
{
    char ifname[WIFI_IFNAME_SIZE] = "before";
    EXPECT_EQ(tpi_wifi_get_ifname(24, TPI_WIFI_KIND_CLIENT, ifname), 0);
    EXPECT_STREQ(ifname, "wlan0");
    EXPECT_EQ(tpi_wifi_get_ifname(5, TPI_WIFI_KIND_CLIENT, ifname), 0);
    EXPECT_STREQ(ifname, "wlan1");
    stored()["wl5g.client.ifname"] = "apclix0";
    EXPECT_EQ(tpi_wifi_get_ifname(5, TPI_WIFI_KIND_CLIENT, ifname), 0);
    EXPECT_STREQ(ifname, "apclix0");
}

TEST_F(Wifi, OtherBandsAndKindsAndTooLongNamesGiveNone)
{
    char ifname[WIFI_IFNAME_SIZE] = "before";
    EXPECT_EQ(tpi_wifi_get_ifname(6, TPI_WIFI_KIND_CLIENT, ifname), -1);
    EXPECT_STREQ(ifname, "");
    EXPECT_EQ(tpi_wifi_get_ifname(24, 3, ifname), -1);
    stored()["wl2g.client.ifname"] = "1234567890123456";
    EXPECT_EQ(tpi_wifi_get_ifname(24, TPI_WIFI_KIND_CLIENT, ifname), -1);
    EXPECT_STREQ(ifname, "");
}

TEST_F(Wifi, AssociationIsTheCarrier)
{
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("wlan0"), -1);
    EXPECT_EQ(tpi_wifi_relay_phy_check("wlan0"), WIFI_RELAY_DOWN);
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check(""), -1);
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("../net/lo"), -1) << "a path, which here is that of an interface with link";

    const OtherMachine access_point;
    wire("wlan0", access_point);
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("wlan0"), TPI_CONNECTED);
    EXPECT_EQ(tpi_wifi_relay_phy_check("wlan0"), WIFI_RELAY_CONNECTED);

    access_point.sh("ip link set eth0 down");
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("wlan0"), TPI_NOT_CONNECTED);
    EXPECT_EQ(tpi_wifi_relay_phy_check("wlan0"), WIFI_RELAY_UP);

    sh("ip link set wlan0 down");
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("wlan0"), -1);
    EXPECT_EQ(tpi_wifi_relay_phy_check("wlan0"), WIFI_RELAY_DOWN);
}

TEST_F(Wifi, RadioThatIsNotLetInYetIsConnecting)
{
    const OtherMachine access_point;
    wire("wlan0", access_point);
    sh("ip addr add 10.3.0.2/24 dev wlan0 && ip link set wlan0 mode dormant state dormant");
    ASSERT_EQ(text_of("/sys/class/net/wlan0/operstate"), "dormant\n");
    EXPECT_EQ(tpi_wifi_wisp_phy_link_check("wlan0"), TPI_CONNECTING);
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_STATIC), TPI_CONNECTING);
    EXPECT_EQ(tpi_wifi_relay_phy_check("wlan0"), WIFI_RELAY_UP);
}

TEST_F(Wifi, ConnectionNeedsAssociationAndAddress)
{
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_DHCP), TPI_NO_WIRE);
    const OtherMachine access_point;
    wire("wlan0", access_point);
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_DHCP), TPI_CONNECTING);
    sh("ip addr add 10.3.0.2/24 dev wlan0");
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_DHCP), TPI_CONNECTED);
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_STATIC), TPI_CONNECTED);
    access_point.sh("ip link set eth0 down");
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_DHCP), TPI_NOT_CONNECTED);
}

TEST_F(Wifi, DialledConnectionNeedsThePppInterfacesAddress)
{
    const OtherMachine access_point;
    const OtherMachine provider;
    wire("wlan0", access_point);
    sh("ip addr add 10.3.0.2/24 dev wlan0");
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_PPPOE), TPI_CONNECTING);
    wire("ppp0", provider);
    sh("ip addr add 100.64.0.9/32 dev ppp0");
    EXPECT_EQ(tpi_wifi_wisp_connect_check("wlan0", TPI_WAN_PPPOE), TPI_CONNECTED);
}

TEST_F(Wifi, SupervisionIsWantedUnlessTheStoreSaysOtherwise)
{
    EXPECT_NE(tpi_wisp_get_webpage_status(), 0);
    stored()["wl.wisp.webpage_status"] = "0";
    EXPECT_EQ(tpi_wisp_get_webpage_status(), 0);
    stored()["wl.wisp.webpage_status"] = "1";
    EXPECT_NE(tpi_wisp_get_webpage_status(), 0);
}

} // namespace
