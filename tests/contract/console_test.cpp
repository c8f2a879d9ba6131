// A console that is missing, that nobody reads or that is stopped must not hold the caller up.
#include "platform/system.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <unistd.h>

#include "tests/contract/contract_support.h"

namespace
{

constexpr char TO_CONSOLE[] = ">/dev/console";

class Console : public testing::Test
{
protected:
    // Runs `body` where /dev holds a null device and what `make` (shell) puts there. A hang ends it.
    void with_dev(const std::string &make, const std::function<void()> &body) const
    {
        in_own_process([&] {
            alarm(60);
            ASSERT_EQ(unshare(CLONE_NEWNS), 0) << strerror(errno);
            const std::string dev = (folder.path() / "dev").string();
            ASSERT_TRUE(shell("mkdir -p " + dev + " && mount -t tmpfs tmpfs " + dev + " && cd " + dev +
                              " && touch null && mount --bind /dev/null null && mount --rbind . /dev && cd /dev && " +
                              make));
            body();
        });
    }

    static bool shell(const std::string &command)
    {
        return system(command.c_str()) == 0; // NOLINT(cert-env33-c)
    }

    static int run_to_console(const std::string &command, int timeout = 0)
    {
        std::string words[] = {"sh", "-c", command};
        char *const argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        return _eval(argv, TO_CONSOLE, timeout, nullptr);
    }

    // What a command with its output sent to the console puts where the caller's own output goes.
    std::string left_for_the_caller() const
    {
        const std::string own = (folder.path() / "own").string();
        const int output = open(own.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int kept = dup(STDOUT_FILENO);
        fflush(stdout);
        dup2(output, STDOUT_FILENO);
        EXPECT_EQ(run_to_console("echo said"), 0);
        dup2(kept, STDOUT_FILENO);
        close(kept);
        close(output);
        return text_of(own);
    }

    TemporaryFolder folder;
};

bool is_there(const char *path)
{
    return access(path, F_OK) == 0;
}

TEST_F(Console, IsNotMadeWhereThereIsNone)
{
    with_dev("true", [this] {
        EXPECT_EQ(left_for_the_caller(), "said\n");
        EXPECT_FALSE(is_there("/dev/console"));
    });
    with_dev("ln -s nowhere console", [this] {
        EXPECT_EQ(left_for_the_caller(), "said\n");
        EXPECT_FALSE(is_there("/dev/nowhere"));
    });
}

TEST_F(Console, ThatNobodyReadsIsNone)
{
    with_dev("mkfifo console", [this] { EXPECT_EQ(left_for_the_caller(), "said\n"); });
}

TEST_F(Console, ThatIsReadSlowlyGetsEverything)
{
    with_dev("mkfifo console", [this] {
        const std::string count = (folder.path() / "count").string();
        const int holder = open("/dev/console", O_RDONLY | O_NONBLOCK);
        ASSERT_GE(holder, 0);
        ASSERT_TRUE(shell("{ sleep 0.5; head -c 300000 | wc -c >" + count + "; } </dev/console &"));
        EXPECT_EQ(run_to_console("yes | head -c 300000"), 0);
        EXPECT_TRUE(comes_true([&] { return text_of(count) == "300000\n"; })) << text_of(count);
    });
}

TEST_F(Console, ThatIsStoppedHoldsTheProgramUpUntilItsDeadline)
{
    with_dev("mkfifo console", [] {
        const int holder = open("/dev/console", O_RDONLY | O_NONBLOCK);
        ASSERT_GE(holder, 0);
        error_lines_of([] { EXPECT_EQ(run_to_console("yes", 1), 128 + SIGKILL); });
    });
}

} // namespace
