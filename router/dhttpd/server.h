// The sockets of the fault page's server.
#ifndef ROUTER_DHTTPD_SERVER_H
#define ROUTER_DHTTPD_SERVER_H

#include <string>

#include "router/dhttpd/answer.h"

namespace dhttpd
{

// Listens at the site's address, only for what comes in at the interface, if one is named; -1: `why` says what is
// wrong.
int listen_at(const site &site, const std::string &interface, std::string *why);

// Answers until SIGTERM or SIGINT; returns what the program ends with. The socket becomes the server's.
int serve(const site &site, int listening);

} // namespace dhttpd

#endif
