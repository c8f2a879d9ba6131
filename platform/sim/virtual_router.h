// The virtual router: a model of the machine under the daemon, for tests, benchmarks and simulation.
//
// The daemon's own objects run in it, with their libc calls led to the model. Time is virtual, and everything that the
// daemon does to its surroundings is one line of the journal. The same calls give the same journal on every machine.
//
// One router a process: router(). It comes up as a factory router (README.md lists what that holds) whose daemon has
// not been started; set the world up, call boot() and let time pass. A test may instead call the daemon's functions
// directly: a wait inside them then just moves the virtual clock.
//
// Nothing here is thread-safe, and nothing needs to be: the daemon's threads run as fibres, one at a time.
#ifndef PLATFORM_SIM_VIRTUAL_ROUTER_H
#define PLATFORM_SIM_VIRTUAL_ROUTER_H

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/commands.h"

namespace sim
{

class VirtualRouter
{
public:
    // ---- configuration store ----

    // Sets a key as another process would and commits it, so that it outlives a restart of the machine.
    void set(std::string_view key, std::string_view value);
    // The same in the running store only.
    void set_uncommitted(std::string_view key, std::string_view value);
    void unset(std::string_view key);
    std::string get(std::string_view key) const; // "" when missing
    bool has(std::string_view key) const;
    std::string committed(std::string_view key) const; // what a restart would bring back
    // The keys that the daemon has read or written, sorted; those of them that are not in platform/config_keys.def.
    std::vector<std::string> used_keys() const;
    std::vector<std::string> unknown_keys() const;
    void product_key(std::string_view key); // one that a product's own tables name is not unknown

    // ---- clocks ----

    // A POSIX TZ text such as "CET-1CEST,M3.5.0,M10.5.0/3". The factory's is "UTC0". The daemon's libc reads it when it
    // is first asked for local time, and again at the end of each of the main thread's sleeps.
    void timezone(const std::string &posix_tz);
    // Sets the wall clock to a local time "YYYY-MM-DD HH:MM:SS"; the up-time goes on. The factory's is
    // 2026-01-01 12:00:00.
    void clock(const std::string &local);
    void clock_at(time_t seconds);    // the same by seconds since 1970
    void step_clock(int64_t seconds); // steps the wall clock, forwards or back
    time_t wall() const;
    std::string local_time() const; // the wall clock as "YYYY-MM-DD HH:MM:SS" in the router's zone
    void uptime(int seconds);
    int uptime() const;

    // ---- files (also /proc, /sys and /etc; a relative path is a name of its own) ----

    void file(const std::string &path, std::string_view text);
    std::string file(const std::string &path) const; // "" when there is none
    bool file_exists(const std::string &path) const;
    void link_file(const std::string &path, const std::string &target); // a symbolic link
    void permissions(const std::string &path, unsigned mode, unsigned user, unsigned group);
    std::string permissions(const std::string &path) const; // "640 0:4"; "" when there is no such file
    void remove_file(const std::string &path);
    void unreadable(const std::string &path, int error = 13); // opening fails with this errno (EACCES)
    // Declares a path absent on purpose. Opening a path that is neither there nor declared fails like any absent file
    // and is remembered.
    void missing(const std::string &path);
    const std::vector<std::string> &unknown_paths() const;
    void directory(const std::string &path); // an empty one; a path with files under it is a directory by itself
    std::vector<std::string> open_descriptors() const; // paths of what the daemon has open now

    // /sys/class/net/IFNAME/statistics/{rx,tx}_bytes
    void counters(const std::string &ifname, uint64_t rx_bytes, uint64_t tx_bytes);
    // Adds an entry to /proc/net/arp, or replaces the one of this ip and interface.
    void arp(const std::string &ip, const std::string &flags, const std::string &mac, const std::string &ifname);
    void clear_arp();
    // Adds an entry to /proc/net/ip_mr_vif, or replaces the interface's.
    void multicast(const std::string &ifname, uint64_t bytes_out);

    // ---- network ----

    // The forwarded totals of a LAN host (get_statistic_info).
    void host(const std::string &ip, uint64_t up_bytes, uint64_t down_bytes);
    void address(const std::string &ifname, const std::string &ip); // "": none
    void link(int port, bool up);                                   // switch-port link; down unless set
    void lan(const std::string &ifname);                            // getLanIfName
    // getWanIfName; "": none. One that was never told has a name all the same: "wan2", or "ppp1" when it is dialled.
    void wan(int wan_id, const std::string &ifname);
    // Asked instead of what wan() told, where the name hangs on the machine's mode and the connection type; "": none.
    void on_wan_ifname(std::function<std::string(int wan_id, int sys_mode, int conn_type)> hook);
    void eth_name(int id, const std::string &name);                 // get_eth_name; "": none
    void name(const std::string &host_name, const std::string &ip); // gethostbyname; "": unknown
    void dns(bool up);                                              // all name servers
    void name_server(const std::string &ip, bool up);               // one of them; the first of resolv.conf is asked
    // Whether an address answers pings out of an interface. "*" stands for any address, "" for any interface; the most
    // specific one told counts (address and interface, address, interface, neither). Not reachable unless told.
    void reachable(const std::string &ip, const std::string &ifname, bool answers);
    void ping_takes(int answered_ms, int failed_ms); // an echo request; 0 and 1000 unless set
    // Every name resolves to an address of its own and every address answers, or the reverse of both.
    void internet(bool up);

