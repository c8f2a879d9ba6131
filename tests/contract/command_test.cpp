// Commands and programs: results, what they inherit, what lives on and what is ended.
#include "platform/system.h"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "tests/contract/contract_support.h"

using namespace std::chrono_literals;

namespace
{

class Command : public testing::Test
{
protected:
    std::string file(const char *name) const
    {
        return (folder.path() / name).string();
    }

    std::string output_of(const std::string &command) const
    {
        EXPECT_EQ(doSystemCmd("( %s ) >%s", command.c_str(), file("out").c_str()), 0) << command;
        return text_of(file("out"));
    }

    TemporaryFolder folder;
};

// Whether the process runs; one that ended without being reaped does not.
bool runs(pid_t pid)
{
    const std::string stat = text_of("/proc/" + std::to_string(pid) + "/stat");
    const size_t name_end = stat.rfind(") ");
    return name_end != std::string::npos && stat[name_end + 2] != 'Z' && stat[name_end + 2] != 'X';
}

// A pipe that nobody reads, as standard output and standard error.
int become_unread_pipe()
{
    int unread[2];
    EXPECT_EQ(pipe2(unread, O_CLOEXEC | O_NONBLOCK), 0);
    while (write(unread[1], "full", 4) > 0) {
    }
    fcntl(unread[1], F_SETFL, 0);
    dup2(unread[1], STDOUT_FILENO);
    dup2(unread[1], STDERR_FILENO);
    close(unread[1]);
    return unread[0];
}

TEST_F(Command, LogWhoseReaderHasStoppedDoesNotHoldItUp)
{
    in_own_process([] {
        alarm(150);
        become_unread_pipe();
        int result = -1;
        const auto taken = time_taken([&] { result = doSystemCmd("echo line && echo line >&2"); });
        _exit(result == 0 && taken < 30s ? 0 : 1);
    });
}

TEST_F(Command, LogWhoseReaderHasEndedDoesNotEndIt)
{
    in_own_process([] {
        close(become_unread_pipe());
        _exit(doSystemCmd("/bin/echo line && /bin/echo line >&2"));
    });
}

TEST_F(Command, ResultIsTheExitStatus)
{
    EXPECT_EQ(doSystemCmd("true"), 0);
    EXPECT_EQ(doSystemCmd("exit %d", 7), 7);
    EXPECT_EQ(doSystemCmd("kill -TERM $$"), 128 + SIGTERM);
    EXPECT_EQ(doSystemCmd("/there/is/no/such/program 2>/dev/null"), 127);
}

TEST_F(Command, ShellGetsTheFormattedText)
{
    EXPECT_EQ(output_of("printf '%s|' a 'b c' \"$((1+1))\""), "a|b c|2|");
}

TEST_F(Command, CommandOf4095CharactersRunsAndALongerOneDoesNot)
{
    const std::string filler(4095 - strlen("exit 3 #"), 'x');
    EXPECT_EQ(doSystemCmd("exit 3 #%s", filler.c_str()), 3);
    error_lines_of([&] { EXPECT_EQ(doSystemCmd("exit 3 #%sx", filler.c_str()), -1); });
}

TEST_F(Command, StandardInputIsEmpty)
{
    in_own_process([this] {
        int input[2];
        ASSERT_EQ(pipe(input), 0);
        ASSERT_EQ(write(input[1], "the daemon's own", 16), 16);
        close(input[1]);
        ASSERT_EQ(dup2(input[0], STDIN_FILENO), STDIN_FILENO);
        EXPECT_EQ(output_of("cat; echo end"), "end\n");
    });
}

TEST_F(Command, NoDescriptorOfTheDaemonIsInherited)
{
    const int leaky = open("/dev/null", O_RDONLY); // deliberately without close-on-exec
    ASSERT_GE(leaky, 0);
    // The shell's own descriptors: 0, 1, 2 and the one that reads the folder.
    EXPECT_EQ(output_of("for d in /proc/self/fd/*; do readlink $d || true; done | grep -c null"), "1\n");
    close(leaky);
}

TEST_F(Command, SignalsAreAsAtTheStartOfAProgram)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    signal(SIGUSR2, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const std::string status = output_of("grep -E 'Sig(Blk|Ign)' /proc/self/status");
    pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    signal(SIGUSR2, SIG_DFL);
    EXPECT_EQ(status, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_F(Command, RunsInAProcessGroupOfItsOwn)
{
    EXPECT_NE(output_of("set -- $(cat /proc/$$/stat); echo $5"), std::to_string(getpgrp()) + "\n");
}

TEST_F(Command, ProgramsInTheBackgroundLiveOn)
{
    const auto taken = time_taken([&] { EXPECT_EQ(doSystemCmd("sleep 30 & echo $! >%s", file("pid").c_str()), 0); });
    EXPECT_LT(taken, 10s) << "the end of the background program was waited for";
    const pid_t background = std::stoi(text_of(file("pid")));
    EXPECT_TRUE(runs(background));
    kill(background, SIGKILL);
}

TEST_F(Command, CommandThatHangsIsEndedWithAllItStarted)
{
    setenv("TIME_CHECK_COMMAND_DEADLINE_S", "1", 1);
    std::chrono::milliseconds taken{};
    const std::string lines = error_lines_of([&] {
        taken = time_taken(
            [&] { EXPECT_EQ(doSystemCmd("sleep 60 & echo $! >%s; sleep 61", file("pid").c_str()), 128 + SIGKILL); });
    });
    unsetenv("TIME_CHECK_COMMAND_DEADLINE_S");
    EXPECT_GE(taken, 990ms);
    EXPECT_LT(taken, 20s);
    const pid_t background = std::stoi(text_of(file("pid")));
    EXPECT_TRUE(comes_true([&] { return !runs(background); }));
    EXPECT_NE(lines.find("command sleep: ended after 1 s\n"), std::string::npos) << lines;
    EXPECT_EQ(lines.find("61"), std::string::npos) << "arguments may be secret";
}

TEST_F(Command, CommandThatIgnoresSignalsIsEndedToo)
{
    setenv("TIME_CHECK_COMMAND_DEADLINE_S", "1", 1);
    error_lines_of(
        [] { EXPECT_EQ(doSystemCmd("trap '' TERM INT HUP; for i in $(seq 60); do sleep 1; done"), 128 + SIGKILL); });
    unsetenv("TIME_CHECK_COMMAND_DEADLINE_S");
}

TEST_F(Command, NothingIsLeftOpenOrUnreaped)
{
    doSystemCmd("true");
    const size_t descriptors = open_descriptors();
    for (int i = 0; i < 50; i++)
        doSystemCmd("true");
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(Command, ManyThreadsMayRunCommands)
{
    std::vector<std::thread> threads;
    for (int i = 1; i <= 4; i++)
        threads.emplace_back([i] {
            for (int turn = 0; turn < 25; turn++)
                EXPECT_EQ(doSystemCmd("exit %d", i), i);
        });
    for (std::thread &thread : threads)
        thread.join();
}

// From here on this process's kernel lacks two calls that came with 5.3 and 5.9.
void pretend_an_old_kernel()
{
    constexpr uint32_t NO_SUCH_CALL = SECCOMP_RET_ERRNO | ENOSYS;
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, NO_SUCH_CALL),
    };
    sock_fprog program = {.len = std::size(rules), .filter = rules};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
    ASSERT_EQ(syscall(SYS_pidfd_open, getpid(), 0), -1);
}

TEST_F(Command, OldKernelsDo)
{
    in_own_process([this] {
        pretend_an_old_kernel();
        EXPECT_EQ(doSystemCmd("exit 7"), 7);
        EXPECT_EQ(doSystemCmd("sleep 0.2; exit 8"), 8);
        const int leaky = open("/dev/null", O_RDONLY); // deliberately without close-on-exec
        EXPECT_EQ(output_of("for d in /proc/self/fd/*; do readlink $d || true; done | grep -c null"), "1\n");
        close(leaky);
        setenv("TIME_CHECK_COMMAND_DEADLINE_S", "1", 1);
        error_lines_of([] { EXPECT_EQ(doSystemCmd("sleep 60"), 128 + SIGKILL); });
    });
}

// ---- without a shell ----

class Eval : public Command
{
protected:
    static int run(std::vector<std::string> words, const char *redirect, int timeout = 0, int *pid = nullptr)
    {
        std::vector<char *> argv;
        for (std::string &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        return _eval(argv.data(), redirect, timeout, pid);
    }
};

TEST_F(Eval, ArgumentsReachTheProgramAsTheyAre)
{
    const std::string redirect = ">" + file("out");
    EXPECT_EQ(run({"printf", "%s|", "a b", "$(id)", ";", "'\"", ""}, redirect.c_str()), 0);
    EXPECT_EQ(text_of(file("out")), "a b|$(id)|;|'\"||");
}

TEST_F(Eval, StandardErrorIsRedirectedToo)
{
    const std::string redirect = ">" + file("out");
    EXPECT_EQ(run({"sh", "-c", "echo out; echo error >&2; exit 5"}, redirect.c_str()), 5);
    EXPECT_EQ(text_of(file("out")), "out\nerror\n");
}

TEST_F(Eval, ProgramRunsThoughTheRedirectCannotBeOpened)
{
    EXPECT_EQ(run({"true"}, ">/there/is/no/such/folder/out"), 0);
}

TEST_F(Eval, MissingProgramGivesMinusOneAndOneLine)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "NOT TESTED: the thread sanitizer's vfork is a fork, and the reason stays in the child";
#endif
    const std::string lines = error_lines_of([] {
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(run({"there_is_no_such_program", "secret"}, nullptr), -1);
    });
    EXPECT_NE(lines.find("command there_is_no_such_program: cannot be run: No such file or directory\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
}

TEST_F(Eval, TimeoutEndsTheProgram)
{
    error_lines_of([] { EXPECT_EQ(run({"sleep", "60"}, nullptr, 1), 128 + SIGKILL); });
}

TEST_F(Eval, WithAProcessIdItDoesNotWait)
{
    int pid = 0;
    EXPECT_EQ(run({"sleep", "60"}, nullptr, 0, &pid), 0);
    ASSERT_GT(pid, 1);
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);
    kill(pid, SIGKILL);
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(Eval, NothingToRunGivesMinusOne)
{
    char *const nothing[] = {nullptr};
    EXPECT_EQ(_eval(nothing, nullptr, 0, nullptr), -1);
    EXPECT_EQ(_eval(nullptr, nullptr, 0, nullptr), -1);
}

// ---- with its output read ----

class ReadCommand : public Command
{
protected:
    // What the command prints, and what pclose says of it.
    static std::pair<std::string, int> read_all(const std::string &command)
    {
        FILE *const stream = popen(command.c_str(), "r");
        if (stream == nullptr)
            return {"no stream", -1};
        const std::string text = read_rest(stream);
        return {text, pclose(stream)};
    }

    static std::string read_rest(FILE *stream)
    {
        std::string text;
        for (int c = fgetc(stream); c != EOF; c = fgetc(stream))
            text += static_cast<char>(c);
        return text;
    }

    static void expect_ended_by_the_deadline(const std::string &command, const std::string &printed)
    {
        setenv("TIME_CHECK_COMMAND_DEADLINE_S", "1", 1);
        const std::string lines = error_lines_of([&] {
            const auto [text, status] = read_all(command);
            EXPECT_EQ(text, printed) << command;
            EXPECT_TRUE(WIFSIGNALED(status)) << command;
            EXPECT_EQ(WTERMSIG(status), SIGKILL) << command;
        });
        unsetenv("TIME_CHECK_COMMAND_DEADLINE_S");
        EXPECT_EQ(lines.substr(lines.find(": ") + 2), "command echo: ended after 1 s\n");
    }
};

TEST_F(ReadCommand, OutputAndStatusAreGiven)
{
    EXPECT_EQ(read_all("echo one; echo error >&2; echo two"), std::pair(std::string("one\ntwo\n"), 0));
    EXPECT_EQ(read_all("exit 7"), std::pair(std::string(), 7 << 8));
    EXPECT_EQ(read_all("yes | head -c 200000").first.size(), 200000U);
    EXPECT_EQ(read_all("kill -9 $$").second, SIGKILL);
}

TEST_F(ReadCommand, IsStartedAsEveryCommandIs)
{
    const int leaky = open("/dev/null", O_RDONLY); // deliberately without close-on-exec
    ASSERT_GE(leaky, 0);
    EXPECT_EQ(read_all("for d in /proc/self/fd/*; do readlink $d || true; done | grep -c null").first, "1\n");
    EXPECT_NE(read_all("set -- $(cat /proc/$$/stat); echo $5").first, std::to_string(getpgrp()) + "\n");
    close(leaky);
}

TEST_F(ReadCommand, ThatHangsIsEndedWithAllItStarted)
{
    expect_ended_by_the_deadline("echo one; sleep 60 & echo $! >" + file("pid") + "; sleep 61 | cat", "one\n");
    EXPECT_TRUE(comes_true([&] { return !runs(std::stoi(text_of(file("pid")))); }));
}

TEST_F(ReadCommand, ThatHangsAfterItsOutputHasEndedIsEndedToo)
{
    expect_ended_by_the_deadline("echo one; exec >/dev/null; sleep 60", "one\n");
}

TEST_F(ReadCommand, ThatPrintsForEverEndsWhenNobodyReadsOn)
{
    char line[8];
    const std::string lines = error_lines_of([&] {
        FILE *const stream = popen("echo first; yes", "r");
        ASSERT_NE(stream, nullptr);
        EXPECT_STREQ(fgets(line, sizeof line, stream), "first\n");
        EXPECT_STREQ(fgets(line, sizeof line, stream), "y\n");
        EXPECT_NE(WTERMSIG(pclose(stream)), SIGKILL);
    });
    EXPECT_EQ(lines, "");
}

TEST_F(ReadCommand, IsTheOnlyOneAndOnlyRead)
{
    FILE *const stream = popen("echo one", "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(popen("echo two", "r"), nullptr);
    EXPECT_EQ(read_rest(stream), "one\n");
    EXPECT_EQ(pclose(stream), 0);
    EXPECT_EQ(popen("cat", "w"), nullptr);
}

TEST_F(ReadCommand, LeavesNothingOpenOrUnreaped)
{
    read_all("true");
    const size_t descriptors = open_descriptors();
    for (int i = 0; i < 20; i++)
        read_all("echo one");
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ReadCommand, WithoutDescriptorsThereIsNoStream)
{
    in_own_process([] {
        const size_t descriptors = open_descriptors();
        rlimit limit = {};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
        const rlimit few = {.rlim_cur = 4, .rlim_max = limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        EXPECT_EQ(popen("echo one", "r"), nullptr);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(read_all("echo one").first, "one\n");
    });
}

// ---- clocks ----

TEST(Machine, UptimeIsTheKernels)
{
    const int before = get_uptime();
    const int kernels = std::stoi(text_of("/proc/uptime"));
    const int after = get_uptime();
    EXPECT_LE(before, kernels);
    EXPECT_GE(after, kernels);
}

TEST(Machine, SystemSleepLastsItsTimeAndNegativeTimesAreNone)
{
    EXPECT_GE(time_taken([] { system_sleep(1); }), 990ms);
    EXPECT_LT(time_taken([] { system_sleep(-5); }), 4s);
}

} // namespace
