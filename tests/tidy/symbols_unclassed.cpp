// A call that looks past the virtual router at the host.
#include <unistd.h>

int which_process()
{
    return getpid();
}
