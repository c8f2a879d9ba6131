// What the fuzz targets share: a fresh daemon for each input, and what must hold after it.
#ifndef TESTS_FUZZ_FUZZ_DAEMON_H
#define TESTS_FUZZ_FUZZ_DAEMON_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/virtual_router.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// The parts of an input, as text without zeros, divided by `separator`; at most `most` of them.
std::vector<std::string> parts_of(const uint8_t *data, size_t size, char separator, size_t most);

// Puts the daemon's variables back to what they were at its start and keeps the router from remembering.
void fresh_daemon();

// Runs every module's tick once.
void run_ticks();

// Ends the program when the daemon left a descriptor open.
void expect_order();

#endif
