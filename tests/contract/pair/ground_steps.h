// What the plain-Linux ground and the virtual router are told: calls of the contract. ground_real.cpp and
// ground_model.cpp are the two sides, with the conformance kit's worlds for what stands around them.
#ifndef TESTS_CONTRACT_PAIR_GROUND_STEPS_H
#define TESTS_CONTRACT_PAIR_GROUND_STEPS_H

#include "tests/contract/pair/pair.h"

namespace pair
{

// ---- the sides ----

void begin_program();
void begin_ground();  // an empty store, no files, and a world that is the conformance kit's
void begin_world();   // the same with the kit's world
void end_world();     //
void restart_store(); // a power cut, as the store sees it
void teach_status(const std::string &command, int status);
void put_file(const std::string &path, const std::string &text); // below /tmp
void take_file(const std::string &path);
std::string rules_here(); // of policy routing and packet filter, as far as the daemon makes them

// ---- what they are told ----

extern const Family store;
extern const Family texts;
extern const Family shell;
extern const Family rules;
extern const Family network;
extern const Family device;

} // namespace pair

#endif
