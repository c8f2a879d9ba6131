// The keys of platform/config_keys.def, as the model knows them: a test fails when the daemon uses another one
// (Store::unknown_keys). The table is compiled in; a product's own keys are not in it.
#ifndef PLATFORM_SIM_KNOWN_KEYS_H
#define PLATFORM_SIM_KNOWN_KEYS_H

#include <string_view>

namespace sim
{

// Whether `key` is what a row of the table says: "%d" and "%u" there stand for a number from 1, "%s" for any text that
// is not empty. A number has no leading zero and any length. What comes after "%s" is taken to the letter, so a row may
// have one of them, and no number behind it.
bool matches_key(const char *row, std::string_view key);

// Whether a row says it. Goes through all rows: for the end of a test, not for each call.
bool is_known_key(std::string_view key);

} // namespace sim

#endif
