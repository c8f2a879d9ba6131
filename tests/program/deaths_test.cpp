// The daemon itself is killed at any moment, with readers that never stop: status_read in a loop, and tcctl. None of
// them crashes, none is shown half of a second mixed with another, and the daemon's death is told within two seconds.
//
// Most lives go on a clock that is 5,000 times as fast (lab/clock), so that a death falls into a second's work as often
// as into its pause. In a second of these both quiet checks count a sample and the CPU watchdog's period follows from
// the number of seconds: that ties fields from all over the page to each other.
#include <atomic>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/common/status_file.h"
#include "tests/contract/contract_support.h"
#include "tests/program/clocked_programs.h"
#include "time_check/time_check_reboot.h"

using std::chrono::steady_clock;

namespace
{

constexpr int RATE = 5000;
constexpr int LONGEST_LIFE_US = 200000;
constexpr int LONGEST_COUNT_US = 50000;
constexpr std::chrono::seconds TOLD_WITHIN{2};

constexpr const char *SETTINGS = "lan.ip=10.77.0.1\nsys.workmode=router\nwl2g.public.mode=ap\nwl5g.public.mode=ap\n"
                                 "wans.flag=2\nwan1.connecttype=0\nwan2.connecttype=0\n"
                                 "sys.schedulereboot.enable=1\nsys.schedulereboot.type=1\n"
                                 "sys.schedulereboot.wday=1;1;1;1;1;1;1\nsys.schedulereboot.start_time=02:29\n"
                                 "sys.schedulereboot.end_time=09:00\nsys.schedulereboot.max_speed=5\n"
                                 "sys.powersleep.enable=1\nsys.powersleep.type=1\n"
                                 "sys.powersleep.start_time=02:29\nsys.powersleep.end_time=09:00\n";

// ---- a page is one second's ----

// How many seconds both quiet checks have counted in this life; 0: none.
uint32_t seconds_in(const status_main &page)
{
    return page.rows[STATUS_REBOOT].count;
}

// Whether the reboot's check does not count yet, which it may in a life on the real clock; the other does.
bool waits(const status_main &page)
{
    return page.rows[STATUS_REBOOT].verdict == static_cast<uint8_t>(reboot_verdict::not_up_long_enough);
}

// The CPU watchdog looks at its program in seconds 1, 3, 7, 15 and so on.
bool is_one_second(const status_main &page)
{
    if (waits(page))
        return true;
    const uint32_t seconds = seconds_in(page);
    return page.rows[STATUS_POWER].count == seconds && page.reboot.quiet.low == seconds &&
           page.power.quiet.low == seconds &&
           (seconds == 0 || page.cpu.programs[0].period == std::bit_floor(seconds + 1));
}

// What was read of one life: a second, and a pass of the reachability thread, looks the same whenever it is read.
class seen_life
{
public:
    void look_at(const status_reading &reading)
    {
        const status_main &now = reading.status.main;
        const status_wans &wans = reading.status.wans;
        EXPECT_TRUE(is_one_second(now)) << "second " << seconds_in(now)
                                        << " mixed with another: " << now.rows[STATUS_POWER].count << ", "
                                        << now.reboot.quiet.low << " and " << now.power.quiet.low << ", a look in "
                                        << now.cpu.programs[0].period;
        const bool is_same_life = reading.pid == last.pid;
        if (!is_same_life || seconds_in(now) != seconds_in(last.status.main))
            seconds_seen++;
        else if (seconds_in(now) != 0) {
            EXPECT_EQ(memcmp(&now, &last.status.main, sizeof now), 0) << "second " << seconds_in(now) << " has changed";
        }
        if (is_same_life && wans.passes == last.status.wans.passes) {
            EXPECT_EQ(memcmp(&wans, &last.status.wans, sizeof wans), 0) << "pass " << wans.passes << " has changed";
        }
        last = reading;
    }

