// netctrl: does on a plain Linux router what time_check asks for. Holds the name netctrl on the message bus, and runs a
// program for each message.
//
// Ends with 0 after SIGTERM or SIGINT, 1 when the name cannot be had, 2 when it was called wrongly.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/linux/run_directory.h"
#include "router/call.h"
#include "router/netctrl/message.h"
#include "router/netctrl/serve.h"

namespace
{

constexpr char USAGE[] =
    "Usage: netctrl [OPTION]... [--dry-run MESSAGE...]\n"
    "Does what time_check asks for: takes the messages to netctrl and runs a program for each.\n"
    "\n"
    "  --dry-run          say what would be run, and run nothing; with messages: for these, and end\n"
    "  --list-verbs       print each verb with its message, its subject and its program, and end\n"
    "  --owner DIR        the owner's programs, which go first (" NETCTRL_OWNER_DIR ",\n"
    "                     or TIME_CHECK_NETCTRL_OWNER in the environment)\n"
    "  --package DIR      the package's programs (" NETCTRL_PACKAGE_DIR ",\n"
    "                     or TIME_CHECK_NETCTRL_PACKAGE in the environment)\n"
    "  --state FILE       what is wanted and not done yet (netctrl.state in the run directory)\n"
    "  --limit SECONDS    what a program may take before it is ended (60)\n"
    "  --help, --version  print this, or the version, and end\n";

constexpr program IS = {.name = "netctrl", .version = NETCTRL_VERSION, .usage = USAGE};

std::string from_environment(const char *name, const char *otherwise)
{
    const char *const value = getenv(name);
    return value == nullptr || value[0] == '\0' ? otherwise : value;
}

std::string default_state()
{
    char path[RUN_PATH_MAX];
    run_path("netctrl.state", path);
    return path;
}

int64_t limit_in(const char *text)
{
    char *end = nullptr;
    const double seconds = strtod(text, &end);
    if (end == text || *end != '\0' || !(seconds > 0 && seconds <= 86400))
        wrong_call(IS, std::string("--limit: not a number of seconds from 0 to 86400: ") + text);
    return std::llround(std::ceil(seconds * 1000));
}

int list_verbs(const service &service)
{
    for (const verb &verb : all_verbs())
        for (const std::string &message : messages_of(verb)) {
            const std::string path = program_of(service.folders, verb.name);
            printf("%-36s %-20s %-13s %s\n", message.c_str(), std::string(verb.name).c_str(),
                   read_message(message)->subject.c_str(), path.empty() ? "-" : path.c_str());
        }
    return 0;
}

// For messages of the command line.
int say_what_would_run(const service &service, char **messages)
{
    for (; *messages != nullptr; messages++) {
        const std::optional<request> asked = read_message(*messages);
        if (!asked)
            wrong_call(IS, std::string("no message that netctrl understands: ") + *messages);
        printf("%s: %s\n", asked->message.c_str(), would_run(service.folders, *asked).c_str());
    }
    return 0;
}

struct arguments {
    service is;
    bool lists = false;
};

constexpr call_option<arguments> OPTIONS[] = {
    {"dry-run", no_argument, [](arguments *to, const char * /*none*/) { to->is.is_dry = true; }},
    {"list-verbs", no_argument, [](arguments *to, const char * /*none*/) { to->lists = true; }},
    {"owner", required_argument, [](arguments *to, const char *value) { to->is.folders.owner = value; }},
    {"package", required_argument, [](arguments *to, const char *value) { to->is.folders.package = value; }},
    {"state", required_argument, [](arguments *to, const char *value) { to->is.state_path = value; }},
    {"limit", required_argument, [](arguments *to, const char *value) { to->is.limit_ms = limit_in(value); }},
};

} // namespace

int main(int argc, char **argv)
{
    arguments arguments = {
        .is = {.folders = {.owner = from_environment("TIME_CHECK_NETCTRL_OWNER", NETCTRL_OWNER_DIR),
                           .package = from_environment("TIME_CHECK_NETCTRL_PACKAGE", NETCTRL_PACKAGE_DIR)},
               .state_path = default_state(),
               .limit_ms = 60'000,
               .is_dry = false}};
    const int words = take_options(IS, OPTIONS, argc, argv, &arguments);
    const bool has_messages = words < argc;
    if (has_messages && (!arguments.is.is_dry || arguments.lists))
        wrong_call(IS, std::string("messages go with --dry-run alone: ") + argv[words]);
    if (arguments.lists)
        return list_verbs(arguments.is);
    return has_messages ? say_what_would_run(arguments.is, argv + words) : serve(arguments.is);
}
