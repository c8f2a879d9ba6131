// The store under real processes of the plain-Linux ground's programs, in namespaces of the test's own.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/bus.h"
#include "tests/contract/config_store_folders.h"

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;

bool comes_true(const std::function<bool()> &holds)
{
    const auto deadline = std::chrono::steady_clock::now() + 60s;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

bool holds_its_name(const char *name)
{
    return bus_post(name, "0") == BUS_DONE;
}

bool has_line(const fs::path &file, const std::string &line)
{
    return read_file(file).find(line + "\n") != std::string::npos;
}

class StorePrograms : public testing::Test
{
protected:
    // `prepare` runs in the new process.
    void start(const char *program, const std::function<void()> &prepare)
    {
        started = fork();
        if (started != 0)
            return;
        setenv("TIME_CHECK_LED_DIR", (folders.run().parent_path() / "leds").c_str(), 1);
        prepare();
        execl(program, program, nullptr);
        _exit(127);
    }
    void TearDown() override
    {
        if (started <= 0)
            return;
        kill(started, SIGKILL);
        waitpid(started, nullptr, 0);
    }

    StoreFolders folders;
    pid_t started = 0;
};

void close_standard_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
        close(fd);
}

class ClosedDescriptors : public StorePrograms, public testing::WithParamInterface<std::array<const char *, 2>>
{
};

TEST_P(ClosedDescriptors, AreTakenByNoFileOfTheProgram)
{
    const auto [name, program] = GetParam();
    SetValue("key", "1");
    start(program, close_standard_descriptors);
    ASSERT_TRUE(comes_true([&] { return holds_its_name(name); }));
    for (const char *const number : {"0", "1", "2"})
        EXPECT_EQ(fs::read_symlink(fs::path("/proc") / std::to_string(started) / "fd" / number), "/") << number;
    EXPECT_EQ(read_file(folders.run() / ("bus." + std::string(name) + ".lock")), "");
    EXPECT_EQ(value_of("key"), "1");
}

INSTANTIATE_TEST_SUITE_P(Of, ClosedDescriptors,
                         testing::Values(std::array{"time_check", TIME_CHECK_PROGRAM},
                                         std::array{"netctrl", NETCTRL_PROGRAM}),
                         [](const auto &given) { return std::string(given.param[0]); });

// A minute of the daemon's clock is a second here.
void let_time_fly()
{
    setenv("LD_PRELOAD", BOX_CLOCK, 1);
    setenv("BOX_CLOCK_RATE", "60", 1);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
}

TEST_F(StorePrograms, DaemonWhoseRunFolderWasRemovedComesBackWithinAMinute)
{
    SetValue("key", "old");
    ASSERT_NE(CommitCfm(), 0);
    folders.restart();
    start(TIME_CHECK_PROGRAM, let_time_fly);
    ASSERT_TRUE(comes_true([&] { return has_line(folders.committed(), "sys.is.pwr.save.mode=0"); })) << "it runs";

    config_store_close();
    const fs::path removed = folders.run().parent_path() / "removed"; // in one step: the daemon makes it again at once
    fs::rename(folders.run(), removed);
    fs::remove_all(removed);
    SetValue("key", "new");
    config_store_unset("nkgw.led.state");
    ASSERT_NE(CommitCfm(), 0);
    ASSERT_TRUE(comes_true([] { return holds_its_name("time_check"); })) << "the name";
    EXPECT_TRUE(comes_true([] { // its look may come after the first of them
        bus_post("time_check", "4?relate_module_id=19,string_info=first_time_start");
        return value_of("nkgw.led.state") != "(none)";
    })) << "the store";
    EXPECT_TRUE(has_line(folders.committed(), "key=new"));
}

} // namespace
