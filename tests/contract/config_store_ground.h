// What both grounds supply for the test of what a commit keeps.
#ifndef TESTS_CONTRACT_CONFIG_STORE_GROUND_H
#define TESTS_CONTRACT_CONFIG_STORE_GROUND_H

#include <string>

namespace ground
{

void begin();   // a router whose running store holds nothing under "test."
void restart(); // a power cut: what was not committed is gone
void end();

// What another process sees.
std::string get_elsewhere(const std::string &key);

} // namespace ground

#endif
