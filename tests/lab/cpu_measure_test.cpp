// The CPU watchdog on the real /proc: what it measures, and that a pid file which points elsewhere does no harm.
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "time_check/time_check_cpu.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_text.h"

namespace
{

constexpr int SAMPLES = 20;

// A process that ends with the test.
class Child
{
public:
    explicit Child(const std::function<void()> &work) : pid_(fork())
    {
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            work();
            _exit(0);
        }
    }

    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    ~Child()
    {
        reap();
    }

    pid_t pid() const
    {
        return pid_;
    }

    void reap()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_;
};

[[noreturn]] void spin()
{
    volatile bool for_ever = true;
    while (for_ever) {
    }
    _exit(1);
}

// What /proc shows: all that the machine has done, and all that a process has.
struct Times {
    unsigned long long machine;
    unsigned long long process;
};

Times read_times(pid_t pid)
{
    Times times = {};
    std::ifstream machine("/proc/stat");
    std::string word;
    machine >> word;
    for (int i = 0; i < 9; i++) {
        unsigned long long counter = 0;
        machine >> counter;
        times.machine += counter;
    }
    std::ifstream process("/proc/" + std::to_string(pid) + "/stat");
    for (int i = 1; i < 14; i++)
        process >> word;
    for (int i = 14; i <= 17; i++) {
        unsigned long long counter = 0;
        process >> counter;
        times.process += counter;
    }
    return times;
}

class CpuMeasure : public testing::Test
{
protected:
    void SetUp() override
    {
        snprintf(pid_file_, sizeof pid_file_, "/tmp/cpu_measure_test.%d", static_cast<int>(getpid()));
        copy_text(exe_info[0].exe_pid_file, sizeof exe_info[0].exe_pid_file, pid_file_);
        _DEBUG_LIST_[TIME_CHECK_CPU] = 1;
    }

    void TearDown() override
    {
        unlink(pid_file_);
    }

    void watch(pid_t pid)
    {
        std::ofstream(pid_file_) << pid << "\n";
    }

    // One sample in percent of the machine, as the last dump shows it.
    static double sample()
    {
        testing::internal::CaptureStdout();
        set_time_check_cpu_info(); // so that the next tick samples
        time_check_cpu();
        fflush(stdout);
        std::istringstream lines(testing::internal::GetCapturedStdout());
        const std::string name = "EXE_CPU:\t";
        double measured = -1;
        for (std::string line; std::getline(lines, line);)
            if (const size_t at = line.find(name); at != std::string::npos)
                measured = std::stod(line.substr(at + name.size()));
        return measured;
    }

private:
    char pid_file_[64] = "";
};

TEST_F(CpuMeasure, ABusyProcessMeasuresWhatProcShowsOverTheSameTime)
{
    const Child busy(spin);
    watch(busy.pid());
    sample(); // past its start
    double measured = 0;
    double shown = 0;
    for (int i = 0; i < SAMPLES; i++) {
        const Times before = read_times(busy.pid());
        measured += sample() / SAMPLES;
        const Times after = read_times(busy.pid());
        ASSERT_GT(after.machine, before.machine);
        shown += 100.0 * static_cast<double>(after.process - before.process) /
                 static_cast<double>(after.machine - before.machine) / SAMPLES;
    }
    EXPECT_GT(shown, 1.0);
    EXPECT_NEAR(measured, shown, shown / 10);
}

TEST_F(CpuMeasure, AnIdleProcessMeasuresNothing)
{
    const Child idle([] { pause(); });
    watch(idle.pid());
    EXPECT_EQ(sample(), 0.0);
}

TEST_F(CpuMeasure, OneThatEndsBetweenTheReadingsMeasuresNothing)
{
    Child busy(spin);
    watch(busy.pid());
    EXPECT_GE(sample(), 0.0);
    const Child killer([pid = busy.pid()] {
        usleep(50000);
        kill(pid, SIGKILL);
    });
    signal(SIGCHLD, SIG_IGN); // nobody reaps it: it vanishes at once
    EXPECT_EQ(sample(), 0.0);
    signal(SIGCHLD, SIG_DFL);
}

TEST_F(CpuMeasure, AVanishedProcessMeasuresNothing)
{
    Child gone(spin);
    watch(gone.pid());
    gone.reap();
    EXPECT_EQ(sample(), 0.0);
}

TEST_F(CpuMeasure, AForeignProcessIsMeasuredAndLeftAlone)
{
    // As after a reuse of the process id: the file points at a process that has nothing to do with the row.
    const Child foreign(spin);
    watch(foreign.pid());
    for (int i = 0; i < 3; i++)
        EXPECT_GE(sample(), 0.0);
    EXPECT_EQ(kill(foreign.pid(), 0), 0);
}

TEST_F(CpuMeasure, PidFilesOfAnyContentDoNoHarm)
{
    for (const pid_t pid : {0, -1, 1, 2147483647}) {
        watch(pid);
        EXPECT_GE(sample(), 0.0) << pid;
    }
}

} // namespace
