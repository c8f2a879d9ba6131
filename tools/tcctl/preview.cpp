// tcctl preview, replay and record: start programs of their own, which a router may lack. The first two carry the
// virtual router.
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

run_fn add_record(CLI::App &app)
{
    return add_program(app, "tcctl-record");
}

} // namespace tcctl
