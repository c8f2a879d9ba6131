// The arguments of the program time_check.
#ifndef PLATFORM_COMMON_ARGUMENTS_H
#define PLATFORM_COMMON_ARGUMENTS_H

// Null when there is none, and the daemon is to begin. --help or --version alone: prints what it asks for and ends the
// program with status 0. Otherwise the first argument that is wrong.
const char *wrong_argument(int count, char *const arguments[]);

#endif
