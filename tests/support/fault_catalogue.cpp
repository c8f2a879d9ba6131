#include "tests/support/fault_provoked.h"

namespace fault_catalogue
{
namespace
{

std::vector<Fault> together()
{
    std::vector<Fault> all;
    for (const std::vector<Fault> *part : {&STORE_AND_BUS, &PROCESSES_AND_FILES, &NETWORK, &MACHINE})
        all.insert(all.end(), part->begin(), part->end());
    return all;
}

} // namespace

const std::vector<Fault> &all_faults()
{
    static const std::vector<Fault> all = together();
    return all;
}

} // namespace fault_catalogue
