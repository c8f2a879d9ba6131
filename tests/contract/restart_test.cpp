// The restart of the machine: in PID namespaces, which end as a machine does; with a sync that never comes back; and
// refused.
#include "platform/system.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/contract/contract_support.h"

using namespace std::chrono_literals;

namespace
{

// From here on every sync of this process and its children waits for an answer through the descriptor.
int ask_before_each_sync()
{
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sync, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program = {.len = std::size(rules), .filter = rules};
    EXPECT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    const auto asked = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program);
    EXPECT_GE(asked, 0) << strerror(errno);
    return static_cast<int>(asked);
}

// Lets each sync be done at once, and counts.
[[noreturn]] void answer_syncs(int asked, int *count)
{
    for (;;) {
        seccomp_notif question = {};
        if (ioctl(asked, SECCOMP_IOCTL_NOTIF_RECV, &question) != 0)
            _exit(1);
        __atomic_add_fetch(count, 1, __ATOMIC_SEQ_CST);
        seccomp_notif_resp answer = {};
        answer.id = question.id;
        ioctl(asked, SECCOMP_IOCTL_NOTIF_SEND, &answer);
    }
}

void forbid_restarts()
{
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, sets), 0);
    sets[0].effective &= ~(1U << CAP_SYS_BOOT);
    ASSERT_EQ(syscall(SYS_capset, &header, sets), 0);
}

