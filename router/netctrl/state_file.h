// What is wanted and not done yet, on a memory file system: it outlives netctrl, and not the machine's restart.
#ifndef ROUTER_NETCTRL_STATE_FILE_H
#define ROUTER_NETCTRL_STATE_FILE_H

#include <string>

// The file's text. Empty: there is none, or it cannot be read, which a line says.
std::string read_state(const std::string &path);

// Puts a whole new file in the place of the old one. A line says when that fails.
void write_state(const std::string &path, const std::string &text);

#endif
