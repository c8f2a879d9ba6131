// What libc and the virtual router's libc calls are told. libc_real.cpp and libc_model.cpp are the two sides, a program
// each: libc reads the time zone once in a process, and the virtual router has it read before main.
#ifndef TESTS_CONTRACT_PAIR_LIBC_STEPS_H
#define TESTS_CONTRACT_PAIR_LIBC_STEPS_H

#include "tests/contract/pair/pair.h"
#include "tests/contract/two_libcs.h"

namespace pair
{

constexpr const char *SCRATCH = "/tmp/pair/scratch"; // a folder, which is empty at a sequence's begin

// ---- the sides ----

extern Libc libc;
void begin_program();
void begin_libc();                                                   // a fresh world
std::string take_what_was_printed();                                 // on standard output, since it was last asked
void read_zone();                                                    // what the ground does between two ticks
void tell_name(const std::string &name, const std::string &address); // "": there is none
void tell_name_server(bool is_up);

// ---- what they are told ----

extern const Family files;
extern const Family output;
extern const Family commands;
extern const Family times;
extern const Family names;

} // namespace pair

#endif
