// Settings of the store, one "key=value" a line; a first line of digits is the seconds since 1970. The daemon starts
// with them and runs for a few passes.
#include <algorithm>
#include <cstdlib>

#include "tests/fuzz/fuzz_daemon.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_router();
    sim::VirtualRouter &box = sim::router();
    for (const std::string &line : parts_of(data, size, '\n', 64)) {
        const size_t equals = std::min(line.find('='), line.size());
        const std::string key = line.substr(0, equals);
        if (equals == line.size())
            box.clock.set(static_cast<time_t>(strtoull(line.c_str(), nullptr, 10) % 8000000000));
        else if (!key.empty() && key.size() < 128)
            box.store.set(key, line.substr(equals + 1));
    }

    box.boot();
    for (int i = 0; i < 4; i++) {
        box.tick();
        box.clock.step(59);
    }
    expect_order();
    return 0;
}
