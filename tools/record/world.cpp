#include "tools/record/world.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <set>
#include <sstream>
#include <unistd.h>

#include <fmt/format.h>

#include "platform/config_keys.h"
#include "platform/config_store.h"
#include "platform/linux/counted_hosts.h"
#include "platform/network.h"
#include "platform/statistics.h"
#include "platform/system.h"
#include "platform/wifi.h"
#include "tools/record/zone.h"

users_info *ip_info; // the contract's place for records; nobody here fills it

namespace record
{

namespace
{

constexpr int WANS_AT_MOST = 2;
constexpr size_t FILE_AT_MOST = 4096;

std::vector<std::vector<std::string>> columns_of(std::string_view table)
{
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines{std::string(table)};
    std::string line;
    std::getline(lines, line); // the header
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        rows.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
    }
    return rows;
}

bool is_number(const std::string &text)
{
    return !text.empty() && text.size() < 20 && text.find_first_not_of("0123456789") == std::string::npos;
}

std::string text_or_none(const char *text)
{
    return text == nullptr ? "" : text;
}

// ---- interfaces ----

void tell_address(scribe &out, const std::string &ifname)
{
    char address[IF_ADDRESS_SIZE];
    if (!ifname.empty())
        out.tell_state(kind::address, {ifname, getIfIp(ifname.c_str(), address) == 0 ? address : ""}, 1);
}

void tell_counters(scribe &out, const std::string &ifname)
{
    const std::string folder = "/sys/class/net/" + ifname + "/statistics/";
    std::string received;
    std::string sent;
    if (ifname.empty() || !read_whole(folder + "rx_bytes", received) || !read_whole(folder + "tx_bytes", sent))
        return;
    const row bytes = {ifname, received.substr(0, received.find('\n')), sent.substr(0, sent.find('\n'))};
    if (is_number(bytes[1]) && is_number(bytes[2]))
        out.tell_state(kind::counters, bytes, 1);
}

int number_of_wans()
{
    char text[16];
    GetValue(KEY_WANS_FLAG, text);
    const int number = std::atoi(text);
    return number < 1 ? 1 : number > WANS_AT_MOST ? WANS_AT_MOST : number;
}

void tell_counters(scribe &out)
{
    const std::string lan = getLanIfName();
    for (const std::string &ifname : std::set<std::string>{lan, "br0", "br1", text_or_none(get_eth_name(WAN_1))})
        tell_counters(out, ifname);
}

void look_at_radios(scribe &out)
{
    for (const int band : {24, 5}) {
        char ifname[WIFI_IFNAME_SIZE];
        tpi_wifi_get_ifname(band, TPI_WIFI_KIND_CLIENT, ifname);
        out.tell_state(kind::radio_name, {std::to_string(band), ifname}, 1);
        if (ifname[0] == '\0')
            continue;
        const int connection = tpi_wifi_wisp_connect_check(ifname, getWanConnType(1));
        out.tell_state(kind::radio,
                       {ifname, std::to_string(tpi_wifi_wisp_phy_link_check(ifname)),
                        std::to_string(tpi_wifi_relay_phy_check(ifname))},
                       1);
        out.tell_state(kind::radio_connection, {ifname, std::to_string(connection)}, 1);
        tell_address(out, ifname);
    }
    out.tell_state(kind::radio_page, {std::to_string(tpi_wisp_get_webpage_status())}, 0);
}

// ---- hosts ----

std::string name_of_host(uint64_t id)
{
    const auto key = static_cast<uint32_t>(id);
    char text[INET_ADDRSTRLEN];
    if (id >> 32U == AF_INET && inet_ntop(AF_INET, &key, text, sizeof text) != nullptr)
        return text;
    return fmt::format("ipv6-of-{}", key); // all of a bridge's
}

// Nobody has counted before the daemon's first sample, which makes what counts.
void look_at_hosts(scribe &out)
{
    if (!read_counted_hosts()) {
        if (errno != ENOENT)
            out.lacks(fmt::format("the bytes of hosts cannot be read: {}", std::strerror(errno)));
        return;
    }
    for (size_t i = 0; i < counted_host_num; i++) {
        const counted_host &each = counted_hosts[i];
        out.tell_state(
            kind::host,
            {name_of_host(each.id), std::to_string(each.bytes.up_bytes), std::to_string(each.bytes.down_bytes)}, 1);
    }
}

} // namespace

