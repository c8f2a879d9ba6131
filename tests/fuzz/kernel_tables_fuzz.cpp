// The kernel's tables and the other files that the daemon reads, one a part; parts are divided by '|', and of one
// that is "-" the file is not there.
#include <cstddef>
#include <iterator>
#include <utility>

#include "tests/fuzz/fuzz_daemon.h"
#include "time_check/time_check_clock.h"
#include "time_check/time_check_reboot.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fresh_router();
    sim::VirtualRouter &box = sim::router();
    for (const auto &[key, value] :
         {std::pair("sys.schedulereboot.enable", "1"), std::pair("sys.schedulereboot.type", "1"),
          std::pair("sys.schedulereboot.start_time", "02:30"), std::pair("wl2g.public.mode", "ap"),
          std::pair("wl5g.public.mode", "ap"), std::pair("sys.workmode", "ap"), std::pair("wans.flag", "1")})
        box.store.set(key, value);
    size_t number = 0;
    for (const std::string &text : parts_of(data, size, '|', std::size(FILES_READ)))
        if (text == "-") {
            box.files.remove(FILES_READ[number]);
            box.files.set_missing(FILES_READ[number++]);
        } else {
            box.files.set(FILES_READ[number++], text);
        }

    box.boot();
    box.tick(30); // the second pass of the reachability check among them
    flow_check_reboot(1);
    time_check_get_sleep_rand();
    expect_order();
    return 0;
}
