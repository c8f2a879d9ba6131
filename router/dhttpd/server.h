// The sockets of the fault page's server.
#ifndef ROUTER_DHTTPD_SERVER_H
#define ROUTER_DHTTPD_SERVER_H

#include <string>
#include <vector>

#include "router/dhttpd/answer.h"

namespace dhttpd
{

struct place {
    std::string host; // an address; of IPv6 in brackets
    std::string port;
};

// Listens there, only for what comes in at the interface, if one is named: without one every address is refused. -1:
// `why` says what is wrong.
int listen_at(const place &place, const std::string &interface, std::string *why);

// Answers until SIGTERM or SIGINT; returns what the program ends with. The sockets become the server's.
int serve(const site &site, const std::vector<int> &listening);

} // namespace dhttpd

#endif
