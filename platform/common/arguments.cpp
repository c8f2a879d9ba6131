#include "platform/common/arguments.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

const char *wrong_argument(int count, char *const arguments[])
{
    if (count <= 1)
        return nullptr;
    const bool is_help = strcmp(arguments[1], "--help") == 0;
    if (!is_help && strcmp(arguments[1], "--version") != 0)
        return arguments[1];
    if (count > 2)
        return arguments[2];
    printf(is_help ? "Usage: time_check [--help | --version]\n"
                     "Without an argument: looks after a Wi-Fi router until SIGTERM comes; at SIGHUP it reads its "
                     "settings again.\n"
                   : "time_check " TIME_CHECK_VERSION "\n");
    exit(EXIT_SUCCESS);
}
