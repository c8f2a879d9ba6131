// platform/system.h: commands and programs.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/system.h"
#include "tests/contract/kit/kit.h"

static constexpr long long SOON_MS = 5000; // what ends by itself is over by then, on a loaded board too

static void statuses()
{
    EXPECT_NUMBER(doSystemCmd("true"), 0);
    NEEDS_REAL;
    EXPECT_NUMBER(doSystemCmd("exit 3"), 3);
    EXPECT_NUMBER(doSystemCmd("kill -9 $$"), 128 + 9);
}

static void formats()
{
    NEEDS_REAL;
    EXPECT_NUMBER(doSystemCmd("test '%s' = 'a  b' && test %d -eq 42", "a  b", 42), 0);
    EXPECT_NUMBER(doSystemCmd("echo a b | grep -q 'b' && exit %d", 7), 7);
}

static void too_long()
{
    NEEDS_REAL;
    static char padding[5000];
    memset(padding, ' ', sizeof padding - 1);
    char path[] = "/tmp/kit.long.XXXXXX";
    const int file = mkstemp(path);
    EXPECT(file >= 0);
    close(file);
    EXPECT_NUMBER(doSystemCmd("rm -f %s #%.4000s", path, padding), 0);
    EXPECT(access(path, F_OK) != 0);
    EXPECT_NUMBER(doSystemCmd("touch %s #%s", path, padding), -1);
    EXPECT(access(path, F_OK) != 0);
}

static void empty_input()
{
    NEEDS_REAL;
    const long long begin = kit_ms();
    EXPECT_NUMBER(doSystemCmd("read line"), 1);
    EXPECT(kit_ms() - begin < SOON_MS);
}

static void background()
{
    NEEDS_REAL;
    char path[] = "/tmp/kit.background.XXXXXX";
    const int file = mkstemp(path);
    EXPECT(file >= 0);
    close(file);
    const long long begin = kit_ms();
    EXPECT_NUMBER(doSystemCmd("(sleep 7; rm -f %s) >/dev/null 2>&1 &", path), 0);
    EXPECT(kit_ms() - begin < SOON_MS);
    EXPECT_NUMBER(access(path, F_OK), 0);
    for (int i = 0; i < 100 && access(path, F_OK) == 0; i++)
        usleep(100000);
    EXPECT(access(path, F_OK) != 0);
}

static void deadline()
{
    NEEDS_REAL;
    NEEDS(kit_world.command_deadline_s > 0, "the world has no command_deadline_s");
    const long long begin = kit_ms();
    EXPECT(doSystemCmd("sleep 100; sleep 100") > 128);
    EXPECT(kit_ms() - begin < kit_world.command_deadline_s * 1000LL + SOON_MS);
}

static int status_elsewhere;

static void *command_elsewhere(void * /*nothing*/)
{
    status_elsewhere = doSystemCmd("sleep 1; exit 5");
    return nullptr;
}

static void two_threads()
{
    NEEDS_REAL;
    pthread_t other = {};
    const long long begin = kit_ms();
    EXPECT_NUMBER(pthread_create(&other, nullptr, command_elsewhere, nullptr), 0);
    EXPECT_NUMBER(doSystemCmd("sleep 1; exit 6"), 6);
    pthread_join(other, nullptr);
    EXPECT_NUMBER(status_elsewhere, 5);
    EXPECT(kit_ms() - begin < SOON_MS);
}

// The program with an argument or two, as _eval wants them.
static int eval(const char *program, const char *first, const char *second, const char *redirect, int timeout, int *pid)
{
    char words[3][64];
    int count = 0;
    for (const char *word : {program, first, second})
        if (word != nullptr)
            snprintf(words[count++], sizeof words[0], "%s", word);
    char *const argv[] = {words[0], count > 1 ? words[1] : nullptr, count > 2 ? words[2] : nullptr, nullptr};
    return _eval(argv, redirect, timeout, pid);
}

static void programs_status()
{
    EXPECT_NUMBER(eval("true", nullptr, nullptr, nullptr, 0, nullptr), 0);
    NEEDS_REAL;
    EXPECT_NUMBER(eval("false", nullptr, nullptr, nullptr, 0, nullptr), 1);
    EXPECT_NUMBER(eval("test", "a; b", nullptr, nullptr, 0, nullptr), 0);
    EXPECT_NUMBER(eval("no-such-program-here", nullptr, nullptr, nullptr, 0, nullptr), -1);
}

static void redirection()
{
    NEEDS_REAL;
    char redirect[] = ">/tmp/kit.output.XXXXXX";
    const int file = mkstemp(redirect + 1);
    EXPECT(file >= 0);
    EXPECT_NUMBER(eval("echo", "a  b", "c", redirect, 0, nullptr), 0);
    char text[32] = "";
    EXPECT_NUMBER(read(file, text, sizeof text - 1), 7);
    EXPECT_TEXT(text, "a  b c\n");
    close(file);
    unlink(redirect + 1);
}

static void no_waiting()
{
    NEEDS_REAL;
    int pid = -1;
    const long long begin = kit_ms();
    EXPECT_NUMBER(eval("sleep", "8", nullptr, nullptr, 0, &pid), 0);
    EXPECT(kit_ms() - begin < SOON_MS);
    EXPECT(pid > 0);
    EXPECT_NUMBER(pid > 0 ? doSystemCmd("kill -9 %d", pid) : -1, 0);
}

static void programs_timeout()
{
    NEEDS_REAL;
    const long long begin = kit_ms();
    EXPECT(eval("sleep", "100", nullptr, nullptr, 1, nullptr) > 128);
    EXPECT(kit_ms() - begin < 1000 + SOON_MS);
}

static constexpr const char *SYSTEM = "system.h";

static constexpr kit_check CHECKS[] = {
    {SYSTEM, "doSystemCmd", "a command gives its exit status, or 128 and the signal that ended it", statuses},
    {SYSTEM, "doSystemCmd", "a command is formatted, and read by a shell", formats},
    {SYSTEM, "doSystemCmd", "a command of more than 4095 characters is not run", too_long},
    {SYSTEM, "doSystemCmd", "a command finds its input empty", empty_input},
    {SYSTEM, "doSystemCmd", "what a command puts in the background is not waited for, and lives on", background},
    {SYSTEM, "doSystemCmd", "a command that does not end is ended", deadline},
    {SYSTEM, "doSystemCmd", "two threads may run commands at the same time", two_threads},
    {SYSTEM, "_eval", "a program gives its exit status, and no shell reads its arguments", programs_status},
    {SYSTEM, "_eval", "output goes where `redirect` says", redirection},
    {SYSTEM, "_eval", "whoever wants the process id does not wait", no_waiting},
    {SYSTEM, "_eval", "a program is ended after its timeout", programs_timeout},
};

const kit_list command_checks = kit_list_of(CHECKS);
