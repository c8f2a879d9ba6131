// Interfaces, neighbours, hosts, names and answers.
#ifndef PLATFORM_SIM_NETWORK_H
#define PLATFORM_SIM_NETWORK_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <netdb.h>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sim/scheduler.h"
#include "platform/sim/text_map.h"

namespace sim
{

class Network
{
public:
    using WanHook = std::function<std::string(int wan_id, int sys_mode, int conn_type)>;
    struct Host {
        std::string ip;
        uint64_t up_bytes;
        uint64_t down_bytes;
    };

    // ---- the world's side ----
    void set_counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes);
    void set_neighbour(const std::string &ip, const std::string &flags, const std::string &mac,
                       const std::string &ifname);
    void clear_neighbours();
    void set_multicast(const std::string &ifname, uint64_t bytes_out);
    void set_host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes);
    void remove_host(std::string_view ip);
    void set_address(const std::string &ifname, const std::string &ip);
    void set_link(int port, bool up);
    void set_lan(const std::string &ifname)
    {
        lan_ = ifname;
    }
    const char *lan() const
    {
        return kept(lan_);
    }
    void set_wan(int wan_id, const std::string &ifname);
    void set_wan_hook(WanHook hook);
    void set_wan_port(int wan_id, int port);
    void set_eth_name(int id, const std::string &name);
    void set_name(const std::string &host_name, const std::string &ip);
    void set_dns(bool up);
    void set_name_server(const std::string &ip, bool up);
    void set_dns_durations(Micros answered, Micros failed);
    void set_reachable(const std::string &ip, const std::string &ifname, bool answers);
    void set_ping_durations(Micros answered, Micros failed);
    void set_internet(bool up);
    void machine_restarted();

    // ---- the daemon's side ----
    const std::string *address(std::string_view ifname) const; // null: none
    const std::vector<Host> &hosts() const
    {
        return hosts_;
    }
    bool link(int port) const;
    const char *wan(int wan_id, int sys_mode, int conn_type); // null: none
    int wan_port(int wan_id) const;
    const char *eth_name(int id) const; // null: none
    struct hostent *resolve(const char *host_name);
    bool ping(const char *ip, int count, const char *ifname);

private:
    struct Neighbour {
        std::string ip;
        std::string flags;
        std::string mac;
        std::string ifname;
    };
    struct Answer {
        in_addr_t address;
        std::array<char *, 2> addresses;
        std::array<char *, 1> aliases;
        std::string name;
        struct hostent entry;
    };
    using Texts = std::map<uint64_t, std::array<char, 64>>; // each thread's
    const char *kept(const std::string &text) const;        // stays valid for ever
    const char *until_next_call(Texts &texts, const std::string &text) const;
    void write_neighbours();
    void write_multicast();
    std::string lookup(const std::string &host_name);
    bool name_server_answers() const;
    bool answers(const std::string &ip, const std::string &ifname) const;

    TextMap<std::string> addresses_;
    std::vector<Neighbour> neighbours_;
    std::map<std::string, uint64_t> multicast_;
    std::vector<Host> hosts_;
    std::set<std::string> counted_;
    std::map<int, bool> links_;
    std::map<int, std::string> wans_;
    Texts wan_texts_;
    std::string lan_ = "br0";
    WanHook wan_hook_;
    std::map<int, int> wan_ports_;
    std::map<int, std::string> eth_names_;
    mutable Texts eth_texts_; // asking is no change
    mutable std::set<std::string> kept_;
    std::map<std::string, std::string> names_;
    std::map<std::string, bool> name_servers_;
    bool dns_up_ = true;
    bool internet_ = false;
    Micros dns_answered_ = 0;
    Micros dns_failed_ = 0;
    std::map<std::pair<std::string, std::string>, bool> reachable_;
    Micros ping_answered_ = 0;
    Micros ping_failed_ = SECOND;
    Answer answer_ = {};
};

} // namespace sim

#endif