    int seconds_seen = 0;

private:
    status_reading last = {};
};

bool is_json(const std::string &text)
{
    return nlohmann::json::accept(text);
}

bool are_json(const std::string &text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (!is_json(line))
            return false;
    return !text.empty();
}

// ---- the test ----

bool has_ended(pid_t pid)
{
    siginfo_t found = {};
    return waitid(P_PID, static_cast<id_t>(pid), &found, WEXITED | WNOHANG | WNOWAIT) == 0 && found.si_pid == pid;
}

class DaemonDeaths : public testing::Test
{
protected:
    DaemonDeaths()
    {
        setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", (folder.path() / "conf").c_str(), 1);
        write_text(folder.path() / "resolv.conf", "nameserver 127.0.0.1\n"); // nobody answers, at once
        write_text(folder.path() / "settings", SETTINGS);
        const std::string commands = "mount -t tmpfs tmpfs /run; umount /etc/resolv.conf; mount --bind " +
                                     (folder.path() / "resolv.conf").string() +
                                     " /etc/resolv.conf; ip link del br0; ip link del lan0;"
                                     "ip link add br0 type bridge && ip addr add 10.77.0.1/24 dev br0 &&"
                                     "ip link set br0 up && ip link add lan0 type veth peer name eth0 &&"
                                     "ip link set lan0 master br0 up &&"
                                     "ip neigh replace 10.77.0.10 lladdr 02:00:00:00:00:10 dev br0 nud permanent";
        EXPECT_EQ(system(("(" + commands + ") 2>/dev/null").c_str()), 0); // NOLINT
        EXPECT_EQ(run({"cfm", "import", folder.path() / "settings"}, environment_at(1)).status, 0);
    }

    status_fault read(status_reading *reading) const
    {
        return status_read((folder.path() / "run" / "status").c_str(), reading);
    }

    bool is_counting(pid_t pid) const
    {
        status_reading reading = {};
        return read(&reading) == STATUS_READ && reading.pid == pid && seconds_in(reading.status.main) != 0;
    }

    // A life of the daemon begins, with a clock that goes so fast.
    pid_t begin(int rate)
    {
        const std::lock_guard<std::mutex> hold(mutex);
        environment = environment_at(rate);
        return start({"time_check"}, environment, (folder.path() / "log").c_str(), (folder.path() / "errors").c_str());
    }

    // A life that does its seconds by now. A child of the daemon that was just killed, not yet the program that it is
    // to become, holds the name for a moment: the next daemon ends, and is begun again, as whoever keeps it running
    // does.
    pid_t begin_counting()
    {
        for (;;) {
            const pid_t pid = begin(RATE);
            EXPECT_TRUE(comes_true([&] { return is_counting(pid) || has_ended(pid); }));
            if (!has_ended(pid))
                return pid;
            waitpid(pid, nullptr, 0);
            EXPECT_NE(text_of(folder.path() / "errors").find("another process holds the name"), std::string::npos);
            if (HasFailure())
                return pid;
        }
    }

    ended tcctl(const std::vector<std::string> &words)
    {
        std::vector<std::string> all = {"tcctl"};
        all.insert(all.end(), words.begin(), words.end());
        std::vector<std::string> clock;
        {
            const std::lock_guard<std::mutex> hold(mutex);
            clock = environment;
        }
        return run(all, clock);
    }

    // Calls tcctl all the time; how often.
    int call_until(const std::atomic<bool> &is_over)
    {
        int calls = 0;
        for (; !is_over; calls += 2) {
            const ended status = tcctl({"status", "--json"});
            EXPECT_TRUE(status.status >= 0 && status.status <= 2 && is_json(status.out)) << status.error;
            const ended events = tcctl({"events", "--json", "--all"});
            EXPECT_TRUE(events.status == 0 && are_json(events.out)) << events.error;
        }
        return calls;
    }

