// Every call of the C library that the store and LMDB make, so that a test can count them, let one fail, or end the
// process at one. Linking faulty_calls.cpp puts it in front of the library, for LMDB's shared library too.
#ifndef TESTS_CONTRACT_FAULTY_CALLS_H
#define TESTS_CONTRACT_FAULTY_CALLS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace faulty
{

enum class How : uint8_t {
    NOT,
    ONCE,       // this one call fails
    FOR_EVER,   // and every later one that can fail for the same reason
    HALF,       // reads or writes half of what it should
    DIE_BEFORE, // SIGKILL
    DIE_AFTER,
};

struct Fault {
    How how = How::NOT;
    size_t at = 0; // the number of the call, from 0
    int error = 0;
    bool is_any_error = false; // also where it does not fit: a call that can fail at all fails by it
};

// What was called while it was watched.
struct Trace {
    size_t calls;
    std::array<uint8_t, 4096> kinds;
};

// From here to `end` this thread's calls are counted and traced, and one of them meets the fault.
void begin(const Fault &fault, Trace *trace);
void end();

// Of the kinds in a trace.
const char *name_of(uint8_t kind);
std::vector<int> errors_of(uint8_t kind); // by which it can fail
bool moves_bytes(uint8_t kind);           // so that half of them can be left

// How long this process has slept. Sleeping takes no real time.
int64_t slept_ms();

} // namespace faulty

#endif
