// netctrl's lines.
#ifndef ROUTER_NETCTRL_LINES_H
#define ROUTER_NETCTRL_LINES_H

#include <string>

// Says a line on standard output, with "?" for what must not be shown. Never waits for who reads: a line for which
// there is no room is lost, and the next one tells how many were.
void say(std::string line);

#endif
