// What a ground supplies for the store's contract test.
#ifndef TESTS_CONTRACT_CONFIG_STORE_GROUND_H
#define TESTS_CONTRACT_CONFIG_STORE_GROUND_H

#include <string>

namespace ground
{

void begin();   // a router whose running store holds nothing under "test."
void restart(); // a power cut: what was not committed is gone
void end();

// What another process does and sees.
void set_elsewhere(const std::string &key, const std::string &value);
std::string get_elsewhere(const std::string &key);

} // namespace ground

#endif
