// The network's calls of the contract, and what tests set of the network.
#include "platform/network.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"
#include "platform/statistics.h"

using sim::Call;
using sim::model;

static int copy_address(const std::string *from, char *to, size_t size)
{
    if (from == nullptr)
        return -1;
    snprintf(to, size, "%s", from->c_str());
    return 0;
}

extern "C" {

int getIfIp(const char *ifname, char *address)
{
    return model().faults.hits(Call::getIfIp) ? -1
                                              : copy_address(model().network.address(ifname), address, IF_ADDRESS_SIZE);
}

const char *getLanIfName(void)
{
    return model().network.lan();
}

const char *getWanIfName(int wan_id, int sys_mode, int conn_type)
{
    return model().faults.hits(Call::getWanIfName) ? nullptr : model().network.wan(wan_id, sys_mode, conn_type);
}

int getWanConnType(int wan_id)
{
    const std::string *const type = model().store.value_of("wan" + std::to_string(wan_id) + ".connecttype");
    const long long number = type == nullptr ? 0 : strtoll(type->c_str(), nullptr, 10);
    return number >= WAN_DHCP && number < WAN_CONN_TYPE_MAX ? static_cast<int>(number) : WAN_DHCP;
}

const char *get_eth_name(int id)
{
    return model().faults.hits(Call::get_eth_name) ? nullptr : model().network.eth_name(id);
}

int tpi_wan_get_ip(const char *ifname, char *address, int /*wan_id*/)
{
    return model().faults.hits(Call::tpi_wan_get_ip)
               ? -1
               : copy_address(model().network.address(ifname), address, WAN_ADDRESS_SIZE);
}

int wan_lan_check(const char *address, const char *netmask)
{
    model().journal.act(std::string("wan_lan_check ") + address + " " + netmask);
    const std::string *const lan = model().network.address(getLanIfName());
    const in_addr_t mask = inet_addr(netmask);
    return !model().faults.hits(Call::wan_lan_check) && lan != nullptr &&
           (inet_addr(address) & mask) == (inet_addr(lan->c_str()) & mask);
}

int wanid_to_sw_port(int wan_id)
{
    return model().faults.hits(Call::wanid_to_sw_port) ? -1 : model().network.wan_port(wan_id);
}

int __GetPortLink(int port) // NOLINT(bugprone-reserved-identifier)
{
    return model().network.link(port);
}

int simple_ping(const char *address)
{
    return !model().faults.hits(Call::simple_ping) && model().network.ping(address, 1, nullptr) ? 0 : -1;
}

int ping_by_interface(const char *address, int count, const char *ifname)
{
    return !model().faults.hits(Call::ping_by_interface) && model().network.ping(address, count, ifname) ? 0 : -1;
}

int get_statistic_info(uint64_t *first, uint64_t *second, int *count)
{
    if (model().faults.hits(Call::get_statistic_info))
        return -1;
    const auto &hosts = model().network.hosts();
    *first = *second = 0;
    *count = static_cast<int>(hosts.size());
    ip_info = nullptr;
    if (hosts.empty())
        return 0;
    ip_info = static_cast<users_info *>(malloc(hosts.size() * sizeof *ip_info));
    if (ip_info == nullptr)
        throw std::bad_alloc();
    for (size_t i = 0; i < hosts.size(); i++) {
        ip_info[i] = {.up_bytes = hosts[i].up_bytes, .down_bytes = hosts[i].down_bytes};
        *first += hosts[i].up_bytes;
        *second += hosts[i].down_bytes;
    }
    return 0;
}

struct hostent *sim_gethostbyname(const char *host_name)
{
    return model().faults.hits(Call::gethostbyname) ? nullptr : model().network.resolve(host_name);
}

} // extern "C"

// ---- what tests set ----

namespace sim
{

void VirtualRouter::counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes)
{
    model().network.set_counters(ifname, rx_bytes, tx_bytes);
}

void VirtualRouter::arp(const std::string &ip, const std::string &flags, const std::string &mac,
                        const std::string &ifname)
{
    model().network.set_neighbour(ip, flags, mac, ifname);
}

void VirtualRouter::clear_arp()
{
    model().network.clear_neighbours();
}

void VirtualRouter::multicast(const std::string &ifname, uint64_t bytes_out)
{
    model().network.set_multicast(ifname, bytes_out);
}

void VirtualRouter::host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes)
{
    model().network.set_host(ip, up_bytes, down_bytes);
}

void VirtualRouter::remove_host(const std::string &ip)
{
    model().network.remove_host(ip);
}

void VirtualRouter::address(const std::string &ifname, const std::string &ip)
{
    model().network.set_address(ifname, ip);
}

void VirtualRouter::link(int port, bool up)
{
    model().network.set_link(port, up);
}

void VirtualRouter::lan(const std::string &ifname)
{
    model().network.set_lan(ifname);
}

void VirtualRouter::wan(int wan_id, const std::string &ifname)
{
    model().network.set_wan(wan_id, ifname);
}

void VirtualRouter::on_wan_ifname(std::function<std::string(int wan_id, int sys_mode, int conn_type)> hook)
{
    model().network.set_wan_hook(std::move(hook));
}

void VirtualRouter::wan_port(int wan_id, int port)
{
    model().network.set_wan_port(wan_id, port);
}

void VirtualRouter::eth_name(int id, const std::string &name)
{
    model().network.set_eth_name(id, name);
}

void VirtualRouter::name(const std::string &host_name, const std::string &ip)
{
    model().network.set_name(host_name, ip);
}

void VirtualRouter::dns(bool up)
{
    model().network.set_dns(up);
}

void VirtualRouter::name_server(const std::string &ip, bool up)
{
    model().network.set_name_server(ip, up);
}

void VirtualRouter::dns_takes(int answered_ms, int failed_ms)
{
    model().network.set_dns_durations(answered_ms * MILLISECOND, failed_ms * MILLISECOND);
}

void VirtualRouter::reachable(const std::string &ip, const std::string &ifname, bool answers)
{
    model().network.set_reachable(ip, ifname, answers);
}

void VirtualRouter::ping_takes(int answered_ms, int failed_ms)
{
    model().network.set_ping_durations(answered_ms * MILLISECOND, failed_ms * MILLISECOND);
}

void VirtualRouter::internet(bool up)
{
    model().network.set_internet(up);
}

} // namespace sim
