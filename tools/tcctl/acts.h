// What an act of the journal changes, as people and programs call it.
#ifndef TOOLS_TCCTL_ACTS_H
#define TOOLS_TCCTL_ACTS_H

#include <string>
#include <string_view>

#include "platform/common/journal.h"

namespace tcctl
{

// In the order of their weight: of what is done together the first one names the event. What comes from MINOR on
// is told only when it is asked for.
enum class change_kind {
    RESTART,
    RESTART_ARMED,
    ASLEEP,
    AWAKE,
    WIFI_OFF,
    WIFI_ON,
    WIFI_RESTARTED,
    LEDS_OFF,
    LEDS_ON,
    GUEST_CLOSED,
    WAN_OFFLINE,
    WAN_ONLINE,
    WAN_TOLD_OFFLINE,
    WAN_TOLD_ONLINE,
    PROCESS_KILLED,
    PROCESS_RESTARTED,
    FAULT_LASTS,
    FAULT_SEEN,
    FAULT_GONE,
    FAULT_PAGE_START,
    FAULT_PAGE_STOP,
    UPLINK_LOST,
    UPLINK_BACK,
    UPLINK_BOUNCED,
    UPLINK_WAN_UP,
    UPLINK_CIPHER,
    UPLINK_DIALLED,
    UPSTREAM_LOST,
    UPSTREAM_BACK,
    DHCP_SERVER_ON,
    LAN_CLASH_CHECK,
    MESSAGE, // another one to netctrl
    SETTING, // another key
    COMMAND, // another command
    NOTE,
    BOOT,
    DAEMON_START,
    DAEMON_END,
    COMMIT_FAILED,
    SET_FAILED,
    NETCTRL_FAILED,
    COMMAND_FAILED,
    MINOR,
};

// The identifier that programs know it by, such as "wifi_off"; it does not change.
std::string_view name_of(change_kind kind);

struct change {
    change_kind kind = change_kind::MINOR;
    std::string subject; // of which there may be several: "2.4 GHz", "wan1", a program's name
    std::string value;   // a number or a text that makes its sentence
};

// What the act alone says. What it means in the state that the router was in is the events' matter.
change change_of(const journal_record &act);

// A set's key and value; of anything else, or a failed one, none.
struct set_act {
    std::string_view key;
    std::string_view value;
};
set_act set_of(const journal_record &act);

// The module by the name that tcctl's other commands know it by; "router" for nobody's acts.
std::string_view module_of(uint8_t who);

} // namespace tcctl

#endif
