// The daemon as a program on the virtual router: a factory router for as many virtual days as asked, with the daemon's
// lines on the terminal and the acts at the end. A test program has a main of its own, and this one is left out.
#include <charconv>
#include <cstdio>
#include <string_view>

#include "platform/sim/virtual_router.h"

namespace
{

constexpr unsigned DAYS_MAX = 36500;
constexpr int CALLED_WRONGLY = 2;

constexpr const char *USAGE = R"(Usage: time_check [DAYS] [KEY=VALUE...]
Runs the daemon for DAYS virtual days (1 to 36500; 1 if not given) on a router as it comes from the factory, but for
these settings. Prints what the daemon prints, and at the end what it did: local time, up-time, act.
)";

bool read_days(std::string_view text, unsigned &days)
{
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, days);
    return error == std::errc{} && stop == end && days >= 1 && days <= DAYS_MAX;
}

bool complain(const char *what, std::string_view argument)
{
    fprintf(stderr, "time_check: %s: %.*s (try --help)\n", what, static_cast<int>(argument.size()), argument.data());
    return false;
}

// False, with a line, when a word is none of what the program takes.
bool read_arguments(sim::VirtualRouter &box, int count, char **arguments, unsigned &days)
{
    for (int i = 1; i < count; i++) {
        const std::string_view argument = arguments[i];
        const size_t equals = argument.find('=');
        if (argument.starts_with('-'))
            return complain("unknown option", argument);
        if (i == 1 && equals == std::string_view::npos) {
            if (!read_days(argument, days))
                return complain("not a number of days from 1 to 36500", argument);
        } else if (equals == 0 || equals == std::string_view::npos) {
            return complain("not KEY=VALUE", argument);
        } else {
            box.store.set(argument.substr(0, equals), argument.substr(equals + 1));
        }
    }
    return true;
}

} // namespace

int main(int count, char **arguments)
{
    unsigned days = 1;
    if (count == 2 && (arguments[1] == std::string_view("--help") || arguments[1] == std::string_view("-h"))) {
        fputs(USAGE, stdout);
        return 0;
    }
    sim::VirtualRouter &box = sim::router();
    if (!read_arguments(box, count, arguments, days))
        return CALLED_WRONGLY;
    box.log.show(true);
    box.log.keep(false);
    box.boot();
    box.run(days * 86400.0);
    for (const std::string &line : box.journal.timed_lines())
        printf("%s\n", line.c_str());
}
