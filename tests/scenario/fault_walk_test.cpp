// Every call that the daemon makes of its surroundings in a busy night fails once, wherever in the night it is made:
// the daemon goes on with its work, and its acts are still in order.
#include <algorithm>
#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/scenario/busy_nights.h"

using namespace busy_nights;

namespace
{

struct Outcome {
    uint64_t calls = 0;  // of the call that was to fail
    char complaint[200]; // "" when all is well
};

// A night in a process of its own; `nth` 0: nothing fails.
Outcome night_with_fault(const Night &night, const std::string &call, uint64_t nth, bool forever)
{
    Outcome outcome = {};
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        night.prepare();
        if (nth > 0)
            box.fail(call, static_cast<unsigned>(nth), EIO, forever);
        box.boot();
        box.run(NIGHT_S);
        complaint().copy(outcome.complaint, sizeof outcome.complaint - 1);
        outcome.calls = box.calls_made(call);
        _exit(write(ends[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
    }
    close(ends[1]);
    const bool told = read(ends[0], &outcome, sizeof outcome) == sizeof outcome;
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!told || status != 0)
        snprintf(outcome.complaint, sizeof outcome.complaint, "the process ended with status 0x%x", status);
    return outcome;
}

// The first calls one by one, then ever larger steps.
uint64_t next_number(uint64_t number)
{
    constexpr uint64_t ONE_BY_ONE = 5;
    return number < ONE_BY_ONE ? number + 1 : number * 3;
}

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
    const Night &night = NIGHTS[std::get<0>(GetParam())];
    const std::string &call = std::get<1>(GetParam());
    const Outcome quiet = night_with_fault(night, call, 0, false);
    EXPECT_STREQ(quiet.complaint, "");
    for (uint64_t nth = 1; nth <= quiet.calls; nth = next_number(nth))
        EXPECT_STREQ(night_with_fault(night, call, nth, false).complaint, "") << "call " << nth << " of " << call;
    const Outcome always = night_with_fault(night, call, 1, true);
    EXPECT_STREQ(always.complaint, "") << call << " always fails";
}

// A walk through a night in which nothing happens would find nothing.
TEST(FaultWalkNights, AreBusy)
{
    wired();
    box.boot();
    box.run(NIGHT_S);
    const Lines &journal = box.journal();
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
                                          testing::ValuesIn(sim::VirtualRouter::calls())),
                         name_of);
