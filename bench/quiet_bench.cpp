// quiet_bench LABEL IFNAME: the quiet check's look through the ARP table for clients of an interface, in turn with
// opening, reading and closing the file alone. For the table that it finds.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "bench/alternate.h"
#include "time_check/time_check_quiet.h"

namespace
{

void read_bare()
{
    std::array<char, 4096> text;
    const int fd = open("/proc/net/arp", O_RDONLY | O_CLOEXEC);
    while (read(fd, text.data(), text.size()) > 0) {
    }
    close(fd);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: quiet_bench LABEL IFNAME\n", stderr);
        return 2;
    }
    const std::string what = std::string("quiet check, ") + argv[1];
    bench::alternate(what.c_str(), {"look for clients", [&] { time_check_get_client(argv[2]); }, {}},
                     {"open, read, close", read_bare, {}}, {15, 20, 10});
}
