#ifndef ROUTER_NETCTRL_READY_H
#define ROUTER_NETCTRL_READY_H

// Tells the service manager that messages are taken from now on, if one asks for that (NOTIFY_SOCKET).
void tell_ready();

#endif
