// What the outside does to the router and its daemon, chosen by an input.
#ifndef TESTS_FUZZ_WORLD_H
#define TESTS_FUZZ_WORLD_H

#include "tests/fuzz/input.h"

// Every command that the daemon gives is looked at from now on.
void watch_commands();

// Something else about a setting, a file, the clock, a process, the network, a radio or a client, or a message.
void change_world(Input &input);

// A call fails: once, or now and then from now on.
void order_fault(Input &input);

// A router that does everything and has its internet.
void busy_router(Input &input);

#endif
