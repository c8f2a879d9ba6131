// Interfaces, addresses, links and echo requests; radios. WAN 1 is "wan1" on both sides, the LAN "br0".
#include <cstring>
#include <set>

#include "platform/network.h"
#include "platform/wifi.h"
#include "tests/contract/kit/world.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{
namespace
{

bool has_cable;
bool has_lan;
bool has_radio;
std::set<std::string> told; // addresses of the WAN

void begin_network()
{
    told.clear();
    has_cable = has_lan = has_radio = false;
    begin_world();
}

std::string some_address(Random &random)
{
    return random.pick({"10.91.0.2", "192.168.100.200", "172.16.0.9", "192.168.0.77"});
}

// ---- the world ----

Words cable_words(Random &random)
{
    return {std::to_string(random.below(2))};
}

void run_cable(const Words &words, Answer &answer)
{
    has_cable = true;
    answer.number(kit_world.wan_cable(number_of(words[0])));
}

Words address_words(Random &random)
{
    return {random.one_in(3) ? "" : some_address(random)};
}

void run_address(const Words &words, Answer &answer)
{
    if (!has_cable || (!words[0].empty() && !told.insert(words[0]).second))
        return answer.word("not now"); // the provider keeps his end of each
    answer.number(kit_world.wan_address(words[0].c_str()));
}

void run_lan(const Words & /*words*/, Answer &answer)
{
    if (has_lan)
        return answer.word("is there");
    has_lan = true;
    answer.number(kit_world.lan_address("192.168.0.1"));
}

Words radio_words(Random &random)
{
    return {std::to_string(random.below(3) - 1)};
}

void run_radio(const Words &words, Answer &answer)
{
    has_radio = true;
    answer.number(kit_world.radio(number_of(words[0])));
}

void run_user(const Words &words, Answer &answer)
{
    answer.number(kit_world.user_changes_uplink(number_of(words[0])));
    answer.number(tpi_wisp_get_webpage_status() != 0);
}

// ---- questions ----

Words ifname_words(Random &random)
{
    return {random.pick({"wan1", "wan1", "br0", "lo9", "", "absent", "wan1:1",
                         "a-name-that-is-far-too-long-for-an-interface", "../wan1", "wan"})};
}

template <size_t Size>
void answer_address(int result, const char (&address)[Size], Answer &answer)
{
    answer.number(result);
    answer.text(address);
}

void run_ip(const Words &words, Answer &answer)
{
    char address[IF_ADDRESS_SIZE] = "as it was";
    char wan_address[WAN_ADDRESS_SIZE] = "as it was";
    answer_address(getIfIp(words[0].c_str(), address), address, answer);
    answer_address(tpi_wan_get_ip(words[0].c_str(), wan_address, 1), wan_address, answer);
}

Words wan_words(Random &random)
{
    const std::string wan = std::to_string(random.below(6) - 2);
    return {wan, std::to_string(random.below(6))};
}

void answer_name(const char *name, Answer &answer)
{
    answer.text(name == nullptr ? "null" : name);
}

void run_wan(const Words &words, Answer &answer)
{
    const int wan = number_of(words[0]);
    if (wan != 1) // which is told to the model by name, however it is dialled
        answer_name(getWanIfName(wan, 0, number_of(words[1])), answer);
    answer_name(get_eth_name(number_of(words[1]) + 8 == WAN_1 ? WAN_1 : 77), answer);
    answer_name(getLanIfName(), answer);
    answer.number(wanid_to_sw_port(wan));
    answer.number(__GetPortLink(wan) != 0);
}

Words clash_words(Random &random)
{
    const std::string address =
        random.pick({"192.168.0.7", "192.168.1.7", "10.0.0.1", "", "192.168.0", "x", "0.0.0.0"});
    return {address,
            random.pick({"255.255.255.0", "255.255.0.0", "255.255.255.255", "0.0.0.0", "", "255.255.255", "x"})};
}

void run_clash(const Words &words, Answer &answer)
{
    answer.number(wan_lan_check(words[0].c_str(), words[1].c_str()));
}

// None that a real network would let wait for an answer in vain.
Words ping_words(Random &random)
{
    const std::string address = random.pick(
        {"10.91.0.1", "10.91.0", "", "x", "1.2.3.4.5", "10.91.0.256", " 10.91.0.1", "10.91.0.1 ", "0x0a5b0001", "::1"});
    return {address, random.pick({"", "wan1", "absent9"})};
}

void run_ping(const Words &words, Answer &answer)
{
    char address[WAN_ADDRESS_SIZE];
    const bool is_neighbour = tpi_wan_get_ip("wan1", address, 1) == 0 && strcmp(address, "10.91.0.2") == 0;
    if (words[0] == "10.91.0.1" && (!is_neighbour || __GetPortLink(1) == 0))
        return answer.word("nobody is there");
    answer.number(simple_ping(words[0].c_str()));
    answer.number(ping_by_interface(words[0].c_str(), 1, words[1].empty() ? nullptr : words[1].c_str()));
}

Words band_words(Random &random)
{
    const std::string band = random.pick({"24", "24", "0", "-1", "2"});
    return {band, std::to_string(random.one_in(4) ? random.below(6) : TPI_WIFI_KIND_CLIENT)};
}

void run_radio_state(const Words &words, Answer &answer)
{
    char ifname[WIFI_IFNAME_SIZE] = "as it was";
    if (!has_radio)
        return answer.word("no radio");
    answer.number(tpi_wifi_get_ifname(number_of(words[0]), number_of(words[1]), ifname));
    answer.text(ifname);
    for (const char *each : {"wlan0", "absent9", ""}) {
        answer.number(tpi_wifi_wisp_phy_link_check(each));
        answer.number(tpi_wifi_relay_phy_check(each));
        answer.number(tpi_wifi_wisp_connect_check(each, TPI_WAN_DHCP));
    }
}

} // namespace

const Family network = {
    .name = "network",
    .steps = {{"cable", "", 3, cable_words, run_cable},
              {"address", "", 3, address_words, run_address},
              {"lan", "", 1, no_words, run_lan},
              {"radio", "", 2, radio_words, run_radio},
              {"user", "tpi_wisp_get_webpage_status", 2, cable_words, run_user},
              {"ip", "getIfIp tpi_wan_get_ip", 8, ifname_words, run_ip},
              {"wan", "getWanIfName get_eth_name getLanIfName wanid_to_sw_port __GetPortLink", 8, wan_words, run_wan},
              {"clash", "wan_lan_check", 4, clash_words, run_clash},
              {"ping", "simple_ping ping_by_interface", 4, ping_words, run_ping},
              {"band",
               "tpi_wifi_get_ifname tpi_wifi_wisp_phy_link_check tpi_wifi_relay_phy_check tpi_wifi_wisp_connect_check",
               4, band_words, run_radio_state}},
    .longest = 60,
    .in_own_process = false,
    .begin = begin_network,
    .end = end_world};

} // namespace pair
