// What a request gets, whoever carries it: no socket is known here.
#ifndef ROUTER_DHTTPD_ANSWER_H
#define ROUTER_DHTTPD_ANSWER_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dhttpd
{

struct site {
    std::string preview_path; // of the file at /preview; "": there is none
    bool has_status = false;  // at /status
};

struct request {
    std::string method;
    std::string uri;
    std::string host;     // the header Host
    std::string accepted; // the header Accept-Language
    std::string own_host; // the router's address at which it has come in, as a link has it
    std::string own_port; //
};

struct answer {
    unsigned status = 200;
    std::string body = {};
    int file = -1; // is sent instead of the body, and is the caller's
    size_t file_size = 0;
    std::vector<std::pair<const char *, std::string>> headers = {};
};

// Reads the status page, or the preview's file; waits for nobody.
answer answer_to(const request &asked, const site &site);

} // namespace dhttpd

#endif
