// cfm's commands. Each gives the program's exit status.
#ifndef TOOLS_CFM_COMMANDS_H
#define TOOLS_CFM_COMMANDS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

// ---- one key ----

int get(const std::string &key);

// Keys and values, stored one after the other up to the first that cannot be. `apply`: then commits them, and does what
// the table of keys says makes the daemon see them.
using assignments = std::vector<std::pair<std::string, std::string>>;
int set(const assignments &wanted, bool apply);
int unset(const std::vector<std::string> &keys);

// ---- the whole store ----

int import(const std::string &file);
int export_all();
int commit();

struct list_choice {
    std::string prefix;
    bool json = false;
    bool settings = false; // neither of these two: both
    bool state = false;
    bool changed = false; // only what differs from the committed settings
    bool secrets = false; // as they are
};
int list(const list_choice &choice);

// DONE when the running settings are those that are committed.
constexpr int DIFFERENT = 1;
constexpr int TROUBLE = 2;
int diff(bool secrets);

// ---- changes ----

// Until nobody reads the output any more.
int watch(const std::string &prefix, bool secrets);

// `wanted`: KEY=VALUE.
int wait_for(const std::string &wanted, std::optional<double> seconds);

// ---- the bus ----

int post(const std::string &name, const std::string &text);
int listen_to(const std::string &name);

#endif
