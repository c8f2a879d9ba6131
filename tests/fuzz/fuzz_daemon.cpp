#include "tests/fuzz/fuzz_daemon.h"

#include <cstdio>
#include <cstdlib>

std::vector<std::string> parts_of(const uint8_t *data, size_t size, char separator, size_t most)
{
    std::vector<std::string> parts(1);
    for (size_t i = 0; i < size; i++) {
        const char c = static_cast<char>(data[i]);
        if (c == separator) {
            if (parts.size() == most)
                break;
            parts.emplace_back();
        } else if (c != '\0') {
            parts.back() += c;
        }
    }
    return parts;
}

void fresh_router()
{
    sim::make_router_anew();
    sim::VirtualRouter &box = sim::router();
    box.log.keep(false);
    box.clock.set("2026-03-04 03:00:00");
    box.clock.set_uptime(100000);
}

void give_up(const char *what, const std::string &text)
{
    fprintf(stderr, "%s: %s\n", what, text.c_str());
    abort();
}

void expect_order()
{
    const sim::VirtualRouter &box = sim::router();
    if (!box.running() || box.threads() != 2)
        give_up("the daemon does not run with its two threads", std::to_string(box.threads()));
    for (const std::string &path : box.open_descriptors())
        give_up("left open", path);
}
