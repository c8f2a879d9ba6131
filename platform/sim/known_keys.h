// The keys of platform/config_keys.def, as the model knows them.
#ifndef PLATFORM_SIM_KNOWN_KEYS_H
#define PLATFORM_SIM_KNOWN_KEYS_H

#include <string_view>

namespace sim
{

// Whether `key` is what a row of the table says: "%d" and "%u" there stand for a number from 1, "%s" for any text.
bool matches_key(const char *row, std::string_view key);

// Whether it is in the table.
bool is_known_key(std::string_view key);

} // namespace sim

#endif