    // ---- radios ----

    void radio(const std::string &ifname, int phy_state, int relay_state);
    // The state of the WAN connection over a radio; unless told: 3 with phy state 3 and an address, 2 with phy state 3,
    // else 1.
    void radio_connection(const std::string &ifname, int state);
    int access_type_asked() const;                        // by the last question after such a state, -1 before
    void radio_name(int band, const std::string &ifname); // client interfaces; the factory's are wlc0 (24), wlc1 (5)
    void wisp_page(int status);                           // tpi_wisp_get_webpage_status; 1 unless set

    // ---- processes ----

    // `argv` is the command line that ps shows, the name unless given. Also makes /proc/PID/stat.
    void process(const std::string &name, int pid, const std::string &argv = "");
    void end_process(const std::string &name);
    bool runs(const std::string &name) const;
    void cpus(int number); // per-CPU lines in /proc/stat, which is written anew; 1 unless set
    void cpu_share(const std::string &name, double percent_of_one_cpu);

    // ---- commands ----

    // Whether a command that starts this program leaves it running (false unless set).
    void started_by_command(const std::string &program, bool starts);
    // What a program run through popen prints.
    void command_output(const std::string &command, std::string_view output);
    // Its exit status, or 128 + the signal that ends it, whatever it does.
    void command_status(const std::string &command, int exit_status);
    // Asked before the model for every command; gives the exit status, or NOT_HANDLED.
    void on_command(std::function<int(const std::string &command)> hook);
    // Seconds that every command takes; 0 unless set.
    void commands_take(int seconds);
    std::vector<std::string> chain(const std::string &name) const; // rules of an iptables chain, as "-o eth1 -j DROP"
    bool has_chain(const std::string &name) const;
    std::vector<std::string> rules() const; // "PRIORITY SELECTOR", sorted by priority
    // "MODULE?TEXT" of all messages to netctrl, from send_msg_to_netctrl and "cfm post netctrl" alike, in order.
    const std::vector<std::string> &messages_to_netctrl() const;

    // ---- faults ----

    // The `nth` call (from 1, counted from now) of a wrapped or contract call fails with `error` in errno, once or
    // from then on. An unknown name throws std::invalid_argument; calls() has them
    // all.
    void fail(const std::string &call, unsigned nth = 1, int error = 5, bool forever = false);
    // At each such call `fails` is asked whether it fails; the first from now on is number 1.
    void fail_when(const std::string &call, std::function<bool(uint64_t nth)> fails, int error = 5);
    void clear_faults();
    uint64_t calls_made(const std::string &call) const; // since the process began
    static const std::vector<std::string> &calls();     // every name that fail() takes

    // ---- running ----

    // Starts the daemon and runs it into its first sleep, that is, through its first tick. False: main returned.
    bool boot();
    bool running() const;    // between boot and the end of main
    int exit_status() const; // of the last main that ended, -1 before
    // `n` passes of the main loop, each into the sleep after it.
    void tick(unsigned n = 1);
    void run(double seconds);
    // Until the wall clock shows this local time, "YYYY-MM-DD HH:MM:SS".
    void run_until(const std::string &local);
    // Posts a message to the daemon. It is handed over in its current or next sleep: at once when it is asleep. False:
    // nobody holds the name.
    bool post(std::string_view text, const std::string &sender = "test");
    // A change of the world at a moment from now.
    void at(double seconds_from_now, std::function<void()> change);
    // What tpi_systool_reboot does. False (as at first): the machine restarts: daemon state fresh, up-time 0, committed
    // store back, LAN counters 0. True: it returns. Called outside the daemon's fibres it always returns.
    void reboot_returns(bool returns);
    void restart_takes(int seconds); // wall-clock time of a restart; 20 unless set
    void restart();                  // a power cut: restarts the machine now, without a journal line of the daemon
    uint64_t restarts() const;
    size_t threads() const; // of the daemon, its main included
    uint64_t ticks() const; // passes of the main loop so far

    // ---- looking ----

    // One line an act, without time:
    //   set KEY=VALUE   set failed KEY   commit   commit failed   command TEXT   exec A B >REDIRECT
    //   netctrl MODULE?TEXT (send_msg_to_netctrl)   netctrl failed MODULE?TEXT   leds N   reboot
    //   wan_lan_check ADDRESS MASK   write PATH   unlink PATH   rename FROM TO
    const std::vector<std::string> &journal() const;
    std::vector<std::string> timed_journal() const; // "2026-03-01 02:00:00 +7200 reboot": local time, up-time, act
    std::vector<std::string> acts(std::string_view first_word) const;
    void clear_journal();
    void mute(const std::string &first_word); // keeps such acts out of the journal (long runs)

    // What the daemon printed, one entry a complete line, without its end.
    const std::vector<std::string> &log() const;
    std::vector<std::string> bodies() const; // the lines without colours and function/line prefix
    static std::string body(const std::string &line);
    void clear_log();
    void keep_log(bool keep); // false: count lines only (long runs)
    void show_log(bool show); // on the terminal too; so it is at first when SIM_LOG is in the environment
    uint64_t lines_logged() const;
};

// The process's one router.
VirtualRouter &router();

// Puts the whole router back to the factory's, without a daemon: for programs that run many one after the other. Not
// from inside the daemon.
void make_router_anew();

} // namespace sim

#endif
