// The programs that do what is asked for, one a verb.
#ifndef ROUTER_NETCTRL_PROGRAM_H
#define ROUTER_NETCTRL_PROGRAM_H

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

// What a program's exit status says, beside 0 for done and others for failed (sysexits.h).
enum program_status {
    STATUS_NOT_HERE = 69, // this machine has nothing that could do it
    STATUS_NOT_YET = 75,  // what it is done to is not up yet: run it again later
};

// Where the programs are: the owner's folder goes before the package's.
struct program_folders {
    std::string owner;
    std::string package;
};

// The path of a verb's program. Empty: there is none. "/dev/null": the owner has switched the verb off, by a link
// there.
std::string program_of(const program_folders &folders, std::string_view verb);

// Runs a program in a process group of its own, with these "NAME=VALUE" beside our environment, nothing to read and our
// outputs. It ends when we die. Gives the process, or -1 with errno set. What cannot be executed ends with 126.
pid_t start_program(const std::string &path, const std::vector<std::string> &variables);

#endif
