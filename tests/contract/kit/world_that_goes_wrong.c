/* A world in which a check's process goes the way that WRONG in the environment says. */
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "tests/contract/kit/world.h"

static int begin(void)
{
    const char *const wrong = getenv("WRONG");
    if (strcmp(wrong, "exit") == 0)
        exit(0);
    if (strcmp(wrong, "crash") == 0)
        abort();
    if (strcmp(wrong, "hang") == 0)
        pause();
    if (strcmp(wrong, "child") == 0 && fork() > 0)
        _exit(0); /* the check goes on in another process, as with a library that makes a daemon of its caller */
    return strcmp(wrong, "refuse") == 0 ? -1 : 0;
}

const struct world kit_world = {.name = "a ground that only links, in a world that goes wrong", .begin = begin};