// This process alone sees an up-time that is so much greater.
void put_the_uptime_on(int seconds)
{
    const int before = get_uptime();
    ASSERT_EQ(unshare(CLONE_NEWTIME), 0) << strerror(errno);
    write_text("/proc/self/timens_offsets", "boottime " + std::to_string(seconds) + " 0\n");
    const int later = open("/proc/self/ns/time_for_children", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(setns(later, CLONE_NEWTIME), 0) << strerror(errno);
    close(later);
    ASSERT_GE(get_uptime(), before + seconds);
}

// Runs `body` as the first process of a PID namespace, which a restart must end.
void in_a_machine_that_restarts(const std::function<void()> &body)
{
    in_own_process([&] {
        alarm(60);
        ASSERT_EQ(unshare(CLONE_NEWPID), 0) << strerror(errno);
        Child first([&] {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            body();
        });
        EXPECT_EQ(first.wait(), 128 + SIGHUP) << "what a restart in a PID namespace looks like from outside";
    });
}

TEST(Restart, EndsThePidNamespace)
{
    in_a_machine_that_restarts([] { tpi_systool_reboot(); });
}

TEST(Restart, WaitsForTheDisksNoLongerThanForACommand)
{
    setenv("TIME_CHECK_COMMAND_DEADLINE_S", "1", 1);
    std::chrono::milliseconds taken{};
    const std::string lines = error_lines_of([&] {
        taken = time_taken([] {
            in_a_machine_that_restarts([] {
                ask_before_each_sync(); // nobody answers
                tpi_systool_reboot();
            });
        });
    });
    unsetenv("TIME_CHECK_COMMAND_DEADLINE_S");
    EXPECT_GE(taken, 990ms);
    EXPECT_NE(lines.find("restart: the disks have not taken everything after 1 s\n"), std::string::npos) << lines;
}

TEST(Restart, ThatIsRefusedIsToldOnceAndSyncsOnceAMinute)
{
    auto *const syncs =
        static_cast<int *>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    in_own_process([&] {
        alarm(60);
        const int asked = ask_before_each_sync();
        const Child answering([&] { answer_syncs(asked, syncs); });
        forbid_restarts();
        const std::string lines = error_lines_of([&] {
            for (int i = 0; i < 5; i++)
                EXPECT_EQ(tpi_systool_reboot(), -1);
            EXPECT_EQ(*syncs, 1);
            put_the_uptime_on(60);
            for (int i = 0; i < 5; i++)
                EXPECT_EQ(tpi_systool_reboot(), -1);
            EXPECT_EQ(*syncs, 2);
        });
        EXPECT_TRUE(lines.ends_with(": restart: refused: Operation not permitted\n")) << lines;
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
    });
    munmap(syncs, sizeof(int));
}

TEST(Restart, DisksThatHungAreNotWaitedForAgain)
{
    setenv("TIME_CHECK_COMMAND_DEADLINE_S", "4", 1);
    in_own_process([] {
        alarm(60);
        ask_before_each_sync();
        forbid_restarts();
        const std::string lines = error_lines_of([] {
            EXPECT_EQ(tpi_systool_reboot(), -1);
            put_the_uptime_on(60);
            EXPECT_LT(time_taken([] { EXPECT_EQ(tpi_systool_reboot(), -1); }), 3900ms);
        });
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
    });
    unsetenv("TIME_CHECK_COMMAND_DEADLINE_S");
}

// ---- by a command ----

class RestartByCommand : public testing::Test
{
protected:
    RestartByCommand()
    {
        setenv("RAN", ran().c_str(), 1);
    }
    ~RestartByCommand() override
    {
        for (const char *const name : {"RAN", "TIME_CHECK_REBOOT_COMMAND", "TIME_CHECK_REBOOT_DEADLINE"})
            unsetenv(name);
    }
    RestartByCommand(const RestartByCommand &) = delete;
    RestartByCommand &operator=(const RestartByCommand &) = delete;

    // The command writes a line each time.
    static void set(const std::string &command, const char *deadline_s)
    {
        setenv("TIME_CHECK_REBOOT_COMMAND", ("echo ran >>$RAN; " + command).c_str(), 1);
        setenv("TIME_CHECK_REBOOT_DEADLINE", deadline_s, 1);
    }

    std::filesystem::path ran() const
    {
        return folder.path() / "ran";
    }

    TemporaryFolder folder;
};

TEST_F(RestartByCommand, IsTriedFirstAndTheMachineRestartedAtItsDeadline)
{
    for (const std::string command : {"true", "sleep 600", "kill $$", "trap '' TERM; sleep 600"}) {
        std::filesystem::remove(ran());
        set(command, "1");
        std::chrono::milliseconds taken{};
        const std::string lines = error_lines_of(
            [&] { taken = time_taken([] { in_a_machine_that_restarts([] { tpi_systool_reboot(); }); }); });
        EXPECT_EQ(text_of(ran()), "ran\n") << command;
        EXPECT_GE(taken, 990ms) << command;
        EXPECT_TRUE(lines.ends_with(": restart: the machine still runs 1 s after the command\n")) << lines;
    }
}

TEST_F(RestartByCommand, ThatEndsTheMachineIsAllThereIs)
{
    set("kill -9 -1", "600"); // all but itself and the namespace's first process, which ends by the next
    in_own_process([] {
        alarm(60);
        ASSERT_EQ(unshare(CLONE_NEWPID), 0) << strerror(errno);
        Child first([] {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (fork() == 0) {
                tpi_systool_reboot();
                _exit(0);
            }
            int status = 0;
            wait(&status);
            EXPECT_TRUE(WIFSIGNALED(status)) << "it was still waiting for the machine's end";
        });
        EXPECT_EQ(first.wait(), 0);
    });
    EXPECT_EQ(text_of(ran()), "ran\n");
}

TEST_F(RestartByCommand, ThatFailsIsNotWaitedFor)
{
    for (const std::string command : {"exit 3", "no-such-program-here 2>/dev/null"}) {
        set(command, "600");
        const std::string lines = error_lines_of([] { in_a_machine_that_restarts([] { tpi_systool_reboot(); }); });
        const char *const status = command == "exit 3" ? "3" : "127";
        EXPECT_TRUE(lines.ends_with(": restart: the command has ended with status " + std::string(status) + "\n"))
            << lines;
    }
}

TEST_F(RestartByCommand, ThatIsRefusedIsToldOnceAndTriedOnceAnHour)
{
    in_own_process([this] {
        alarm(120);
        forbid_restarts();
        const std::string lines = error_lines_of([this] {
            set("sleep 600", "1");
            EXPECT_GE(time_taken([] { EXPECT_EQ(tpi_systool_reboot(), -1); }), 990ms);
            const auto taken = time_taken([] {
                for (int i = 0; i < 5; i++)
                    EXPECT_EQ(tpi_systool_reboot(), -1);
            });
            EXPECT_LT(taken, 4s) << "the daemon goes on meanwhile: a second each would be five";
            EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "nothing of the command is left";
            put_the_uptime_on(3600);
            EXPECT_EQ(tpi_systool_reboot(), -1);
            EXPECT_EQ(tpi_systool_reboot(), -1);
        });
        EXPECT_EQ(text_of(ran()), "ran\nran\n");
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
        EXPECT_NE(lines.find(": restart: the machine still runs 1 s after the command\n"), std::string::npos) << lines;
        EXPECT_TRUE(lines.ends_with(": restart: refused: Operation not permitted\n")) << lines;
    });
}

TEST_F(RestartByCommand, ThatIsEmptyIsNone)
{
    setenv("TIME_CHECK_REBOOT_COMMAND", "", 1);
    EXPECT_EQ(error_lines_of([] { in_a_machine_that_restarts([] { tpi_systool_reboot(); }); }), "");
}

} // namespace
