// Interfaces, neighbours, hosts, names and answers.
//
// There are no packets: each thing that the daemon can ask is a table, and the answer is the row that a test told. The
// tables do not know of each other. An interface without link or address still answers pings, and traffic moves no
// counter: a test that wants a cable pulled says what each of the daemon's questions then gets. IPv4 alone.
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

#include "platform/sim/clock.h"
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

    // ---- for the test ----
    //
    // Names of interfaces and addresses are not checked: addresses are dotted text, and one that is none is found out
    // by whoever reads it, as on a router. The daemon gets the first 63 bytes of a WAN's or Ethernet name, and of an
    // address 63 or 31, as the call has room. A row told again is replaced. Unless it says so, a row outlives a
    // restart.

    // /sys/class/net/IFNAME/statistics/{rx,tx}_bytes. A restart puts all of them to 0.
    void set_counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes);
    // Adds an entry to /proc/net/arp, or replaces the one of this ip and interface. `flags` is text as the kernel
    // prints it ("0x2": complete, "0x0": not), `mac` with colons. An entry goes with all others only.
    void set_neighbour(const std::string &ip, const std::string &flags, const std::string &mac,
                       const std::string &ifname);
    void clear_neighbours();
    // Adds an entry to /proc/net/ip_mr_vif, or replaces the interface's. A restart puts all of them to 0.
    void set_multicast(const std::string &ifname, uint64_t bytes_out);
    // The forwarded totals of a LAN host (get_statistic_info), listed in the order in which they were first told; the
    // list's own totals are their sums. A restart puts all of them to 0, and the hosts stay.
    void set_host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes);
    // An interface's IPv4 address; "": none. The one answer to getIfIp and tpi_wan_get_ip, whatever the WAN, and the
    // LAN's side in wan_lan_check, where its network has 256 addresses.
    void set_address(const std::string &ifname, const std::string &ip);
    // The link of a switch port; down unless set. WAN N is wired to port N.
    void set_link(int port, bool up);
    // getLanIfName.
    void set_lan(const std::string &ifname)
    {
        lan_ = ifname;
    }
    // getWanIfName; "": none. One that was never told has a name all the same: "wan2", or "ppp1" when it is dialled.
    void set_wan(int wan_id, const std::string &ifname);
    // Asked instead of what set_wan told, where the name hangs on the machine's mode and the connection type; "": none.
    // Its last answer counts when the hook is taken back (nullptr).
    void set_wan_hook(WanHook hook);
    // get_eth_name; "", or an id that was never told: none.
    void set_eth_name(int id, const std::string &name);
    // gethostbyname; "": unknown. One address a name. A lookup takes no time, also one that no server answers
    // (TRY_AGAIN; an unknown name is HOST_NOT_FOUND). An address in place of a name is found without a server.
    void set_name(const std::string &host_name, const std::string &ip);
    // All name servers, or one of them; the first of /etc/resolv.conf is asked, as the file is at that moment,
    // and no second one after it. Up unless told; both have to be up.
    void set_dns(bool up);
    void set_name_server(const std::string &ip, bool up);
    // Whether an address answers pings out of an interface. "*" stands for any address, "" for any interface; the most
    // specific one told counts (address and interface, address, interface, neither). Not reachable unless told. A ping
    // by the routing table goes out of "", and so finds only what was told for any interface.
    void set_reachable(const std::string &ip, const std::string &ifname, bool answers);
    // How long an echo request takes, in milliseconds; 0 and 1000 unless set. The thread that pings waits; the others
    // go on.
    void set_ping_durations(int answered_ms, int failed_ms);
    // Every name resolves to an address of its own and every address answers, or the reverse of both. What was told of
    // single names and addresses goes before. A name that was looked up meanwhile keeps its address when the internet
    // goes (set_dns takes that away, too); there are addresses for 255 names, those told included.
    void set_internet(bool up);
    // Asked at every lookup of a name with what was found ("": nothing), and of every address that is pinged with how
    // many echo requests went out: for who counts what a router asks of the internet. They run on the daemon's stack,
    // and may look at everything, but neither call the daemon nor let time pass. A restart keeps them.
    void watch_lookups(std::function<void(const std::string &host_name, const std::string &ip)> look)
    {
        look_at_lookup_ = std::move(look);
    }
    void watch_pings(std::function<void(const std::string &ip, int requests)> look)
    {
        look_at_ping_ = std::move(look);
    }

    // Asked, in any thread but the main loop's, when a name is looked up or an address pinged: how long to wait before
    // that, in microseconds. For who knows how long the looks of another router took. On the daemon's stack, as above.
    void delay_answers(std::function<Micros()> delay)
    {
        delay_ = std::move(delay);
    }

    // ---- for the model: what the daemon is answered ----

    // Null: none. Valid until the address is set.
    const std::string *address(std::string_view ifname) const;
    const std::vector<Host> &hosts() const
    {
        return hosts_;
    }
    bool link(int port) const;
    // Null: no name. What wan() and eth_name() give is valid until the same thread asks again, lan() for ever.
    const char *lan() const
    {
        return kept(lan_);
    }
    const char *wan(int wan_id, int sys_mode, int conn_type);
    const char *eth_name(int id) const;
    // As gethostbyname: null and h_errno, or an entry that is valid until the next call.
    struct hostent *resolve(const char *host_name);
    // Sends `count` requests, and waits for the answer to the first or in vain for all. `ifname` may be null. What is
    // no dotted address is not pinged, and takes no time.
    bool ping(const char *ip, int count, const char *ifname);
    void machine_restarted();

private:
    struct Neighbour {
        std::string ip;
        std::string flags;
        std::string mac;
        std::string ifname;
    };
    // As in libc there is one for all callers, overwritten by the next lookup.
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
    int find_address(const char *host_name);
    bool name_server_answers() const;
    bool answers(const std::string &ip, const std::string &ifname) const;
    void wait_for_answers() const;

    // What was told. The kernel's tables are virtual files, written anew at each change of a row; all other answers are
    // looked up here when the daemon asks. What is not in a map was never told, which is not the same as told "" or
    // false: then set_internet and the defaults count.
    TextMap<std::string> addresses_;
    std::vector<Neighbour> neighbours_;
    std::map<std::string, uint64_t> multicast_;
    std::vector<Host> hosts_;
    std::set<std::string> counted_; // interfaces with counters, for the restart
    std::map<int, bool> links_;
    std::map<int, std::string> wans_;
    Texts wan_texts_;
    std::string lan_ = "br0";
    WanHook wan_hook_;
    std::map<int, std::string> eth_names_;
    mutable Texts eth_texts_; // asking is no change
    mutable std::set<std::string> kept_;
    std::map<std::string, std::string> names_;
    std::map<std::string, bool> name_servers_;
    bool dns_up_ = true;
    bool internet_ = false;
    std::map<std::pair<std::string, std::string>, bool> reachable_;
    Micros ping_answered_ = 0;
    Micros ping_failed_ = SECOND;
    Answer answer_ = {};
    std::function<void(const std::string &, const std::string &)> look_at_lookup_;
    std::function<void(const std::string &, int)> look_at_ping_;
    std::function<Micros()> delay_;
};

} // namespace sim

#endif
