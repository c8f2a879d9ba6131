#include <sys/stat.h>

#include "tests/contract/pair/libc_steps.h"

int main(int count, char **arguments)
{
    using namespace pair;
    umask(022); // the virtual router's
    return play(count, arguments, begin_program, {&files, &output, &commands, &times, &names});
}
