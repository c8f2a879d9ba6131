// The settings of the running store and those that were committed.
#ifndef TOOLS_STORE_SETTINGS_H
#define TOOLS_STORE_SETTINGS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>

// Values by their keys, both in the text form with its escapes, in the order of the keys.
using settings = std::map<std::string, std::string>;

// Each of the three is false when the store cannot be read: a line says why.
bool read_running(const std::string &prefix, settings &found); // all keys that begin with the prefix
bool read_settings(settings &found);                           // what a commit would write
bool read_committed(settings &found);                          // what was committed last

// How many keys a commit would change, add or take away. None: there is no store, which is not made for that, or it
// cannot be read, of which a line says why.
std::optional<size_t> uncommitted_settings();

#endif
