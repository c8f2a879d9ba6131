// What the guest network, the WANs, a wireless uplink and the quiet checks do with their settings.
#include <algorithm>
#include <array>
#include <string>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "tools/tcctl/daemon_rules.h"
#include "tools/tcctl/finding.h"

namespace tcctl
{

namespace
{

// ---- the guest network ----

// An empty or missing switch is on.
bool guest_may_be_open(const settings &given)
{
    const std::string value = given.value(KEY_GUEST_DHCPS_ENABLE);
    return value.empty() || value == "1";
}

bool wifi_is_switched(const settings &given)
{
    return read_weekly(given, WIFI_RULES).number > 0 || (given.has(SLEEP.enable) && given.number(SLEEP.enable) != 0);
}

void check_guest_and_wifi(const settings &given, findings &found)
{
    const setting *const lifetime = given.find(KEY_GUEST_EFFECTIVE_TIME);
    const bool means_no_limit = lifetime == nullptr ? given.is_whole() : given.number(KEY_GUEST_EFFECTIVE_TIME) == 0;
    if (!means_no_limit || (lifetime != nullptr && lifetime->value == "0") || !guest_may_be_open(given) ||
        !wifi_is_switched(given))
        return;
    const setting *where = lifetime;
    for (const char *const key : {KEY_GUEST_DHCPS_ENABLE, SLEEP.enable, "nkgw.wlan.listnum"})
        where = where == nullptr ? given.find(key) : where;
    if (where == nullptr)
        return;
    found.push_back({fault::guest_closed_with_wifi, *where,
                     lifetime == nullptr ? "wl.guest.effective_time is missing" : "it is not exactly 0",
                     "the guest network is closed when Wi-Fi is switched off, and nothing opens it again",
                     "wl.guest.effective_time=0"});
}

void check_guest(const settings &given, findings &found)
{
    constexpr int32_t DAY_S = 86400;
    const setting *const lifetime = given.find(KEY_GUEST_EFFECTIVE_TIME);
    const int32_t seconds = given.number(KEY_GUEST_EFFECTIVE_TIME);
    if (lifetime != nullptr && seconds < 0)
        found.push_back({fault::guest_never_ends, *lifetime, "the lifetime is negative",
                         "it never ends, but a restart of the daemon closes the guest network", "0 for no limit"});
    if (lifetime != nullptr && seconds >= DAY_S && given.has(RESTART.enable) && given.number(RESTART.enable) != 0)
        found.push_back({fault::guest_ends_with_restart, *lifetime, "a restart closes a guest network with a lifetime",
                         "it ends with the nightly restart at the latest", ""});
    const setting *const guest_switch = given.find(KEY_GUEST_DHCPS_ENABLE);
    if (guest_switch != nullptr && guest_switch->value.empty())
        found.push_back({fault::guest_switch_empty, *guest_switch, "an empty switch is on",
                         "the guest network counts as open", "0"});
    check_guest_and_wifi(given, found);
}

// ---- WANs and uplinks ----

constexpr std::array MODES = {KEY_WL2G_PUBLIC_MODE, KEY_WL5G_PUBLIC_MODE};

bool is_uplink(const std::string &mode)
{
    return mode == "wisp" || mode == "apclient";
}

// The first radio in such a mode; null: there is none.
const setting *radio_in(const settings &given, std::string_view mode)
{
    for (const char *const key : MODES)
        if (const setting *const found = given.find(key); found != nullptr && found->value == mode)
            return found;
    return nullptr;
}

void check_wans(const settings &given, findings &found)
{
    const setting *const wans = given.find(KEY_WANS_FLAG);
    if (wans == nullptr)
        return;
    const int32_t number = given.number(KEY_WANS_FLAG);
    if (number > 2)
        found.push_back({fault::more_than_two_wans, *wans, "the reachability check knows two WANs",
                         "the others are not probed", "2"});
    if (number <= 0 && given.value(KEY_SYS_WORKMODE) == "router")
        found.push_back(
            {fault::nothing_probed, *wans, "a router has a WAN", "no WAN is probed, and none is ever online", "1"});
    if (number < 2)
        return;
    const setting *uplink = radio_in(given, "wisp");
    uplink = uplink == nullptr ? radio_in(given, "apclient") : uplink;
    if (uplink != nullptr)
        found.push_back({fault::uplink_with_two_wans, *wans,
                         fmt::format("with a wireless uplink ({}={}) there is one WAN", uplink->key, uplink->value),
                         uplink->key == KEY_WL2G_PUBLIC_MODE
                             ? "the uplink is not seen: the WANs are probed as wired ones"
                             : "nothing is probed",
                         "1"});
}

void check_modes(const settings &given, findings &found)
{
    const std::string first = given.value(MODES[0]);
    const std::string second = given.value(MODES[1]);
    if (is_uplink(first) && is_uplink(second))
        found.push_back({fault::two_uplinks, *given.find(MODES[1]), "both radios are the uplink",
                         "the link of the 2.4 GHz radio alone is supervised", "ap"});
    const setting *const mode = given.find(KEY_SYS_WORKMODE);
    if (mode == nullptr || !given.has(MODES[0]) || (!given.has(MODES[1]) && !is_uplink(first)))
        return;
    const bool wisp = first == "wisp" || second == "wisp";
    const bool client = first == "apclient" || second == "apclient";
    std::string meant = "router";
    if (wisp)
        meant = "wisp";
    else if (client)
        meant = "client+ap";
    const bool differs = (mode->value == "router" && (wisp || client)) || (mode->value == "wisp" && !wisp) ||
                         (mode->value == "client+ap" && !client);
    if (differs)
        found.push_back({fault::mode_and_radios_differ, *mode, "the radios' modes say something else",
                         "the reachability check goes by the radios, the search for a fault by sys.workmode as well",
                         meant});
}

void check_wisp(const settings &given, findings &found)
{
    const setting *const radio = radio_in(given, "wisp");
    if (radio == nullptr)
        return;
    const setting *const named = given.find(KEY_WISP_IFNAME);
    if (named == nullptr ? given.is_whole() : named->value.empty()) {
        found.push_back({fault::wisp_without_interface, named == nullptr ? *radio : *named,
                         "a WISP router needs wl.wisp.ifname", "WAN 1 is never online",
                         "the radio's client interface"});
        return;
    }
    const setting *const client = given.find(radio->key == MODES[0] ? KEY_WL2G_CLIENT_IFNAME : KEY_WL5G_CLIENT_IFNAME);
    if (named != nullptr && client != nullptr && client->value != named->value)
        found.push_back({fault::wisp_interfaces_differ, *named, fmt::format("{} is {}", client->key, client->value),
                         "the reachability check and the link's supervision look at two interfaces", client->value});
}

void check_account(const settings &given, findings &found)
{
    const setting *const access = given.find(KEY_WISP_ACCESS_MODE);
    if (access == nullptr || access->value != "pppoe")
        return;
    for (const char *const key : {KEY_WISP_PPPOE_NAME, KEY_WISP_PPPOE_PASSWORD}) {
        const setting *const part = given.find(key);
        if (part == nullptr ? given.is_whole() : part->value.empty())
            found.push_back({fault::account_missing, part == nullptr ? *access : *part,
                             fmt::format("PPPoE needs {}", key), "the WAN is dialled without it", ""});
    }
}

// ---- the LAN ----

// What nft takes, by which the forwarded traffic is counted.
bool can_be_counted(const std::string &name)
{
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '.' ||
               c == '-';
    });
}

