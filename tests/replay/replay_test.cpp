// What a replay tells of the daemon's acts.
#include <algorithm>
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

// Without a client the restart waits for samples, one a pass.
std::string quiet_night(const std::string &passes)
{
    return "time_check trace 1\n"
           "2026-03-02T02:58:00Z +80000 save sys.schedulereboot.enable=1\n"
           "2026-03-02T02:58:00Z save sys.schedulereboot.type=1\n"
           "2026-03-02T02:58:00Z save sys.schedulereboot.start_time=03:00\n"
           "2026-03-02T02:58:00Z save sys.schedulereboot.end_time=05:00\n" +
           passes + "2026-03-02T04:59:00Z end\n";
}

TEST(Replay, GoesAtThePaceOfTheTracesRouter)
{
    const auto waited_passes = [](const std::string &trace) {
        sim::make_router_anew();
        const replay::outcome gone = replay::run(replay::parse(trace, "quiet"));
        const std::vector<std::string> reboots = times_of(gone, "reboot");
        EXPECT_EQ(reboots.size(), 1U);
        const std::string at = reboots.empty() ? "" : reboots[0].substr(11, 8);
        return at.empty() ? 0
                          : (std::stoi(at.substr(0, 2)) * 60 + std::stoi(at.substr(3, 2))) * 60 +
                                std::stoi(at.substr(6)) - 3 * 3600;
    };
    const int at_a_second = waited_passes(quiet_night(""));
    const int at_two = waited_passes(quiet_night("2026-03-02T04:58:00Z pass 3601 2026-03-02T04:58:00Z\n"));
    EXPECT_GT(at_a_second, 150);
    EXPECT_NEAR(at_two, 2 * at_a_second, 2);
}

TEST(Replay, RestartsUntilTheTraceSaysSo)
{
    const replay::outcome gone =
        replay::run(replay::parse("time_check trace 1\n"
                                  "2026-03-02T02:58:00Z +80000 save sys.schedulereboot.enable=1\n"
                                  "2026-03-02T02:58:00Z save sys.schedulereboot.start_time=03:00\n"
                                  "2026-03-02T02:58:00Z save sys.schedulereboot.end_time=04:00\n"
                                  "2026-03-02T02:58:00Z daemon\n"
                                  "2026-03-02T03:00:47Z +40 daemon\n"
                                  "2026-03-02T03:02:00Z end\n",
                                  "restarted"));
    EXPECT_THAT(times_of(gone, "reboot"), ElementsAre("2026-03-02 03:00:00 +80120 reboot"));
    const auto next =
        std::ranges::find_if(gone.acts, [](const replay::act &each) { return each.line > "2026-03-02 03:00:01"; });
    ASSERT_NE(next, gone.acts.end());
    EXPECT_THAT(next->line, testing::StartsWith("2026-03-02 03:00:47 +40 "));
    EXPECT_EQ(gone.ends, "2026-03-02 03:02:00 +113");
}

TEST(Replay, TakesAStartThatNobodyOrderedForAPowerCut)
{
    const replay::outcome gone = replay::run(replay::parse("time_check trace 1\n"
                                                           "2026-03-02T02:58:00Z +80000 set wans.flag=1\n"
                                                           "2026-03-02T02:58:00Z daemon\n"
                                                           "2026-03-02T03:00:47Z +40 daemon\n"
                                                           "2026-03-02T03:02:00Z end\n",
                                                           "cut"));
    EXPECT_EQ(sim::router().restarts(), 1U);
    EXPECT_EQ(gone.ends, "2026-03-02 03:02:00 +113");
}

TEST(Replay, FindsWhatALookFoundAndTakesAsLong)
{
    const replay::outcome gone =
        replay::run(replay::parse("time_check trace 1\n"
                                  "2026-03-02T12:00:00Z +100 save wans.flag=1\n"
                                  "2026-03-02T12:00:00Z link 1 up\n"
                                  "2026-03-02T12:00:00Z address eth1 192.0.2.7\n"
                                  "2026-03-02T12:00:00Z answer-time 0 0\n"
                                  "2026-03-02T12:00:30.5Z name www.google.com 198.51.100.1\n"
                                  "2026-03-02T12:00:30.5Z name www.cloudflare.com 198.51.100.2\n"
                                  "2026-03-02T12:00:30.5Z name www.wikipedia.org 198.51.100.3\n"
                                  "2026-03-02T12:00:30.5Z answers 198.51.100.1 eth1 yes\n"
                                  "2026-03-02T12:00:30.5Z look 1 2026-03-02T12:00:01Z 2026-03-02T12:00:29.5Z\n"
                                  "2026-03-02T12:01:00Z end\n",
                                  "look"));
    EXPECT_THAT(times_of(gone, "set wan1_isonln=1"), ElementsAre("2026-03-02 12:00:29 +129 set wan1_isonln=1"));
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
