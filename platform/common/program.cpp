// For grounds that have no program.h of their own: the daemon runs until somebody kills it.
#include "platform/program.h"

#include <cstdio>
#include <cstdlib>

#include "platform/common/arguments.h"

void program_begin(int count, char *const arguments[], void (* /*end*/)(void), void (* /*read_again*/)(void))
{
    constexpr int CALLED_WRONGLY = 2;
    const char *const wrong = wrong_argument(count, arguments);
    if (wrong == nullptr)
        return;
    fprintf(stderr, "time_check: unknown argument: %s (try --help)\n", wrong);
    exit(CALLED_WRONGLY);
}
