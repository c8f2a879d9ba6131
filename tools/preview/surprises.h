// What a reader of a plan would not expect of the settings.
#ifndef TOOLS_PREVIEW_SURPRISES_H
#define TOOLS_PREVIEW_SURPRISES_H

#include <vector>

#include "tools/preview/plan.h"
#include "tools/preview/recorder.h"

namespace preview
{

// Adds the times in which a restart may come as spans, for a schedule that is in use. The settings are the virtual
// router's.
void add_restart_windows(plan &into);

// Adds the surprises of a plan that has all its spans and acts.
void add_surprises(plan &into, const std::vector<recorder::finding> &reboot_findings);

} // namespace preview

#endif
