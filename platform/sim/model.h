// The parts of the virtual router, together.
#ifndef PLATFORM_SIM_MODEL_H
#define PLATFORM_SIM_MODEL_H

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

struct Model {
    Machine machine;
    Faults faults;
    LocalTime local_time;
    Journal journal{machine.clock};
    Log log;
    Store store;
    Files files;
    Streams streams;
    Processes processes;
    Network network;
    Radios radios;
    Commands commands;
    bool reboot_returns = false;

    // What a restart of the machine does to everything but the daemon.
    void machine_restarted();
};

extern Model *const the_model;

// The process's one model.
inline Model &model()
{
    return *the_model;
}

} // namespace sim

#endif