// ---- the kernel's tables ----

// By hand, since a process that has ended meanwhile makes its files fail in the middle.
bool read_whole(const std::string &path, std::string &text)
{
    text.clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char piece[4096];
    ssize_t got = 0;
    while ((got = read(fd, piece, sizeof piece)) > 0)
        text.append(piece, static_cast<size_t>(got));
    close(fd);
    return got == 0;
}

std::vector<row> neighbours_in(std::string_view table, masks &hides)
{
    std::vector<row> found;
    for (const auto &words : columns_of(table))
        if (words.size() == 6)
            found.push_back({words[0], words[2], hides.device(words[3]), words[5]});
    return found;
}

std::vector<row> multicast_in(std::string_view table)
{
    std::vector<row> found;
    for (const auto &words : columns_of(table))
        if (words.size() > 4 && (words[1] == "br0" || words[1] == "br1") && is_number(words[4]))
            found.push_back({words[1], words[4]});
    return found;
}

// A row that is gone takes the others with it in a trace, and they are told again.
void world::look_at_neighbours(scribe &out)
{
    std::string table;
    if (!read_whole("/proc/net/arp", table))
        return out.lacks("the neighbours cannot be read: /proc/net/arp");
    const std::vector<row> now = neighbours_in(table, hides_);
    if (has_neighbours_ && now == neighbours_)
        return;
    out.tell(kind::no_neighbours, {});
    for (const row &each : now)
        out.tell(kind::neighbour, each);
    neighbours_ = now;
    has_neighbours_ = true;
}

void world::look_at_lines(scribe &out)
{
    const std::string lan = getLanIfName();
    std::set<std::string> addressed = {lan};
    out.tell_state(kind::lan, {lan}, 0);
    out.tell_state(kind::eth, {std::to_string(WAN_1), text_or_none(get_eth_name(WAN_1))}, 1);
    for (int wan = 1; wan <= number_of_wans(); wan++) {
        const std::string name = text_or_none(getWanIfName(wan, get_sys_mode(), getWanConnType(wan)));
        const bool has_link = __GetPortLink(wanid_to_sw_port(wan)) != 0;
        out.tell_state(kind::wan, {std::to_string(wan), name}, 1);
        out.tell_state(kind::link, {std::to_string(wan), has_link ? "up" : "down"}, 1);
        addressed.insert(name);
    }
    for (const std::string &ifname : addressed)
        tell_address(out, ifname);
}

// ---- files ----

// `name`: as the daemon calls it. `only`: the beginning of the lines that it reads.
void world::look_at_file(scribe &out, const char *path, const char *name, std::string_view only)
{
    std::string text;
    const bool is_there = read_whole(path, text);
    std::istringstream lines(text.substr(0, FILE_AT_MOST));
    std::string told;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(only))
            told += line + '\n';
    told = hides_.text(told.substr(0, told.find('\0')));
    const kind what = is_there ? kind::file : kind::no_file;
    out.forget_state(is_there ? kind::no_file : kind::file, name);
    out.tell_state(what, is_there ? row{name, told} : row{name}, 1);
}

void world::look(scribe &out)
{
    out.tell_state(kind::zone, {current_zone()}, 0);
    look_at_lines(out);
    tell_counters(out);
    look_at_radios(out);
    look_at_neighbours(out);
    look_at_hosts(out);
    std::string table;
    if (read_whole("/proc/net/ip_mr_vif", table))
        for (const row &each : multicast_in(table))
            out.tell_state(kind::multicast, each, 1);
    look_at_file(out, "/etc/lan.ini", "/etc/lan.ini", "gateway");
    look_at_file(out, "/etc/dhcpc/noresp", "etc/dhcpc/noresp", "");
    look_at_file(out, "/etc/httpd.pid", "/etc/httpd.pid", "");
}

} // namespace record
