// Every call that the daemon makes of its surroundings in a busy night fails once, wherever in the night it is made:
// the daemon goes on with its work, and its acts are still in order.
#include <algorithm>
#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/nights_world.h"

using namespace busy_nights;

namespace
{

constexpr size_t COMPLAINT_SIZE = 200;

// The first calls one by one, then ever larger steps.
uint64_t next_number(uint64_t number)
{
    constexpr uint64_t ONE_BY_ONE = 5;
    return number < ONE_BY_ONE ? number + 1 : number * 3;
}

// The night is lived through once without a fault. Before each call whose failure is wanted, a copy of the process goes
// on through the rest of the night with it: what comes before the fault is the same in all of them.
class Walk
{
public:
    // Whether the call that is made now fails.
    bool fails(uint64_t nth)
    {
        if (is_copy_)
            return always_;
        if (nth == 1 && goes_on_as_copy("every call", true))
            return true;
        if (nth < next_)
            return false;
        next_ = next_number(nth);
        return goes_on_as_copy("call " + std::to_string(nth), false);
    }
    // At the end of the night: a copy ends here.
    void tell(const std::string &complaint) const
    {
        if (is_copy_)
            _exit(write(pipe_[1], complaint.c_str(), complaint.size() + 1) > 0 ? 0 : 1);
        EXPECT_EQ(complaint, "");
    }

private:
    bool goes_on_as_copy(const std::string &fault, bool always)
    {
        EXPECT_EQ(pipe(pipe_), 0);
        const pid_t copy = fork();
        if (copy == 0) {
            is_copy_ = true;
            always_ = always;
            return true;
        }
        close(pipe_[1]);
        char complaint[COMPLAINT_SIZE] = {};
        const bool told = read(pipe_[0], complaint, sizeof complaint - 1) > 0;
        close(pipe_[0]);
        int status = 0;
        waitpid(copy, &status, 0);
        EXPECT_TRUE(told && status == 0) << fault << ": the process ended with status " << status;
        EXPECT_STREQ(complaint, "") << fault;
        return false;
    }

    uint64_t next_ = 1;
    bool is_copy_ = false;
    bool always_ = false;
    int pipe_[2] = {};
};

class FaultWalk : public testing::TestWithParam<std::tuple<size_t, std::string>>
{
};

std::string name_of(const testing::TestParamInfo<FaultWalk::ParamType> &info)
{
    std::string call = std::get<1>(info.param);
    call.erase(std::remove(call.begin(), call.end(), '_'), call.end());
    std::string night = NIGHTS[std::get<0>(info.param)].name;
    std::ranges::replace(night, '_', 'X');
    return night + "X" + call;
}

} // namespace

TEST_P(FaultWalk, TheDaemonGoesOn)
{
    Walk walk;
    NIGHTS[std::get<0>(GetParam())].prepare();
    box.faults.fail_when(
        std::get<1>(GetParam()), [&walk](uint64_t nth) { return walk.fails(nth); }, EIO);
    box.boot();
    box.run(NIGHT_S);
    walk.tell(complaint());
}

// A walk through a night in which nothing happens would find nothing.
TEST(FaultWalkNights, AreBusy)
{
    wired();
    box.boot();
    box.run(NIGHT_S);
    const Lines &journal = box.journal.lines();
    for (const char *act :
         {"reboot", "leds 0", "set sys.is.pwr.save.mode=1", "command cfm post netctrl 19?op=2,wl_rate=24",
          "command killall -9 httpd", "command killall -9 minidlna", "netctrl 19?op=9",
          "command cfm post netctrl 53?op=1", "command cfm post netctrl 52?op=16,wan_id=1",
          "rename /etc/resolv.conf.time_check /etc/resolv.conf"})
        EXPECT_NE(std::ranges::find(journal, act), journal.end()) << act;
    EXPECT_EQ(complaint(), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, FaultWalk,
                         testing::Combine(testing::Range<size_t>(0, NIGHTS.size()),
                                          testing::ValuesIn(sim::Faults::names())),
                         name_of);
