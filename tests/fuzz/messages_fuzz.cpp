// Control messages, one a line.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check.h"
#include "time_check/time_check_module.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_daemon();
    init_time_check_module_entries();
    for (const std::string &text : parts_of(data, size, '\n', 8)) {
        TimeCheckMsgHandle("fuzz", text.c_str());
        if (strnlen(modules_var.string_info, sizeof modules_var.string_info) > 127)
            abort();
    }
    run_ticks();
    expect_order();
    return 0;
}
