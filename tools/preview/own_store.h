// The settings of the router that the program runs on.
#ifndef TOOLS_PREVIEW_OWN_STORE_H
#define TOOLS_PREVIEW_OWN_STORE_H

#include "tools/preview/settings.h"

namespace preview
{

// Asks cfm for them, the one beside this program or else the first in PATH: the store's own calls are the model's in
// here (decision 0163). Throws refused, after cfm's own line about it.
settings own_store();

} // namespace preview

#endif
