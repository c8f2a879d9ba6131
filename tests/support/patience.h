// A test that would never end is a failure that says what it was doing, and not a matter of waiting for a limit
// (decision 0137).
#ifndef TESTS_SUPPORT_PATIENCE_H
#define TESTS_SUPPORT_PATIENCE_H

// After this much processor time the process, and each that it forks, ends with a report and exit status 1. Waiting for
// a busy machine costs none.
void limit_processor_time(unsigned seconds);

// The limit of a test: TEST_CPU_SECONDS of the environment, or what this build's tests need many times over.
void limit_processor_time_of_a_test();

#endif
