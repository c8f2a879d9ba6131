// How the router's programs are called, as far as it is the same for all of them: with --help, --version, or wrongly.
#ifndef ROUTER_CALL_H
#define ROUTER_CALL_H

#include <cstdio>
#include <cstdlib>
#include <string>

struct program {
    const char *name;
    const char *version;
    const char *usage;
};

enum call_code { CALL_HELP = 512, CALL_VERSION }; // getopt_long's, for options without an argument

// Says what is wrong, and ends the program with 2.
[[noreturn]] inline void wrong_call(const program &is, const std::string &what)
{
    fprintf(stderr, "%s: %s\nTry %s --help.\n", is.name, what.c_str(), is.name);
    exit(2);
}

// For a code of getopt_long that is no option of the program's own: ends it, with 2 after what getopt has complained
// of.
[[noreturn]] inline void end_call(const program &is, int code)
{
    switch (code) {
    case CALL_HELP:
        fputs(is.usage, stdout);
        exit(0);
    case CALL_VERSION:
        printf("%s %s\n", is.name, is.version);
        exit(0);
    default:
        fprintf(stderr, "Try %s --help.\n", is.name);
        exit(2);
    }
}

#endif
