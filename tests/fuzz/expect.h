// What a target found that must not be.
#ifndef TESTS_FUZZ_EXPECT_H
#define TESTS_FUZZ_EXPECT_H

#include <cstdio>
#include <cstdlib>

// Ends the program with a line unless it holds.
inline void expect(bool holds, const char *what)
{
    if (holds)
        return;
    fprintf(stderr, "does not hold: %s\n", what);
    abort();
}

#endif
