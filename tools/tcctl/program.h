// Programs of their own that tcctl starts: what carries the virtual router cannot be in tcctl (decision 0174).
#ifndef TOOLS_TCCTL_PROGRAM_H
#define TOOLS_TCCTL_PROGRAM_H

#include "tools/tcctl/command.h"

namespace tcctl
{

// Gives the command all the words behind it. What runs then becomes the program, which stands beside tcctl or in the
// folder for such programs; CANNOT, with a line, where there is none. `name` is what it goes by, where that tells it
// what to do.
run_fn add_program(CLI::App &app, const char *program, const char *name = nullptr);

} // namespace tcctl

#endif
