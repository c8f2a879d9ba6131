// tcctl preview and tcctl replay: start the program that carries the virtual router. A router may lack it.
#include "tools/tcctl/program.h"

namespace tcctl
{

run_fn add_preview(CLI::App &app)
{
    return add_program(app, "tcctl-preview");
}

run_fn add_replay(CLI::App &app)
{
    return add_program(app, "tcctl-preview", "tcctl-replay");
}

} // namespace tcctl
