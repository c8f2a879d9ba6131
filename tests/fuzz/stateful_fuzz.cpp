// Messages, settings, files, clock steps, processes, network and failing calls one after the other, with passes of the
// main loop and of the reachability check between them. Every command that the daemon gives must be one of its own.
#include "tests/fuzz/fuzz_daemon.h"
#include "tests/fuzz/world.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr unsigned STEPS = 64;
    constexpr unsigned MOST_TICKS = 120;
    Input input(data, size);
    fresh_router();
    watch_commands();
    sim::VirtualRouter &box = sim::router();
    busy_router(input);
    box.boot();
    for (unsigned step = 0; step < STEPS && !input.ended(); step++) {
        switch (input.below(8)) {
        case 0:
            order_fault(input);
            break;
        case 1:
            box.faults.clear();
            break;
        case 2:
        case 3:
            box.tick(1 + input.below(MOST_TICKS));
            break;
        default:
            change_world(input);
        }
    }
    box.faults.clear();
    box.tick(3);
    expect_order();
    return 0;
}
