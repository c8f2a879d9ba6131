// What a replay tells of the daemon's acts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sim/virtual_router.h"
#include "tools/replay/replay.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr const char *NIGHT = "time_check trace 1\n"
                              "2026-03-02T02:58:00Z +80000 save sys.schedulereboot.enable=1\n"
                              "2026-03-02T02:58:00Z save sys.schedulereboot.start_time=03:00\n"
                              "2026-03-02T02:58:00Z save sys.schedulereboot.end_time=04:00\n"
                              "2026-03-02T02:59:00Z daemon\n"
                              "2026-03-02T03:10:00Z end\n";

std::vector<std::string> times_of(const replay::outcome &gone, const std::string &what)
{
    std::vector<std::string> lines;
    for (const replay::act &each : gone.acts)
        if (each.line.ends_with(" " + what))
            lines.push_back(each.line);
    return lines;
}

TEST(Replay, StartsTheDaemonWhereTheTraceSays)
{
    const replay::outcome gone = replay::run(replay::parse(NIGHT, "night"));
    ASSERT_THAT(gone.acts, Not(IsEmpty()));
    EXPECT_THAT(gone.acts.front().line, testing::StartsWith("2026-03-02 02:59:00 +80060 "));
    EXPECT_THAT(times_of(gone, "reboot"), ElementsAre("2026-03-02 03:00:00 +80120 reboot"));
    EXPECT_EQ(gone.ends, "2026-03-02 03:10:00 +579");
    EXPECT_TRUE(gone.runs);
}

TEST(Replay, EndsWhereItIsToldTo)
{
    const replay::outcome gone =
        replay::run(replay::parse(NIGHT, "night"), *replay::read_moment("2026-03-02T02:59:30Z"));
    EXPECT_EQ(gone.ends, "2026-03-02 02:59:30 +80090");
    EXPECT_THAT(times_of(gone, "reboot"), IsEmpty());
}

TEST(Replay, BeforeTheDaemonStartsHasNoActs)
{
    const replay::outcome gone =
        replay::run(replay::parse(NIGHT, "night"), *replay::read_moment("2026-03-02T02:58:30Z"));
    EXPECT_THAT(gone.acts, IsEmpty());
    EXPECT_EQ(gone.ends, "2026-03-02 02:58:30 +80030");
}

TEST(Replay, TellsWhyAndLeavesOutWhatRepeatsItself)
{
    const replay::outcome gone = replay::run(replay::parse("time_check trace 1\n"
                                                           "2026-03-02T12:00:00Z +100 save sys.workmode=router\n"
                                                           "2026-03-02T12:00:00Z save wl2g.public.mode=ap\n"
                                                           "2026-03-02T12:00:00Z save wl5g.public.mode=ap\n"
                                                           "2026-03-02T12:00:00Z save wans.flag=1\n"
                                                           "2026-03-02T12:00:00Z internet up\n"
                                                           "2026-03-02T12:00:00Z link 1 up\n"
                                                           "2026-03-02T12:00:00Z address eth1 192.0.2.7\n"
                                                           "2026-03-02T12:05:00Z link 1 down\n"
                                                           "2026-03-02T12:06:00Z end\n",
                                                           "no cable"));
    const std::string text = replay::text_of(gone, false);
    EXPECT_THAT(text, HasSubstr("set wan1_isonln=0\n    WAN 1: no_link. The WAN"));
    EXPECT_LT(text.size(), replay::text_of(gone, true).size());
    EXPECT_THAT(replay::json_of(gone, false), HasSubstr("\"verdict\": \"no_link\""));
}

} // namespace
