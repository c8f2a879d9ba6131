// Parts of a test in a process of their own, and what a part says.
#ifndef TESTS_CONTRACT_OWN_PROCESS_H
#define TESTS_CONTRACT_OWN_PROCESS_H

#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// What is printed on standard error meanwhile.
inline std::string said(const std::function<void()> &act)
{
    testing::internal::CaptureStderr();
    act();
    return testing::internal::GetCapturedStderr();
}

// Runs a part of a test in a process of its own; its failures are the test's.
inline void elsewhere(const std::function<void()> &act)
{
    fflush(nullptr); // or it would print what this process has still to print
    const pid_t child = fork();
    if (child == 0) {
        act();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the other process failed";
}

#endif
