// The radios as uplinks: what the driver says of their client interfaces. Nothing associates by itself, takes time to
// do so, or fails when settings are wrong: a radio is in the state that was told until another is told, over restarts
// too.
#ifndef PLATFORM_SIM_RADIOS_H
#define PLATFORM_SIM_RADIOS_H

#include <map>
#include <optional>
#include <string>

#include "platform/sim/text_map.h"
#include "platform/wifi.h"

namespace sim
{

struct Radio {
    int phy = TPI_NOT_CONNECTED;   // a TPI_LINK_STATUS; -1: off
    int relay = WIFI_RELAY_DOWN;   // a WIFI_RELAY_LINK
    std::optional<int> connection; // told by the test
};

struct Radios {
    // ---- for the test; values are not checked, and those of platform/wifi.h are meant ----

    // The states that the driver tells of a client interface, as in platform/wifi.h; not associated unless told. A name
    // that no band has can be told of, too: the daemon may have it from its settings. One that was not is no interface,
    // which is as good as off.
    void set(const std::string &ifname, int phy_state, int relay_state)
    {
        Radio &radio = by_name.at_key(ifname);
        radio.phy = phy_state;
        radio.relay = relay_state;
    }
    // The state of the WAN connection over a radio; unless told: connected with an association and an address,
    // connecting with an association, else as the association, and without a wire when the radio is off. The address is
    // the interface's, of Network::set_address. Once told it stays, whatever the association does.
    void set_connection(const std::string &ifname, int state)
    {
        by_name.at_key(ifname).connection = state;
    }
    // The client interface of a band; the factory's are wlc0 (24) and wlc1 (5). The daemon gets its first 15 bytes.
    // Other kinds of interfaces have no name here.
    void set_name(int band, const std::string &ifname)
    {
        names[band] = ifname;
    }

    TextMap<Radio> by_name;
    std::map<int, std::string> names; // client interfaces by band
    int webpage_status = 1;           // tpi_wisp_get_webpage_status
    int access_type_asked = -1;       // by the last question after a WAN connection's state, -1 before
};

} // namespace sim

#endif
