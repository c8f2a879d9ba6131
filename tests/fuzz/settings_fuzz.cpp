// Settings of the store, one "key=value" a line; a first line of digits is the seconds since 1970. The modules start
// with them and run for a few ticks.
#include <algorithm>
#include <cstdlib>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check_module.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    sim::VirtualRouter &box = sim::router();
    fresh_daemon();
    std::vector<std::string> keys;
    for (const std::string &line : parts_of(data, size, '\n', 64)) {
        const size_t equals = std::min(line.find('='), line.size());
        const std::string key = line.substr(0, equals);
        if (equals == line.size()) {
            box.clock_at(static_cast<time_t>(strtoull(line.c_str(), nullptr, 10) % 8000000000));
        } else if (!key.empty() && key.size() < 128) {
            box.set_uncommitted(key, line.substr(equals + 1));
            keys.push_back(key);
        }
    }

    init_time_check_module_entries();
    for (int i = 0; i < 4; i++) {
        run_ticks();
        box.step_clock(59);
    }
    expect_order();
    for (const std::string &key : keys)
        box.unset(key);
    return 0;
}
