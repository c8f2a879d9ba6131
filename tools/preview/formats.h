// A plan as people and programs read it.
#ifndef TOOLS_PREVIEW_FORMATS_H
#define TOOLS_PREVIEW_FORMATS_H

#include <string>

#include "tools/preview/plan.h"

namespace preview
{

// One object with a version.
std::string json_of(const plan &shown);

} // namespace preview

#endif
