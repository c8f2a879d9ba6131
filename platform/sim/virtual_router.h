// The virtual router: a model of the machine under the daemon, for tests, benchmarks and simulation.
//
// The daemon's own objects run in it, with their libc calls led to the model. Time is virtual, and everything that the
// daemon does to its surroundings is one line of the journal. The same calls give the same journal on every machine.
//
// One router a process: router(). It comes up as a factory router (README.md lists what that holds) whose daemon has
// not been started; set the world up part by part, call boot() and let time pass. A test may instead call the daemon's
// functions directly: a wait inside them then just moves the virtual clock.
//
// Nothing here is thread-safe, and nothing needs to be: the daemon's threads run as fibres, one at a time.
#ifndef PLATFORM_SIM_VIRTUAL_ROUTER_H
#define PLATFORM_SIM_VIRTUAL_ROUTER_H

#include <string>
#include <vector>

#include "platform/sim/commands.h"
#include "platform/sim/faults.h"
#include "platform/sim/files.h"
#include "platform/sim/journal.h"
#include "platform/sim/local_time.h"
#include "platform/sim/machine.h"
#include "platform/sim/network.h"
#include "platform/sim/processes.h"
#include "platform/sim/radios.h"
#include "platform/sim/store.h"
#include "platform/sim/streams.h"

namespace sim
{

// A machine with these parts. Each can be set at any moment: before boot(), between two runs, in a change ordered with
// at(), or in a hook that the daemon's call leads to. Setting takes no time and leaves no journal line, and the daemon
// sees it when it asks next. Nothing tells it: whoever wants it to know earlier posts the message that the router's
// other programs would post.
//
// The parts hang together only where a header says so. A link that goes down does not make addresses unreachable, a
// process that ends does not close what it served: a test tells each of the things that its story is about.
struct VirtualRouter : Machine {
    Faults faults;
    LocalTime local_time;
    Journal journal{clock};
    Log log;
    Store store;
    Files files;
    Streams streams;
    Processes processes;
    Network network;
    Radios radios;
    Commands commands;
    // What tpi_systool_reboot does. False: the machine restarts: daemon state fresh, up-time 0, committed store back,
    // LAN counters 0, firewall and policy routing without a rule. True: it returns. Called outside the daemon's
    // fibres it always returns.
    bool reboot_returns = false;

    // Paths of the files and folders that the daemon has open now, and "popen COMMAND" for commands that it reads from;
    // one entry for each time.
    std::vector<std::string> open_descriptors() const;
    // What a restart does to everything but the daemon. Files, processes, radios, addresses, neighbours, links, names
    // and answers outlive it, as do journal, log, faults and what was told of commands: a test that wants them gone
    // takes them away.
    void machine_restarted();
};

// Where the router stands. It is made while the program starts, and other statics may refer to it before. It lives as
// long as the process: the daemon may stand in the middle of a call at its end.
union RouterPlace {
    constexpr RouterPlace() : nothing()
    {
    }
    ~RouterPlace()
    {
    }
    char nothing;
    VirtualRouter router;
};
extern RouterPlace router_place;

// The process's one router.
inline VirtualRouter &router()
{
    return router_place.router;
}

// Puts the whole router back to the factory's, without a daemon: for programs that run many one after the other. Not
// from inside the daemon, nor from a change of the world. Time begins at 0; hooks, faults, changes ordered, journal and
// log are gone, and the process's random numbers begin as in a new one. router() is the same place, but whatever was
// got from its parts (values, texts, lists of lines) is no longer there.
void make_router_anew();

} // namespace sim

#endif
