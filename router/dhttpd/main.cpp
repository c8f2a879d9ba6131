// dhttpd: tells who is in the LAN, in the browser, why the line is dead. The name is what time_check looks for.
//
// Ends with 0 after SIGTERM or SIGINT, 1 when it cannot listen, 2 when it was called wrongly.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "router/call.h"
#include "router/dhttpd/server.h"

namespace
{

constexpr char USAGE[] =
    "Usage: dhttpd --listen ADDRESS:PORT [OPTION]...\n"
    "Serves the page that tells why the line is dead, from time_check's status page.\n"
    "\n"
    "  --listen ADDRESS:PORT  the LAN's own address, of IPv6 in brackets; several times for several\n"
    "  --interface NAME       take only what comes in there; then [::] is each address of it\n"
    "  --status               show at /status what every module is doing\n"
    "  --preview FILE         show the file, made by tcctl preview --format html, at /preview\n"
    "  --help, --version      print this, or the version, and end\n";

constexpr program IS = {.name = "dhttpd", .version = DHTTPD_VERSION, .usage = USAGE};

struct arguments {
    dhttpd::site site;
    std::vector<dhttpd::place> places;
    std::string interface;
};

dhttpd::place place_in(const std::string &text)
{
    const size_t colon = text.rfind(':');
    const long port = colon == std::string::npos ? 0 : strtol(text.c_str() + colon + 1, nullptr, 10);
    if (port < 1 || port > 65535 || text.find_first_not_of("0123456789", colon + 1) != std::string::npos)
        wrong_call(IS, "--listen: not an ADDRESS:PORT: " + text);
    return {.host = text.substr(0, colon), .port = std::to_string(port)};
}

constexpr call_option<arguments> OPTIONS[] = {
    {"listen", required_argument, [](arguments *to, const char *value) { to->places.push_back(place_in(value)); }},
    {"interface", required_argument, [](arguments *to, const char *value) { to->interface = value; }},
    {"status", no_argument, [](arguments *to, const char * /*none*/) { to->site.has_status = true; }},
    {"preview", required_argument, [](arguments *to, const char *value) { to->site.preview_path = value; }},
};

} // namespace

int main(int argc, char **argv)
{
    arguments arguments;
    const int words = take_options(IS, OPTIONS, argc, argv, &arguments);
    if (words < argc)
        wrong_call(IS, std::string("what is that: ") + argv[words]);
    if (arguments.places.empty())
        wrong_call(IS, "--listen is missing");
    std::vector<int> listening;
    for (const dhttpd::place &place : arguments.places) {
        std::string why;
        listening.push_back(dhttpd::listen_at(place, arguments.interface, &why));
        if (listening.back() < 0) {
            fprintf(stderr, "dhttpd: %s\n", why.c_str());
            return 1;
        }
    }
    return dhttpd::serve(arguments.site, listening);
}
