// netctrl at work: messages in, programs out.
#ifndef ROUTER_NETCTRL_SERVE_H
#define ROUTER_NETCTRL_SERVE_H

#include <cstdint>
#include <string>

#include "router/netctrl/message.h"
#include "router/netctrl/program.h"

struct service {
    program_folders folders;
    std::string state_path; // where it keeps what is wanted and not done yet
    int64_t limit_ms;       // of a run; then its process group is ended
    bool is_dry;            // says what it would run
};

// Takes the name on the bus and serves until SIGTERM or SIGINT. Gives the exit status: 1 when the name cannot be had,
// and a line says why.
int serve(const service &service);

// "would run PATH with NAME=VALUE ...", or why nothing would be run.
std::string would_run(const program_folders &folders, const request &request);

#endif
