// A plan as people and programs read it.
#ifndef TOOLS_PREVIEW_FORMATS_H
#define TOOLS_PREVIEW_FORMATS_H

#include <string>

#include "tools/preview/plan.h"

namespace preview
{

// One object with a version.
std::string json_of(const plan &shown);

// Charts and lists for a terminal of that many columns (80 are what it takes), in ASCII.
std::string text_of(const plan &shown, int columns);

// The chart as a picture of its own, which can be read in black and white.
std::string svg_of(const plan &shown);

// A page that needs nothing from outside, and no scripts.
std::string html_of(const plan &shown);

} // namespace preview

#endif
