#include "platform/sim/network.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "platform/network.h"
#include "platform/sim/virtual_router.h"

namespace sim
{
namespace
{

constexpr std::string_view NEIGHBOURS_HEADER =
    "IP address       HW type     Flags       HW address            Mask     Device\n";
constexpr std::string_view MULTICAST_HEADER =
    "Interface      BytesIn  PktsIn  BytesOut PktsOut Flags Local    Remote\n";

} // namespace

// ---- counters and neighbours ----

void Network::set_counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes)
{
    const std::string folder = "/sys/class/net/" + ifname + "/statistics/";
    counted_.insert(ifname);
    router().files.set(folder + "rx_bytes", std::to_string(rx_bytes) + "\n");
    router().files.set(folder + "tx_bytes", std::to_string(tx_bytes) + "\n");
}

void Network::set_neighbour(const std::string &ip, const std::string &flags, const std::string &mac,
                            const std::string &ifname)
{
    const Neighbour neighbour = {.ip = ip, .flags = flags, .mac = mac, .ifname = ifname};
    const auto same = std::ranges::find_if(
        neighbours_, [&](const Neighbour &each) { return each.ip == ip && each.ifname == ifname; });
    if (same == neighbours_.end())
        neighbours_.push_back(neighbour);
    else
        *same = neighbour;
    write_neighbours();
}

void Network::clear_neighbours()
{
    neighbours_.clear();
    write_neighbours();
}

void Network::write_neighbours()
{
    std::string text(NEIGHBOURS_HEADER);
    for (const Neighbour &each : neighbours_) {
        char line[256];
        snprintf(line, sizeof line, "%-16s 0x1         %-12s%s     *        %s\n", each.ip.c_str(), each.flags.c_str(),
                 each.mac.c_str(), each.ifname.c_str());
        text += line;
    }
    router().files.set("/proc/net/arp", text);
}

void Network::set_multicast(const std::string &ifname, uint64_t bytes_out)
{
    multicast_[ifname] = bytes_out;
    write_multicast();
}

void Network::write_multicast()
{
    std::string text(MULTICAST_HEADER);
    int number = 0;
    for (const auto &[ifname, bytes_out] : multicast_) {
        char line[256];
        snprintf(line, sizeof line, "%2d %-10s %8d %7d  %8llu %7d %05X %08X %08X\n", number++, ifname.c_str(), 0, 0,
                 static_cast<unsigned long long>(bytes_out), 0, 0, 0, 0);
        text += line;
    }
    router().files.set("/proc/net/ip_mr_vif", text);
}

void Network::set_host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes)
{
    const auto found = std::ranges::find(hosts_, ip, &Host::ip);
    Host &host = found != hosts_.end() ? *found : hosts_.emplace_back();
    host = {.ip = ip, .up_bytes = up_bytes, .down_bytes = down_bytes};
}

// ---- interfaces ----

const char *Network::kept(const std::string &text) const
{
    return text.empty() ? nullptr : kept_.insert(text).first->c_str();
}

// A thread's next call overwrites the text of its last, so that nobody relies on more than the contract promises.
const char *Network::until_next_call(Texts &texts, const std::string &text) const
{
    if (text.empty())
        return nullptr;
    auto &place = texts[router().current_thread()];
    place.fill('\0');
    text.copy(place.data(), place.size() - 1);
    return place.data();
}

void Network::set_address(const std::string &ifname, const std::string &ip)
{
    if (ip.empty())
        addresses_.erase(ifname);
    else
        addresses_.at_key(ifname) = ip;
}

const std::string *Network::address(std::string_view ifname) const
{
    return addresses_.value_of(ifname);
}

void Network::set_link(int port, bool up)
{
    links_[port] = up;
}

bool Network::link(int port) const
{
    const auto found = links_.find(port);
    return found != links_.end() && found->second;
}

void Network::set_wan(int wan_id, const std::string &ifname)
{
    wans_[wan_id] = ifname;
}

void Network::set_wan_hook(WanHook hook)
{
    wan_hook_ = std::move(hook);
}

const char *Network::wan(int wan_id, int sys_mode, int conn_type)
{
    if (wan_hook_)
        set_wan(wan_id, wan_hook_(wan_id, sys_mode, conn_type));
    const auto found = wans_.find(wan_id);
    if (found != wans_.end())
        return until_next_call(wan_texts_, found->second);
    if (wan_id < 1)
        return nullptr;
    const bool is_wired = conn_type == WAN_DHCP || conn_type == WAN_STATIC;
    return until_next_call(wan_texts_, is_wired ? "wan" + std::to_string(wan_id) : "ppp" + std::to_string(wan_id - 1));
}

void Network::set_eth_name(int id, const std::string &name)
{
    eth_names_[id] = name;
}

const char *Network::eth_name(int id) const
{
    const auto found = eth_names_.find(id);
    return found == eth_names_.end() ? nullptr : until_next_call(eth_texts_, found->second);
}

// ---- names ----

// Name servers do not tell large letters from small ones.
static std::string in_small_letters(std::string name)
{
    std::ranges::transform(name, name.begin(), [](unsigned char each) { return static_cast<char>(tolower(each)); });
    return name;
}

void Network::set_name(const std::string &host_name, const std::string &ip)
{
    names_[in_small_letters(host_name)] = ip;
}

