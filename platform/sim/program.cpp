// The daemon as a program on the virtual router: a factory router for as many virtual days as asked, with the daemon's
// lines on the terminal and the acts at the end. A test program has a main of its own, and this one is left out.
#include <cstdio>
#include <cstdlib>

#include "platform/sim/virtual_router.h"

int main(int count, char **arguments)
{
    setenv("SIM_LOG", "1", 0);
    sim::VirtualRouter &box = sim::router();
    const int days = count > 1 ? atoi(arguments[1]) : 1;
    for (int i = 2; i < count; i++) {
        const std::string setting = arguments[i];
        const size_t equals = setting.find('=');
        if (equals != std::string::npos)
            box.set(setting.substr(0, equals), setting.substr(equals + 1));
    }
    box.boot();
    box.run(days * 86400.0);
    for (const std::string &line : box.timed_journal())
        printf("%s\n", line.c_str());
}
