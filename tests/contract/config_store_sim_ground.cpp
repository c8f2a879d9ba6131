// The store's contract test on the virtual router.
#include "platform/sim/virtual_router.h"
#include "tests/contract/config_store_ground.h"

void ground::begin()
{
}

void ground::restart()
{
    sim::router().restart();
}

void ground::end()
{
}

std::string ground::get_elsewhere(const std::string &key)
{
    return sim::router().store.get(key);
}