void Network::set_dns(bool up)
{
    dns_up_ = up;
}

void Network::set_name_server(const std::string &ip, bool up)
{
    name_servers_[ip] = up;
}

void Network::set_internet(bool up)
{
    internet_ = up;
}

// Only the first name server of the file is asked.
bool Network::name_server_answers() const
{
    std::istringstream lines(router().files.text_of("/etc/resolv.conf"));
    std::string word;
    std::string server;
    for (std::string line; server.empty() && std::getline(lines, line);) {
        std::istringstream words(line);
        words >> word;
        if (word == "nameserver")
            words >> server;
    }
    const auto found = name_servers_.find(server);
    return dns_up_ && !server.empty() && (found == name_servers_.end() || found->second);
}

std::string Network::lookup(const std::string &host_name)
{
    if (!name_server_answers())
        return "";
    const auto found = names_.find(host_name);
    if (found != names_.end())
        return found->second;
    if (!internet_)
        return "";
    std::string ip = "198.51.100." + std::to_string(names_.size() + 1);
    names_[host_name] = ip;
    return ip;
}

void Network::wait_for_answers() const
{
    if (delay_ && !router().runs_main_thread())
        router().wait(delay_());
}

// Digits and dots alone are an address, or nothing, and need no name server.
static bool is_numeric(std::string_view text)
{
    return !text.empty() && text[0] != '.' && text.back() != '.' &&
           text.find_first_not_of("0123456789.") == std::string_view::npos;
}

// Whether libc asks for a name at all: its parts go into a question with their lengths.
static bool is_askable(std::string_view name)
{
    constexpr size_t LONGEST_NAME = 253;
    constexpr size_t LONGEST_PART = 63;
    if (name == ".")
        return true;
    if (name.empty() || name.size() > LONGEST_NAME || name[0] == '-')
        return false;
    if (!std::ranges::all_of(name,
                             [](unsigned char each) { return isalnum(each) != 0 || strchr("-_.", each) != nullptr; }))
        return false;
    for (size_t begin = 0; begin <= name.size();) {
        const size_t end = std::min(name.find('.', begin), name.size());
        if (end == begin || end - begin > LONGEST_PART)
            return false;
        begin = end + 1;
    }
    return true;
}

// 0, or an error as in h_errno.
int Network::find_address(const char *host_name)
{
    if (is_numeric(host_name))
        return inet_aton(host_name, reinterpret_cast<in_addr *>(&answer_.address)) == 1 ? 0 : HOST_NOT_FOUND;
    if (answer_.name.size() > 1 && answer_.name.ends_with('.'))
        answer_.name.pop_back();
    if (!is_askable(answer_.name))
        return NO_RECOVERY;
    const std::string ip = lookup(in_small_letters(answer_.name));
    if (look_at_lookup_)
        look_at_lookup_(host_name, ip);
    if (inet_pton(AF_INET, ip.c_str(), &answer_.address) == 1)
        return 0;
    return name_server_answers() ? HOST_NOT_FOUND : TRY_AGAIN;
}

struct hostent *Network::resolve(const char *host_name)
{
    wait_for_answers();
    answer_.name = host_name;
    if (const int error = find_address(host_name); error != 0) {
        h_errno = error;
        return nullptr;
    }
    answer_.addresses = {reinterpret_cast<char *>(&answer_.address), nullptr};
    answer_.aliases = {nullptr};
    answer_.entry.h_name = answer_.name.data();
    answer_.entry.h_aliases = answer_.aliases.data();
    answer_.entry.h_addrtype = AF_INET;
    answer_.entry.h_length = sizeof answer_.address;
    answer_.entry.h_addr_list = answer_.addresses.data();
    return &answer_.entry;
}

// ---- pings ----

void Network::set_reachable(const std::string &ip, const std::string &ifname, bool answers)
{
    reachable_[{ip, ifname}] = answers;
}

void Network::set_ping_durations(int answered_ms, int failed_ms)
{
    ping_answered_ = answered_ms * MILLISECOND;
    ping_failed_ = failed_ms * MILLISECOND;
}

bool Network::answers(const std::string &ip, const std::string &ifname) const
{
    const std::array<std::pair<std::string, std::string>, 4> told = {
        {{ip, ifname}, {ip, ""}, {"*", ifname}, {"*", ""}}};
    for (const auto &each : told)
        if (const auto found = reachable_.find(each); found != reachable_.end())
            return found->second;
    return internet_;
}

bool Network::ping(const char *ip, int count, const char *ifname)
{
    in_addr_t address = 0;
    if (inet_pton(AF_INET, ip, &address) != 1)
        return false;
    wait_for_answers();
    const bool answered = answers(ip, ifname == nullptr ? "" : ifname);
    if (look_at_ping_)
        look_at_ping_(ip, answered ? 1 : count);
    router().wait(answered ? ping_answered_ : ping_failed_ * count);
    return answered;
}

void Network::machine_restarted()
{
    wan_texts_.clear(); // the threads that they were for are gone
    eth_texts_.clear();
    for (Host &host : hosts_)
        host.up_bytes = host.down_bytes = 0;
    for (auto &[ifname, bytes_out] : multicast_)
        bytes_out = 0;
    write_multicast();
    for (const std::string &ifname : counted_)
        set_counters(ifname, 0, 0);
}

} // namespace sim
