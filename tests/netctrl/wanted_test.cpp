// What is left to be done when many messages come, and over a restart.
#include <gmock/gmock.h>

#include "router/netctrl/wanted.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ON = "19?op=1,wl_rate=24";
const std::string OFF = "19?op=2,wl_rate=24";
const std::string ANEW = "19?op=3,wl_rate=24";
const std::string GUEST_ANEW = "19?op=3,wl_rate=24,index=1";

std::vector<std::string> ask(wanted *all, const std::string &message, int64_t now_ms = 0)
{
    return want(all, read_message(message).value(), now_ms);
}

std::vector<std::string> waiting(const wanted &all)
{
    std::vector<std::string> messages;
    for (const auto &[subject, wishes] : all.subjects)
        for (const wish &each : wishes)
            messages.push_back((each.is_running ? "running " : "") + each.asked.message);
    return messages;
}

TEST(NetctrlWanted, IsDoneInTheOrderOfComingForOneSubject)
{
    wanted all;
    ask(&all, GUEST_ANEW);
    ask(&all, ON);
    wish *const first = begin_next(&all, 0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->asked.message, GUEST_ANEW);
    EXPECT_EQ(begin_next(&all, 0), nullptr); // one at a time
    over(&all, first);
    EXPECT_EQ(begin_next(&all, 0)->asked.message, ON);
}

TEST(NetctrlWanted, OfDifferentSubjectsIsDoneSideBySide)
{
    wanted all;
    ask(&all, ON);
    ask(&all, "19?op=1,wl_rate=5");
    ask(&all, "52?op=15,wan_id=1");
    EXPECT_NE(begin_next(&all, 0), nullptr);
    EXPECT_NE(begin_next(&all, 0), nullptr);
    EXPECT_NE(begin_next(&all, 0), nullptr);
    EXPECT_EQ(begin_next(&all, 0), nullptr);
}

TEST(NetctrlWanted, IsGivenUpForWhatMakesItNeedless)
{
    wanted all;
    ask(&all, ON);
    EXPECT_THAT(ask(&all, OFF), ElementsAre(ON));
    EXPECT_THAT(waiting(all), ElementsAre(OFF));
}

TEST(NetctrlWanted, IsNotGivenUpForWhatDoesLess)
{
    wanted all;
    ask(&all, ANEW);
    EXPECT_THAT(ask(&all, ON), IsEmpty());
    EXPECT_THAT(waiting(all), ElementsAre(ANEW, ON));
}

TEST(NetctrlWanted, OfTheOtherBandOrWanStays)
{
    wanted all;
    ask(&all, ON);
    ask(&all, "19?op=2,wl_rate=5");
    ask(&all, "52?op=15,wan_id=1");
    ask(&all, "52?op=16,wan_id=2");
    EXPECT_EQ(waiting(all).size(), 4U);
}

TEST(NetctrlWanted, ThatRunsIsDoneOnceMoreWhenAskedForAgain)
{
    wanted all;
    ask(&all, ON);
    wish *const running = begin_next(&all, 0);
    ask(&all, ON); // settings may have changed since it began
    ask(&all, ON);
    EXPECT_THAT(waiting(all), ElementsAre("running " + ON, ON));
    over(&all, running);
    EXPECT_THAT(waiting(all), ElementsAre(ON));
    EXPECT_EQ(begin_next(&all, 0)->repeats, 1U);
}

TEST(NetctrlWanted, IsTriedAgainAfterGrowingPauses)
{
    wanted all;
    ask(&all, ON);
    int64_t now = 0;
    std::vector<int64_t> pauses;
    for (int i = 0; i < 9; i++) {
        wish *const running = begin_next(&all, now);
        ASSERT_NE(running, nullptr);
        pauses.push_back(not_yet(&all, running, now).value());
        EXPECT_EQ(begin_next(&all, now + pauses.back() - 1), nullptr);
        EXPECT_EQ(next_due(all), now + pauses.back());
        now += pauses.back();
    }
    EXPECT_THAT(pauses, ElementsAre(1000, 2000, 4000, 8000, 16'000, 32'000, 60'000, 60'000, 60'000));
}

TEST(NetctrlWanted, IsNotTriedSoonerForBeingAskedForAgain)
{
    wanted all;
    ask(&all, ON);
    not_yet(&all, begin_next(&all, 0), 0);
    ask(&all, ON, 500);
    EXPECT_EQ(begin_next(&all, 999), nullptr);
    EXPECT_NE(begin_next(&all, 1000), nullptr);
}

TEST(NetctrlWanted, AnotherNeedNotWaitForThePause)
{
    wanted all;
    ask(&all, ON);
    not_yet(&all, begin_next(&all, 0), 0);
    ask(&all, OFF, 500);
    EXPECT_EQ(begin_next(&all, 500)->asked.message, OFF);
    EXPECT_THAT(waiting(all), ElementsAre("running " + OFF));
}

TEST(NetctrlWanted, IsNotTriedAgainOnceSomethingElseIsWanted)
{
    wanted all;
    ask(&all, ON);
    wish *const running = begin_next(&all, 0);
    ask(&all, OFF);
    EXPECT_EQ(not_yet(&all, running, 0), std::nullopt);
    EXPECT_THAT(waiting(all), ElementsAre(OFF));
}

TEST(NetctrlWanted, StaysFewHoweverManyMessagesCome)
{
    wanted all;
    std::vector<std::string> messages;
    for (const verb &verb : all_verbs())
        for (const std::string &message : messages_of(verb))
            messages.push_back(message);
    for (int round = 0; round < 1000; round++) {
        for (const std::string &message : messages)
            ask(&all, message);
        begin_next(&all, 0);
    }
    EXPECT_LE(waiting(all).size(), 2 * messages.size());
}

// ---- kept over a restart ----

TEST(NetctrlWanted, IsReadBackAsItWas)
{
    wanted all;
    for (const std::string &message : {ANEW, ON, GUEST_ANEW, std::string("52?op=16,wan_id=1"), std::string("53?op=1")})
        ask(&all, message);
    begin_next(&all, 0); // what runs is not done
    wanted again;
    EXPECT_THAT(read_text(&again, text_of(all), 7), IsEmpty());
    EXPECT_EQ(text_of(again), text_of(all));
    EXPECT_EQ(next_due(again), 7);
}

TEST(NetctrlWanted, IsReadFromNothing)
{
    wanted all;
    EXPECT_THAT(read_text(&all, "", 0), IsEmpty());
    EXPECT_THAT(waiting(all), IsEmpty());
}

TEST(NetctrlWanted, LinesThatAreNoneAreGivenBack)
{
    wanted all;
    EXPECT_THAT(read_text(&all, "netctrl wants 1\n" + ON + "\nreboot\n\n53?op=2", 0), ElementsAre("reboot", ""));
    EXPECT_THAT(waiting(all), ElementsAre("53?op=2", ON));
    EXPECT_THAT(read_text(&all, "another file\n" + OFF + "\n", 0), ElementsAre("another file"));
    EXPECT_THAT(waiting(all), ElementsAre("53?op=2", ON));
}

} // namespace
