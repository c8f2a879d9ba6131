// How the router's programs are called, as far as it is the same for all of them: with options, --help, --version, or
// wrongly.
#ifndef ROUTER_CALL_H
#define ROUTER_CALL_H

#include <array>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <string>

struct program {
    const char *name;
    const char *version;
    const char *usage;
};

// An option of a program's own.
template <typename Arguments>
struct call_option {
    const char *name;
    int has_value; // required_argument or no_argument
    void (*take)(Arguments *arguments, const char *value);
};

// Says what is wrong, and ends the program with 2.
[[noreturn]] inline void wrong_call(const program &is, const std::string &what)
{
    fprintf(stderr, "%s: %s\nTry %s --help.\n", is.name, what.c_str(), is.name);
    exit(2);
}

// Has each option taken; ends the program after --help and --version, and with 2 after what getopt has complained of.
// Returns where in argv the words begin that are no options.
template <typename Arguments, size_t N>
int take_options(const program &is, const call_option<Arguments> (&options)[N], int argc, char **argv,
                 Arguments *arguments)
{
    enum { OWN = 256, HELP = 512, VERSION };
    std::array<option, N + 3> known = {
        {{"help", no_argument, nullptr, HELP}, {"version", no_argument, nullptr, VERSION}}};
    for (size_t i = 0; i < N; i++)
        known[i + 2] = {options[i].name, options[i].has_value, nullptr, OWN + static_cast<int>(i)};
    for (int code = 0; (code = getopt_long(argc, argv, "", known.data(), nullptr)) != -1;) {
        if (code >= OWN && code < HELP) {
            options[code - OWN].take(arguments, optarg);
            continue;
        }
        if (code == HELP)
            fputs(is.usage, stdout);
        else if (code == VERSION)
            printf("%s %s\n", is.name, is.version);
        else
            fprintf(stderr, "Try %s --help.\n", is.name);
        exit(code == HELP || code == VERSION ? 0 : 2);
    }
    return optind;
}

#endif
