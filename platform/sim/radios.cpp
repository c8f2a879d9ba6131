#include "platform/sim/radios.h"

#include <algorithm>
#include <cstdio>

#include "platform/sim/virtual_router.h"
#include "platform/wifi.h"

using sim::Call;
using sim::Radio;
using sim::router;

static Radio radio_of(const char *ifname)
{
    const sim::Radios &radios = router().radios;
    if (const Radio *const radio = radios.by_name.value_of(ifname); radio != nullptr)
        return *radio;
    const bool is_there =
        std::ranges::any_of(radios.names, [ifname](const auto &each) { return each.second == ifname; });
    return is_there ? Radio{} : Radio{.phy = -1, .relay = WIFI_RELAY_DOWN, .connection = {}};
}

extern "C" {

int tpi_wifi_get_ifname(int band, int kind, char *ifname)
{
    const auto found = router().radios.names.find(band);
    const bool fails = router().faults.hits(Call::tpi_wifi_get_ifname);
    ifname[0] = '\0';
    if (fails || kind != TPI_WIFI_KIND_CLIENT || found == router().radios.names.end())
        return -1;
    snprintf(ifname, WIFI_IFNAME_SIZE, "%s", found->second.c_str());
    return 0;
}

int tpi_wifi_wisp_connect_check(const char *ifname, int access_type)
{
    router().radios.access_type_asked = access_type;
    if (router().faults.hits(Call::tpi_wifi_wisp_connect_check))
        return TPI_NOT_CONNECTED;
    const Radio radio = radio_of(ifname);
    if (radio.connection)
        return *radio.connection;
    if (radio.phy != TPI_CONNECTED)
        return radio.phy < 0 ? TPI_NO_WIRE : radio.phy;
    return router().network.address(ifname) != nullptr ? TPI_CONNECTED : TPI_CONNECTING;
}

int tpi_wifi_wisp_phy_link_check(const char *ifname)
{
    return router().faults.hits(Call::tpi_wifi_wisp_phy_link_check) ? -1 : radio_of(ifname).phy;
}

int tpi_wifi_relay_phy_check(const char *ifname)
{
    return router().faults.hits(Call::tpi_wifi_relay_phy_check) ? WIFI_RELAY_DOWN : radio_of(ifname).relay;
}

int tpi_wisp_get_webpage_status(void)
{
    return router().radios.webpage_status;
}

} // extern "C"
