// The store's keys as people are shown them.
#ifndef TOOLS_CFM_SETTINGS_H
#define TOOLS_CFM_SETTINGS_H

#include <map>
#include <string>

// Opens the store, and says so where it was not there and is made: whoever looks into another store than the daemon's
// is to notice. False: a line says why it cannot be opened.
bool open_store();

// Values by their keys, both in the text form with its escapes, in the order of the keys.
using settings = std::map<std::string, std::string>;

// Each of the three is false when the store cannot be read: a line says why.
bool read_running(const std::string &prefix, settings &found); // all keys that begin with the prefix
bool read_settings(settings &found);                           // what a commit would write
bool read_committed(settings &found);                          // what was committed last

// What the text form stands for.
std::string decoded(const std::string &text);

// The value, "***" for a secret unless secrets are asked for. An empty one has nothing to hide.
const std::string &shown_value(const settings::value_type &setting, bool secrets);

#endif
