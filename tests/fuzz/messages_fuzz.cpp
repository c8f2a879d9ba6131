// Control messages, one a line.
#include <cstring>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_router();
    sim::VirtualRouter &box = sim::router();
    box.boot();
    for (const std::string &text : parts_of(data, size, '\n', 8)) {
        box.post(text);
        if (strnlen(modules_var.string_info, sizeof modules_var.string_info) > 127)
            give_up("a text without end", text);
    }
    box.tick();
    expect_order();
    return 0;
}
