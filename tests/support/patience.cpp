#include "tests/support/patience.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/sim/where_it_stands.h"

namespace
{

// No test takes a second of a processor by itself.
#if defined(TEST_IS_SLOWED)
constexpr unsigned SECONDS = 600;
#else
constexpr unsigned SECONDS = 20;
#endif

unsigned limit_s;

extern "C" void give_up(int /*signal*/)
{
    char text[2048];
    const int length =
        snprintf(text, sizeof text, "The test has used %u s of processor time and does not end.\n", limit_s);
    size_t used = static_cast<size_t>(length);
    if (sim::where_it_stands != nullptr) // the program may have no virtual router
        used += sim::where_it_stands(text + used, sizeof text - used);
    static_cast<void>(!write(STDERR_FILENO, text, used));
    _exit(1);
}

} // namespace

void limit_processor_time(unsigned seconds)
{
    limit_s = seconds;
    struct sigaction action = {};
    action.sa_handler = give_up;
    sigaction(SIGXCPU, &action, nullptr);
    constexpr unsigned FOR_THE_REPORT_S = 10;
    const rlimit limit = {.rlim_cur = seconds, .rlim_max = seconds + FOR_THE_REPORT_S};
    setrlimit(RLIMIT_CPU, &limit);
}

void limit_processor_time_of_a_test()
{
    if (getenv("SOAK_DAYS") != nullptr) // as many days as somebody asked for
        return;
    const char *const seconds = getenv("TEST_CPU_SECONDS");
#if !defined(TEST_IS_SLOWED)                    // the sanitizers reserve addresses for all memory there could be
    constexpr rlim_t MEMORY = rlim_t{4} << 30U; // a loop that does not end often collects something
    const rlimit limit = {.rlim_cur = MEMORY, .rlim_max = MEMORY};
    setrlimit(RLIMIT_AS, &limit);
#endif
    limit_processor_time(seconds == nullptr ? SECONDS : static_cast<unsigned>(strtoul(seconds, nullptr, 10)));
}
