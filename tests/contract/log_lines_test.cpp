// The daemon's printf beside libc's: the same bytes, but for what is foreign in arguments.
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "tests/contract/contract_support.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" int __wrap_printf(const char *format, ...);
extern "C" int __wrap_puts(const char *text);
extern "C" int __wrap_putchar(int character);
// NOLINTEND(bugprone-reserved-identifier)

namespace
{

// What `act` leaves in the file that is standard output meanwhile.
template <typename Act>
std::string printed(const Act &act)
{
    const TemporaryFolder folder;
    const std::string file = folder.path() / "log";
    fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    const int log = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    dup2(log, STDOUT_FILENO);
    act();
    fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    close(log);
    return text_of(file);
}

#define EXPECT_SAME_AS_PLAIN(...)                                                                                      \
    do {                                                                                                               \
        int ours = 0;                                                                                                  \
        int plain = 0;                                                                                                 \
        const std::string text = printed([&] { plain = printf(__VA_ARGS__); });                                        \
        EXPECT_EQ(printed([&] { ours = __wrap_printf(__VA_ARGS__); }), text);                                          \
        EXPECT_EQ(ours, plain);                                                                                        \
    } while (0)

TEST(LogLines, EveryConversionOfTheDaemonIsAsLibcs)
{
    EXPECT_SAME_AS_PLAIN("plain\n");
    EXPECT_SAME_AS_PLAIN("\033[1;31m[TIMER_CHECK >>%s(%d)]:\033[mfound {name:%10s,id:%2d} %02d:%02d 100%%\n", "main", 7,
                         "led", 3, 4, 59);
    EXPECT_SAME_AS_PLAIN("%d %d %u %x %X %c %5d|%-5d|%+d\n", -1, INT32_MIN, UINT32_MAX, 255U, 255U, 'c', 42, 42, 42);
    EXPECT_SAME_AS_PLAIN("%lld %llu %ld %lu\n", INT64_MIN + 0LL, UINT64_MAX + 0ULL, -5L, 5UL);
    EXPECT_SAME_AS_PLAIN("%.1f %.2f %f %8.3f %f\n", 1.25, -0.005, 1e9, 2.5, 1.0 / 3);
    EXPECT_SAME_AS_PLAIN("%s%s|%.3s|%-6s|%s\n", "", "\u00fc\u20ac", "abcdef", "ab", "");
    EXPECT_SAME_AS_PLAIN("%s[%s:%s:%d] %sbody\n\033[0m", "\033[0;33m", "time_check", "f", 1, "\033[0;32m");
}

TEST(LogLines, WhatIsForeignInArgumentsIsReplaced)
{
    EXPECT_EQ(printed([] { __wrap_printf("\033[1;32m%s\t%c\n", "a\nFAKE\033[2J\r\u009b\x9b", '\033'); }),
              "\033[1;32ma?FAKE?[2J????\t?\n");
    EXPECT_EQ(printed([] { __wrap_printf("%s %s\n", "\033[0;31m.", "\033[2J"); }), "?[0;31m. ?[2J\n")
        << "only the daemon's own colours, alone";
    EXPECT_EQ(printed([] { __wrap_printf("%s%s\n", "\033[30m", "\033[1m"); }), "?[30m?[1m\n");
    EXPECT_EQ(printed([] { __wrap_puts("a\nb\033c"); }), "a?b?c\n");
}

TEST(LogLines, LineAppearsWhenItHasItsEnd)
{
    EXPECT_EQ(printed([] {
                  __wrap_printf("ops_module:");
                  EXPECT_EQ(lseek(STDOUT_FILENO, 0, SEEK_CUR), 0);
                  std::thread other([] { __wrap_printf("the other thread's\n"); });
                  other.join();
                  __wrap_printf("%s,", "led");
                  __wrap_putchar('\n');
                  EXPECT_GT(lseek(STDOUT_FILENO, 0, SEEK_CUR), 30);
              }),
              "the other thread's\nops_module:led,\n");
}

TEST(LogLines, LongArgumentsDoNotCostALineItsEnd)
{
    const std::string value(5000, 'v');
    const std::string line = printed([&] { __wrap_printf("key = %s,value = %s\n", "k", value.c_str()); });
    EXPECT_EQ(line.substr(0, 16), "key = k,value = ");
    EXPECT_GT(line.size(), 800U);
    EXPECT_LT(line.size(), 1024U);
    EXPECT_EQ(line.back(), '\n');
    const std::string body(1023, 'b'); // as a format; behind it there is no room for what an argument brings
    const std::string full = printed([&] { __wrap_printf((body + "%d%s\n").c_str(), 12, "tail"); }); // NOLINT
    EXPECT_EQ(full, body + '\n');
    const std::string many = printed([] {
        for (int i = 0; i < 2000; i++)
            __wrap_printf("%c", 'x');
        for (int i = 0; i < 2000; i++)
            __wrap_putchar('y');
        __wrap_printf("\nnext\n");
    });
    EXPECT_EQ(many.substr(many.size() - 6), "\nnext\n");
}

} // namespace
