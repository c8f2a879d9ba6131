#include <sys/stat.h>

#include "tests/contract/kit/kit.h"
#include "tests/contract/pair/ground_steps.h"

int main(int count, char **arguments)
{
    using namespace pair;
    kit_be_another_process(count, arguments);
    umask(022);
    return play(count, arguments, begin_program, {&store, &texts, &shell, &rules, &network, &device});
}
