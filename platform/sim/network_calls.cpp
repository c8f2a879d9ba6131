// The network's calls of the contract, and what tests set of the network.
#include "platform/network.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "platform/sim/virtual_router.h"
#include "platform/sim/wrap.h"
#include "platform/statistics.h"

using sim::Call;
using sim::router;

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
    return router().faults.hits(Call::getIfIp)
               ? -1
               : copy_address(router().network.address(ifname), address, IF_ADDRESS_SIZE);
}

const char *getLanIfName(void)
{
    return router().network.lan();
}

const char *getWanIfName(int wan_id, int sys_mode, int conn_type)
{
    return router().faults.hits(Call::getWanIfName) ? nullptr : router().network.wan(wan_id, sys_mode, conn_type);
}

int getWanConnType(int wan_id)
{
    const std::string *const type = router().store.value_of("wan" + std::to_string(wan_id) + ".connecttype");
    const long long number = type == nullptr ? 0 : strtoll(type->c_str(), nullptr, 10);
    return number >= WAN_DHCP && number < WAN_CONN_TYPE_MAX ? static_cast<int>(number) : WAN_DHCP;
}

const char *get_eth_name(int id)
{
    return router().faults.hits(Call::get_eth_name) ? nullptr : router().network.eth_name(id);
}

int tpi_wan_get_ip(const char *ifname, char *address, int /*wan_id*/)
{
    return router().faults.hits(Call::tpi_wan_get_ip)
               ? -1
               : copy_address(router().network.address(ifname), address, WAN_ADDRESS_SIZE);
}

int wan_lan_check(const char *address, const char *netmask)
{
    router().journal.act(std::string("wan_lan_check ") + address + " " + netmask);
    journal_wan_lan_check(address, netmask);
    const std::string *const lan = router().network.address(getLanIfName());
    in_addr_t wan = 0;
    in_addr_t mask = 0;
    in_addr_t own = 0;
    if (router().faults.hits(Call::wan_lan_check) || lan == nullptr || inet_pton(AF_INET, address, &wan) != 1 ||
        inet_pton(AF_INET, netmask, &mask) != 1 || inet_pton(AF_INET, lan->c_str(), &own) != 1)
        return 0;
    mask &= inet_addr("255.255.255.0");
    return (wan & mask) == (own & mask);
}

int wanid_to_sw_port(int wan_id)
{
    return router().faults.hits(Call::wanid_to_sw_port) || wan_id < 1 ? -1 : wan_id;
}

int __GetPortLink(int port) // NOLINT(bugprone-reserved-identifier)
{
    return router().network.link(port);
}

int simple_ping(const char *address)
{
    return !router().faults.hits(Call::simple_ping) && router().network.ping(address, 1, nullptr) ? 0 : -1;
}

int ping_by_interface(const char *address, int count, const char *ifname)
{
    return !router().faults.hits(Call::ping_by_interface) && router().network.ping(address, count, ifname) ? 0 : -1;
}

int get_statistic_info(uint64_t *first, uint64_t *second, int *count)
{
    if (router().faults.hits(Call::get_statistic_info))
        return -1;
    const auto &hosts = router().network.hosts();
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
    return router().faults.hits(Call::gethostbyname) ? nullptr : router().network.resolve(host_name);
}

} // extern "C"
