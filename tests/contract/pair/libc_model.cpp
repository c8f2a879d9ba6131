// The virtual router's side.
#include "platform/sim/virtual_router.h"
#include "tests/contract/pair/libc_steps.h"

using sim::router;

namespace pair
{

Libc libc;

void begin_program()
{
}

void begin_libc()
{
    sim::make_router_anew();
    router().log.show(false);
    router().files.set("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    libc = model_libc(SCRATCH);
}

std::string take_what_was_printed()
{
    std::string text;
    for (const std::string &line : router().log.lines())
        text += line + "\n";
    router().log.clear();
    return text;
}

void read_zone()
{
    router().local_time.read_zone();
}

void tell_name(const std::string &name, const std::string &address)
{
    router().network.set_name(name, address);
}

void tell_name_server(bool is_up)
{
    router().network.set_dns(is_up);
}

} // namespace pair
