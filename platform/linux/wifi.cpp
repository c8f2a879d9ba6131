// The radios as uplinks, as the kernel sees their interfaces: a client interface has carrier while it is associated.
#include "platform/wifi.h"

#include "platform/config_keys.h"
#include "platform/linux/interface.h"
#include "platform/linux/store_setting.h"
#include "platform/network.h"

constexpr int BAND_2G = 24;
constexpr int BAND_5G = 5;

int tpi_wifi_get_ifname(int band, int kind, char *ifname)
{
    ifname[0] = '\0';
    if (kind != TPI_WIFI_KIND_CLIENT || (band != BAND_2G && band != BAND_5G))
        return -1;
    const bool found = band == BAND_2G ? setting_text(KEY_WL2G_CLIENT_IFNAME, "wlan0", ifname, WIFI_IFNAME_SIZE)
                                       : setting_text(KEY_WL5G_CLIENT_IFNAME, "wlan1", ifname, WIFI_IFNAME_SIZE);
    return found ? 0 : -1;
}

int tpi_wifi_wisp_phy_link_check(const char *ifname)
{
    switch (link_of_interface(ifname)) {
    case LINK_NO_INTERFACE:
    case LINK_INTERFACE_DOWN:
        return -1;
    case LINK_NONE:
        return TPI_NOT_CONNECTED;
    case LINK_PENDING:
        return TPI_CONNECTING;
    case LINK_UP:
        return TPI_CONNECTED;
    }
    return -1;
}

int tpi_wifi_wisp_connect_check(const char *ifname, int access_type)
{
    const int association = tpi_wifi_wisp_phy_link_check(ifname);
    if (association < 0)
        return TPI_NO_WIRE;
    if (association != TPI_CONNECTED)
        return association;
    const char *const addressed = access_type == TPI_WAN_PPPOE ? getWanIfName(1, 0, WAN_PPPOE) : ifname;
    in_addr address = {};
    return addressed != nullptr && address_of_interface(addressed, &address, nullptr) ? TPI_CONNECTED : TPI_CONNECTING;
}

int tpi_wifi_relay_phy_check(const char *ifname)
{
    switch (link_of_interface(ifname)) {
    case LINK_NO_INTERFACE:
    case LINK_INTERFACE_DOWN:
        return WIFI_RELAY_DOWN;
    case LINK_NONE:
    case LINK_PENDING:
        return WIFI_RELAY_UP;
    case LINK_UP:
        return WIFI_RELAY_CONNECTED;
    }
    return WIFI_RELAY_DOWN;
}

int tpi_wisp_get_webpage_status(void)
{
    return setting_number(KEY_WISP_WEBPAGE_STATUS, 1);
}
