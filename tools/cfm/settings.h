// The store's keys as people are shown them.
#ifndef TOOLS_CFM_SETTINGS_H
#define TOOLS_CFM_SETTINGS_H

#include <string>
#include <string_view>

#include "platform/linux/store/admin.h"
#include "tools/store_settings.h"

// Opens the store, and says so where it was not there and is made: whoever looks into another store than the daemon's
// is to notice. False: a line says why it cannot be opened. `opens` does it.
bool open_store(bool (*opens)() = config_store_open);

// What the text form stands for.
std::string decoded(std::string_view text);

// The value, "***" for a secret unless secrets are asked for. An empty one has nothing to hide.
std::string_view shown_value(const settings::value_type &setting, bool secrets);

#endif
