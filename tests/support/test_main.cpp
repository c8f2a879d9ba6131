// The main of every test program. The code under test starts once a process and has no reset, so each test runs in a
// process of its own: with one test selected this is it, otherwise there is a child for each. TEST_PART=2/4 in the
// environment selects the second quarter of the tests. The last line of a run that failed is the command that repeats a
// failed test.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/support/patience.h"

// There only where the address sanitizer is.
extern "C" void __lsan_do_leak_check() __attribute__((weak)); // NOLINT(bugprone-reserved-identifier)

namespace
{

bool matches_one(const std::string &name, std::string_view patterns)
{
    while (!patterns.empty()) {
        const size_t end = std::min(patterns.find(':'), patterns.size());
        if (fnmatch(std::string(patterns.substr(0, end)).c_str(), name.c_str(), FNM_NOESCAPE) == 0)
            return true;
        patterns.remove_prefix(std::min(end + 1, patterns.size()));
    }
    return false;
}

// GoogleTest's filter: patterns, then after a "-" patterns of what is left out.
bool selected(const std::string &name, bool disabled)
{
    if (disabled && !GTEST_FLAG_GET(also_run_disabled_tests))
        return false;
    const std::string filter = GTEST_FLAG_GET(filter);
    const size_t minus = std::min(filter.find('-'), filter.size());
    const std::string_view wanted = std::string_view(filter).substr(0, minus);
    const std::string_view unwanted = std::string_view(filter).substr(std::min(minus + 1, filter.size()));
    return matches_one(name, wanted.empty() ? "*" : wanted) && !matches_one(name, unwanted);
}

std::vector<std::string> selected_tests()
{
    std::vector<std::string> names;
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); i++) {
        const testing::TestSuite &suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); j++) {
            const std::string test = suite.GetTestInfo(j)->name();
            const std::string name = std::string(suite.name()) + "." + test;
            if (selected(name, name.find("DISABLED_") != std::string::npos))
                names.push_back(name);
        }
    }
    return names;
}

// TEST_PART=2/4: the second, the sixth and so on.
void keep_own_part(std::vector<std::string> &names)
{
    const char *const part = getenv("TEST_PART");
    size_t own = 1;
    size_t parts = 1;
    if (part != nullptr && (sscanf(part, "%zu/%zu", &own, &parts) != 2 || own < 1 || own > parts)) {
        fprintf(stderr, "TEST_PART is not like 2/4: %s\n", part);
        exit(2);
    }
    size_t number = 0;
    std::erase_if(names, [&](const std::string &) { return number++ % parts != own - 1; });
}

std::string read_all(int fd)
{
    std::string text;
    char part[4096];
    for (ssize_t got = read(fd, part, sizeof part); got > 0; got = read(fd, part, sizeof part))
        text.append(part, static_cast<size_t>(got));
    close(fd);
    return text;
}

// What the test's process printed goes to `output`.
bool passes_in_own_process(const std::string &name, std::string &output)
{
    int ends[2];
    if (pipe(ends) != 0)
        return false;
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        limit_processor_time_of_a_test();
        GTEST_FLAG_SET(filter, name);
        const int result = RUN_ALL_TESTS();
        fflush(nullptr);
        if (__lsan_do_leak_check != nullptr)
            exit(result); // and it looks for lost memory
        _exit(result);    // under emulation the destructors of what lives for ever take twice as long as most tests
    }
    close(ends[1]);
    output = read_all(ends[0]);
    int status = 0;
    const bool ended = child > 0 && waitpid(child, &status, 0) == child;
    if (ended && WIFSIGNALED(status))
        output += "ended by signal " + std::to_string(WTERMSIG(status)) + "\n";
    return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The commands that repeat these tests, a line each; what the environment asks of them included.
void print_how_to_repeat(const std::vector<std::string> &names)
{
    char program[4096];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program);
    const char *soak_days = getenv("SOAK_DAYS");
    for (const std::string &name : names)
        printf("%s%s%s%.*s --gtest_filter=%s\n",
               soak_days == nullptr ? "" : "SOAK_DAYS=", soak_days == nullptr ? "" : soak_days,
               soak_days == nullptr ? "" : " ", static_cast<int>(std::max<ssize_t>(length, 0)), program, name.c_str());
}

int run_each_in_own_process(const std::vector<std::string> &names)
{
    std::vector<std::string> failed;
    for (const std::string &name : names) {
        const auto begin = std::chrono::steady_clock::now();
        std::string output;
        const bool passed = passes_in_own_process(name, output);
        const auto took =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
        if (!passed) {
            failed.push_back(name);
            printf("%s", output.c_str());
        }
        printf("[%s] %s (%lld ms)\n", passed ? "       OK " : "  FAILED  ", name.c_str(), static_cast<long long>(took));
    }
    printf("[==========] %zu tests ran.\n[  PASSED  ] %zu tests.\n", names.size(), names.size() - failed.size());
    for (const std::string &name : failed)
        printf("[  FAILED  ] %s\n", name.c_str());
    print_how_to_repeat(failed);
    return failed.empty() ? 0 : 1;
}

} // namespace

// The thread sanitizer waits a second for other threads at the end of a process; here is none.
extern "C" const char *__tsan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return "atexit_sleep_ms=0";
}

int main(int count, char **arguments)
{
    testing::InitGoogleTest(&count, arguments);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    std::vector<std::string> names = selected_tests();
    if (names.size() > 1) {
        keep_own_part(names);
        return run_each_in_own_process(names);
    }
    limit_processor_time_of_a_test();
    const int outcome = RUN_ALL_TESTS();
    if (outcome != 0)
        print_how_to_repeat(names);
    return outcome;
}