// The setting that gives the same interface another use, or null.
const setting *other_use(const settings &given, const setting &bridge)
{
    for (const char *const key : {"wan1.ifname", "wan2.ifname", "wan1.ppp.ifname", "wan2.ppp.ifname", KEY_WISP_IFNAME,
                                  KEY_WL2G_CLIENT_IFNAME, KEY_WL5G_CLIENT_IFNAME})
        if (const setting *const other = given.find(key); other != nullptr && other->value == bridge.value)
            return other;
    return nullptr;
}

void check_bridge(const settings &given, const char *key, findings &found)
{
    const setting *const bridge = given.find(key);
    if (bridge == nullptr || bridge->value.empty())
        return;
    if (!can_be_counted(bridge->value))
        found.push_back({fault::bridge_cannot_be_counted, *bridge,
                         "it has other characters than letters, digits, _, . and -",
                         "its traffic is not counted, so that a busy network looks quiet", ""});
    if (const setting *const other = other_use(given, *bridge); other != nullptr)
        found.push_back({fault::bridge_is_no_bridge, *bridge, fmt::format("{} is the same interface", other->key),
                         "the quiet checks do not look at the LAN: the router restarts and sleeps under its users",
                         std::string(key) == KEY_LAN_IFNAME ? "br0" : "br1"});
}

void check_clash_message(const settings &given, findings &found)
{
    const setting *const message = given.find(KEY_LAN_CLASH_MESSAGE);
    if (message == nullptr || message->value.empty())
        return;
    const size_t question = message->value.find('?');
    const bool has_module = message->value.find_first_not_of("0123456789") == question;
    if (question == std::string::npos || question == 0 || !has_module)
        found.push_back({fault::clash_message_form, *message, "it is no message MODULE?text",
                         "netctrl is told something that it does not know", ""});
}

} // namespace

void check_network(const settings &given, findings &found)
{
    check_guest(given, found);
    check_wans(given, found);
    check_modes(given, found);
    check_wisp(given, found);
    check_account(given, found);
    check_bridge(given, KEY_LAN_IFNAME, found);
    check_bridge(given, KEY_LAN2_IFNAME, found);
    check_clash_message(given, found);
}

} // namespace tcctl
