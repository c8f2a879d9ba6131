// The virtual router's side.
#include "platform/sim/virtual_router.h"
#include "tests/contract/kit/world.h"
#include "tests/contract/pair/ground_steps.h"

using sim::router;

namespace pair
{

void begin_program()
{
}

void begin_ground()
{
    sim::make_router_anew();
    router().log.show(false);
    router().files.set_directory("/tmp");
}

void begin_world()
{
    begin_ground();
    kit_world.begin();
}

void end_world()
{
}

void restart_store()
{
    router().restart();
}

void teach_status(const std::string &command, int status)
{
    router().commands.set_status(command, status);
}

void put_file(const std::string &path, const std::string &text)
{
    router().files.set(path, text);
}

void take_file(const std::string &path)
{
    router().files.remove(path);
}

std::string rules_here()
{
    std::string all;
    for (const std::string &rule : router().commands.rules())
        all += rule + "\n";
    for (const char *chain : {"OUTPUT", "TEST"}) {
        if (!router().commands.has_chain(chain))
            continue;
        all += std::string("-N ") + chain + "\n";
        for (const std::string &rule : router().commands.chain(chain))
            all += std::string(chain) + " " + rule + "\n";
    }
    return all;
}

} // namespace pair
