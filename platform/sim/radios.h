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
    TextMap<Radio> by_name;
    std::map<int, std::string> names; // client interfaces by band
    int webpage_status = 1;
    int access_type_asked = -1;
};

} // namespace sim

#endif
