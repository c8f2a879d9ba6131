#include "tools/replay/world.h"

#include <cstdlib>
#include <string>

#include "platform/sim/virtual_router.h"

namespace replay
{

namespace
{

using sim::router;
using words = std::vector<std::string>;

int number(const std::string &word)
{
    return std::atoi(word.c_str());
}

uint64_t bytes(const std::string &word)
{
    return std::strtoull(word.c_str(), nullptr, 10);
}

bool is_up(const std::string &word)
{
    return word == "up";
}

bool is_yes(const std::string &word)
{
    return word == "yes";
}

bool change_store(kind what, const words &w)
{
    sim::Store &store = router().store;
    switch (what) {
    case kind::set:
        store.set_uncommitted(w[0], w[1]);
        return true;
    case kind::save:
        store.set(w[0], w[1]);
        return true;
    case kind::unset:
        store.unset(w[0]);
        return true;
    case kind::commit:
        store.commit();
        return true;
    default:
        return false;
    }
}

bool change_network(kind what, const words &w)
{
    sim::Network &network = router().network;
    switch (what) {
    case kind::no_neighbours:
        network.clear_neighbours();
        return true;
    case kind::neighbour:
        network.set_neighbour(w[0], w[1], w[2], w[3]);
        return true;
    case kind::host:
        network.set_host(w[0], bytes(w[1]), bytes(w[2]));
        return true;
    case kind::counters:
        network.set_counters(w[0], bytes(w[1]), bytes(w[2]));
        return true;
    case kind::multicast:
        network.set_multicast(w[0], bytes(w[1]));
        return true;
    case kind::address:
        network.set_address(w[0], w[1]);
        return true;
    case kind::link:
        network.set_link(number(w[0]), is_up(w[1]));
        return true;
    case kind::lan:
        network.set_lan(w[0]);
        return true;
    case kind::wan:
        network.set_wan(number(w[0]), w[1]);
        return true;
    case kind::eth:
        network.set_eth_name(number(w[0]), w[1]);
        return true;
    default:
        return false;
    }
}

bool change_internet(kind what, const words &w)
{
    sim::Network &network = router().network;
    switch (what) {
    case kind::internet:
        network.set_internet(is_up(w[0]));
        return true;
    case kind::dns:
        network.set_dns(is_up(w[0]));
        return true;
    case kind::name_server:
        network.set_name_server(w[0], is_up(w[1]));
        return true;
    case kind::name:
        network.set_name(w[0], w[1]);
        return true;
    case kind::answers:
        network.set_reachable(w[0].empty() ? "*" : w[0], w[1], is_yes(w[2]));
        return true;
    case kind::answer_time:
        network.set_ping_durations(number(w[0]), number(w[1]));
        return true;
    default:
        return false;
    }
}

bool change_radio(kind what, const words &w)
{
    sim::Radios &radios = router().radios;
    switch (what) {
    case kind::radio:
        radios.set(w[0], number(w[1]), number(w[2]));
        return true;
    case kind::radio_connection:
        radios.set_connection(w[0], number(w[1]));
        return true;
    case kind::radio_name:
        radios.set_name(number(w[0]), w[1]);
        return true;
    case kind::radio_page:
        radios.webpage_status = number(w[0]);
        return true;
    default:
        return false;
    }
}

bool change_process(kind what, const words &w)
{
    sim::Processes &processes = router().processes;
    switch (what) {
    case kind::process:
        processes.start(w[0], number(w[1]), w[2]);
        return true;
    case kind::no_process:
        processes.end(w[0]);
        return true;
    case kind::cpu:
        processes.set_share(w[0], std::strtod(w[1].c_str(), nullptr));
        return true;
    case kind::cpus:
        processes.set_cpus(number(w[0]));
        return true;
    case kind::stays:
        router().commands.set_starts(w[0], is_yes(w[1]));
        return true;
    case kind::command_takes:
        router().commands.set_duration(number(w[0]));
        return true;
    default:
        return false;
    }
}

void change_machine(kind what, const words &w)
{
    sim::VirtualRouter &box = router();
    switch (what) {
    case kind::clock:
        return box.clock.set_exactly(*read_moment(w[0]));
    case kind::zone:
        return box.local_time.set_zone(w[0]);
    case kind::power_cut:
        return box.restart();
    case kind::restart_takes:
        return box.restart_takes(number(w[0]));
    case kind::message:
        box.post(w[1], w[0]);
        return;
    case kind::file:
        return box.files.set(w[0], w[1]);
    case kind::no_file:
        return box.files.set_missing(w[0]);
    default:
        return;
    }
}

} // namespace

void apply(const change &made)
{
    const kind what = made.what;
    if (!change_store(what, made.words) && !change_network(what, made.words) && !change_internet(what, made.words) &&
        !change_radio(what, made.words) && !change_process(what, made.words))
        change_machine(what, made.words);
}

} // namespace replay
