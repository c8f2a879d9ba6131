// The status page of the daemon of this machine.
#ifndef TOOLS_TCCTL_PAGE_H
#define TOOLS_TCCTL_PAGE_H

#include <string>

#include "platform/common/status_file.h"
#include "tools/tcctl/explain.h"

namespace tcctl
{

// Reads it from the run directory, or from where a group may read it. False: `why` says what is wrong.
bool read_page(status_reading *reading, std::string *why);

// Why the page does not tell of this moment: its daemon is dead, or has not looked for half a minute. "": it does.
std::string is_stale_because(const status_reading &reading);

judged_second second_of(const status_reading &reading);

} // namespace tcctl

#endif
