// The radios as uplinks.
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
    int phy = TPI_NOT_CONNECTED;
    int relay = WIFI_RELAY_DOWN;
    std::optional<int> connection; // told by the test
};

struct Radios {
    // The states that the driver tells of a client interface, as in platform/wifi.h; not associated unless told.
    void set(const std::string &ifname, int phy_state, int relay_state)
    {
        Radio &radio = by_name.at_key(ifname);
        radio.phy = phy_state;
        radio.relay = relay_state;
    }
    // The state of the WAN connection over a radio; unless told: connected with an association and an address,
    // connecting with an association, else not connected.
    void set_connection(const std::string &ifname, int state)
    {
        by_name.at_key(ifname).connection = state;
    }
    // The client interface of a band; the factory's are wlc0 (24) and wlc1 (5).
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
