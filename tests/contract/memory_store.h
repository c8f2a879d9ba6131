// A configuration store in memory, for tests of what reads keys and is not the store.
#ifndef TESTS_CONTRACT_MEMORY_STORE_H
#define TESTS_CONTRACT_MEMORY_STORE_H

#include <map>
#include <string>

// The keys; empty at the start of a program.
std::map<std::string, std::string> &stored();

#endif
