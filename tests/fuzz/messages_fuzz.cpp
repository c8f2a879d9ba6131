// Control messages, one a line; "+60" is a minute that passes before the next,
// "!7" what a product's own code may ask: module 7 takes the last message once more.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check.h"
#include "time_check/time_check_dispatch.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_router();
    sim::VirtualRouter &box = sim::router();
    box.boot();
    parse_time_check_msg_string(nullptr, nullptr, nullptr); // which no ground gives, and a product's code may
    for (const std::string &text : parts_of(data, size, '\n', 16)) {
        if (text.starts_with('+'))
            box.tick(static_cast<unsigned>(std::clamp(atoi(text.c_str()), 1, 120)));
        else if (text.starts_with('!'))
            handle_time_check_module_msg(atoi(text.c_str() + 1), &modules_var);
        else
            box.post(text);
        if (strnlen(modules_var.string_info, sizeof modules_var.string_info) > 127)
            give_up("a text without end", text);
    }
    box.tick();
    expect_order();
    return 0;
}
