// cfm's commands. Each gives the program's exit status.
#ifndef TOOLS_CFM_COMMANDS_H
#define TOOLS_CFM_COMMANDS_H

#include <string>

// ---- the store ----

int get(const std::string &key);
int set(const std::string &key, const std::string &value);
int unset(const std::string &key);
int list(const std::string &prefix);
int import(const std::string &file);
int export_all();
int commit();

// ---- the bus ----

int post(const std::string &name, const std::string &text);
int listen_to(const std::string &name);

#endif