    TemporaryFolder folder;
    std::mutex mutex; // of what follows
    std::vector<std::string> environment;
};

void end(pid_t pid)
{
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

// The daemon's page in two successive seconds.
void read_two_seconds(const std::function<status_fault(status_reading *)> &read, status_main (&two)[2])
{
    static status_reading reading;
    const auto next = [&] {
        if (read(&reading) != STATUS_READ || !reading.is_alive || seconds_in(reading.status.main) == 0)
            return false;
        two[0] = two[1];
        two[1] = reading.status.main;
        return seconds_in(two[1]) == seconds_in(two[0]) + 1 && seconds_in(two[0]) > 0;
    };
    const auto until = steady_clock::now() + std::chrono::seconds(30);
    while (!next())
        ASSERT_LT(steady_clock::now(), until) << "no two seconds after each other";
}

TEST_F(DaemonDeaths, HalfOfASecondWithAnotherWouldBeSeen)
{
    status_main two[2] = {};
    const pid_t pid = begin_counting();
    read_two_seconds([this](status_reading *reading) { return read(reading); }, two);
    end(pid);
    ASSERT_TRUE(is_one_second(two[0]) && is_one_second(two[1]));
    constexpr size_t FIRST = offsetof(status_main, rows) + (STATUS_REBOOT + 1) * sizeof(status_row);
    constexpr size_t LAST = offsetof(status_main, power) + offsetof(status_daily, quiet);
    for (size_t cut = FIRST; cut <= LAST; cut += sizeof(uint32_t))
        for (const int begins : {0, 1}) {
            status_main mixed = two[begins];
            memcpy(reinterpret_cast<char *>(&mixed) + cut, reinterpret_cast<char *>(&two[1 - begins]) + cut,
                   sizeof mixed - cut);
            EXPECT_FALSE(is_one_second(mixed)) << cut;
        }
}

// A thousand times, with TIME_CHECK_WALK=all.
TEST_F(DaemonDeaths, AreOutlivedByReadersAndToldAtOnce)
{
    const char *walk = getenv("TIME_CHECK_WALK");
    const int deaths = walk != nullptr && strcmp(walk, "all") == 0 ? 1000 : 50;
    const unsigned seed = std::random_device()();
    std::mt19937 chance(seed);
    std::atomic<bool> is_over = false;
    seen_life seen;
    int calls = 0;

    const pid_t first = begin_counting();
    std::thread reader([&] {
        status_reading reading = {};
        while (!is_over) {
            ASSERT_EQ(read(&reading), STATUS_READ);
            seen.look_at(reading);
        }
    });
    std::thread caller([&] { calls = call_until(is_over); });

    std::chrono::duration<double> longest{};
    for (int death = 0; death < deaths && !HasFailure(); death++) {
        const bool counts = death % 2 == 0; // it dies when it does its seconds, one after the other; else at any moment
        const pid_t pid = death == 0 ? first : counts ? begin_counting() : begin(death % 4 == 3 ? 1 : RATE);
        std::this_thread::sleep_for(std::chrono::microseconds(
            std::uniform_int_distribution<int>(0, counts ? LONGEST_COUNT_US : LONGEST_LIFE_US)(chance)));
        const auto killed = steady_clock::now();
        end(pid);
        status_reading left = {};
        EXPECT_TRUE(read(&left) == STATUS_READ && !left.is_alive && is_one_second(left.status.main));
        const ended told = tcctl({"status", "--json"}); // the first call after it
        longest = std::max(longest, std::chrono::duration<double>(steady_clock::now() - killed));
        EXPECT_TRUE(told.status == 2 && is_json(told.out) && told.error.find("the daemon is dead") != std::string::npos)
            << told.status << ' ' << told.error;
    }
    is_over = true;
    reader.join();
    caller.join();
    EXPECT_LT(longest, TOLD_WITHIN);
    EXPECT_GT(seen.seconds_seen, deaths / 5); // the reader had something to read
    printf("seed %u: %d deaths, the longest told after %.3f s; %d seconds read, %d calls of tcctl\n", seed, deaths,
           longest.count(), seen.seconds_seen, calls);
}

} // namespace
