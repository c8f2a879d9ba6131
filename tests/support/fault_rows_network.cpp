#include "tests/support/fault_provoked.h"

namespace fault_catalogue
{
namespace
{

constexpr std::array PROBED_HOSTS = {"www.google.com", "www.cloudflare.com", "www.wikipedia.org"};

void one_address_for_all_names(Standing &on, Dice & /*dice*/)
{
    on.undo(names_have_addresses);
    for (const char *host : PROBED_HOSTS)
        box.network.set_name(host, "198.51.100.9");
    box.store.set_uncommitted("surf_check_renew_flag", "1");
}

void link_flaps(Standing &on, Dice &dice, int wan)
{
    on.undo(mend_network);
    const auto period = static_cast<double>(5 + dice.roll(120));
    for (int i = 0; i < 20; i++)
        box.at(period * i, [wan, i] { box.network.set_link(wan, i % 2 == 1); });
}

void radio_flaps(Standing &on, Dice &dice)
{
    on.undo(mend_network);
    const auto period = static_cast<double>(5 + dice.roll(120));
    for (int i = 0; i < 20; i++)
        box.at(period * i, [i] { i % 2 == 1 ? radio_is(3, 3) : radio_is(1, 0); });
}

} // namespace

const std::vector<Fault> NETWORK = {
    {"names",
     "no name server answers",
     ALL_MODES,
     Wans::NONE_ONLINE,
     {"gethostbyname"},
     0,
     [](Standing &on, Dice &dice) {
         on.undo(mend_network);
         box.network.set_dns(false);
         renew(on, dice);
     }},
    {"names",
     "the first name server is silent",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"gethostbyname"},
     0,
     silence_first_name_server},
    {"names", "a look-up fails", ALL_MODES, Wans::UNKNOWN, {"gethostbyname"}, EAGAIN, renew},
    {"names",
     "one address for all names",
     ALL_MODES,
     Wans::NONE_ONLINE,
     {"gethostbyname"},
     0,
     one_address_for_all_names},
    {"echo",
     "no internet",
     ALL_MODES,
     Wans::NONE_ONLINE,
     {"ping_by_interface"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_internet(false);
     }},
    {"echo", "an echo request fails", ALL_MODES, Wans::UNKNOWN, {"ping_by_interface"}, ENETUNREACH},
    {"echo",
     "answers come late",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"ping_by_interface"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_ping_durations(900, 3000);
     }},
    {"echo",
     "the gateway is silent",
     WIRED_AP,
     Wans::ALL_ONLINE,
     {"simple_ping"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_reachable("192.168.0.254", "", false);
     }},
    {"echo", "the gateway cannot be asked", WIRED_AP, Wans::ALL_ONLINE, {"simple_ping"}, ENETUNREACH},
    {"links",
     "the first WAN is unplugged",
     TWO_WANS,
     Wans::FIRST_DOWN,
     {"wanid_to_sw_port"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_link(1, false);
     }},
    {"links",
     "the second WAN is unplugged",
     TWO_WANS,
     Wans::SECOND_DOWN,
     {"wanid_to_sw_port"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_link(2, false);
     }},
    {"links",
     "a link comes and goes",
     TWO_WANS,
     Wans::UNKNOWN,
     {"wanid_to_sw_port"},
     0,
     [](Standing &on, Dice &dice) { link_flaps(on, dice, 1 + static_cast<int>(dice.roll(2))); }},
    {"links", "a port is not known", TWO_WANS, Wans::UNKNOWN, {"wanid_to_sw_port"}, EINVAL},
    {"addresses",
     "the first WAN has no address",
     TWO_WANS,
     Wans::FIRST_DOWN,
     {"getIfIp"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_address("eth1", "");
     }},
    {"addresses",
     "the second WAN has no address",
     TWO_WANS,
     Wans::SECOND_DOWN,
     {"getIfIp"},
     0,
     [](Standing &on, Dice &) {
         on.undo(mend_network);
         box.network.set_address("eth2", "");
     }},
    {"addresses",
     "a WAN gets another address",
     TWO_WANS,
     Wans::UNKNOWN,
     {"getIfIp"},
     0,
     [](Standing &on, Dice &dice) {
         on.undo(mend_network);
         box.network.set_address("eth1", "198.51.100." + std::to_string(20 + dice.roll(200)));
     }},
    {"addresses", "an address cannot be asked for", ALL_MODES, Wans::UNKNOWN, {"getIfIp"}, EIO},
    {"addresses", "a WAN cannot be asked for its address", TWO_WANS, Wans::UNKNOWN, {"tpi_wan_get_ip"}, EIO},
    {"addresses", "a WAN has no interface", TWO_WANS | WISP, Wans::UNKNOWN, {"getWanIfName"}, EIO},
    {"addresses", "a switch has no name", WIRED, Wans::UNKNOWN, {"get_eth_name"}, EIO, count_quiet},
    {"addresses",
     "LAN and WAN cannot be compared",
     ALL_MODES,
     Wans::UNKNOWN,
     {"wan_lan_check"},
     EIO,
     [](Standing &on, Dice &) {
         on.undo([] { box.network.set_address("ppp0", ""); });
         box.network.set_address("ppp0", "192.168.0.77");
     }},
    {"radios", "the uplink is lost, WISP", WISP, Wans::FIRST_DOWN, {"tpi_wifi_wisp_phy_link_check"}, 0, lose_radio},
    {"radios",
     "the uplink is lost, AP client",
     AP_CLIENT,
     Wans::ALL_ONLINE,
     {"tpi_wifi_relay_phy_check"},
     0,
     lose_radio},
    {"radios",
     "the uplink comes and goes",
     WISP | AP_CLIENT,
     Wans::UNKNOWN,
     {"tpi_wifi_wisp_phy_link_check"},
     0,
     radio_flaps},
    {"radios", "a radio has no name", WISP | AP_CLIENT, Wans::UNKNOWN, {"tpi_wifi_get_ifname"}, EIO, try_ciphers},
    {"radios",
     "a radio cannot be asked whether it is connected",
     WISP,
     Wans::UNKNOWN,
     {"tpi_wifi_wisp_connect_check"},
     EIO},
    {"radios",
     "a radio cannot be asked for its link",
     WISP | AP_CLIENT,
     Wans::UNKNOWN,
     {"tpi_wifi_wisp_phy_link_check"},
     EIO},
    {"radios",
     "a radio cannot be asked for its relay",
     WISP | AP_CLIENT,
     Wans::UNKNOWN,
     {"tpi_wifi_relay_phy_check"},
     EIO},
};

void names_have_addresses()
{
    for (size_t i = 0; i < PROBED_HOSTS.size(); i++)
        box.network.set_name(PROBED_HOSTS.at(i), "198.51.100." + std::to_string(1 + i));
}

} // namespace fault_catalogue
