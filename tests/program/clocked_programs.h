// The build's programs, on a clock that goes faster than the machine's (lab/clock), for a test that starts them by the
// hundred.
#ifndef TESTS_PROGRAM_CLOCKED_PROGRAMS_H
#define TESTS_PROGRAM_CLOCKED_PROGRAMS_H

#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/contract/contract_support.h"

constexpr long long HALF_PAST_TWO_MS = 1772505000000; // 2026-03-03, UTC

inline std::string bin()
{
    return DEATHS_PROGRAMS;
}

// What a life's programs have in common: how fast their clock goes, and what it shows.
inline std::vector<std::string> environment_at(int rate)
{
    timespec up = {};
    clock_gettime(CLOCK_BOOTTIME, &up);
    const long long up_ms = up.tv_sec * 1000LL + up.tv_nsec / 1000000;
    const long long zero = HALF_PAST_TWO_MS - rate * up_ms;
    return {"LD_PRELOAD=" + bin() + "/libbox_clock.so",
            "BOX_CPU_CLOCK=box",
            "BOX_CLOCK_RATE=" + std::to_string(rate),
            "BOX_CLOCK_ZERO_MS=" + std::to_string(zero),
            "TZ=UTC0",
            "PATH=" + bin() + ":/usr/sbin:/usr/bin:/sbin:/bin",
            std::string("TIME_CHECK_RUN_DIR=") + getenv("TIME_CHECK_RUN_DIR"),
            std::string("TIME_CHECK_CONF_DIR=") + getenv("TIME_CHECK_CONF_DIR")};
}

inline std::vector<char *> pointers_to(const std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string &text : texts)
        pointers.push_back(const_cast<char *>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

inline pid_t start(const std::vector<std::string> &words, const std::vector<std::string> &environment, const char *out,
                   const char *error)
{
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out, FLAGS, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, error, FLAGS, 0600);
    pid_t pid = -1;
    const std::string program = bin() + "/" + words[0];
    if (posix_spawn(&pid, program.c_str(), &files, nullptr, pointers_to(words).data(),
                    pointers_to(environment).data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&files);
    return pid;
}

struct ended {
    int status = -1; // -1: by a signal
    std::string out;
    std::string error;
};

inline ended run(const std::vector<std::string> &words, const std::vector<std::string> &environment)
{
    const TemporaryFolder folder;
    const std::string out = folder.path() / "out";
    const std::string error = folder.path() / "error";
    int status = 0;
    waitpid(start(words, environment, out.c_str(), error.c_str()), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(out), text_of(error)};
}

#endif
