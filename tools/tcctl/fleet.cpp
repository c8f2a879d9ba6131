// tcctl fleet: starts the program that carries one virtual router after the other.
#include "tools/tcctl/program.h"

namespace tcctl
{

run_fn add_fleet(CLI::App &app)
{
    return add_program(app, "tcctl-fleet");
}

} // namespace tcctl
