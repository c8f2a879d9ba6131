// The two watchdogs in a running router.
#include "tests/support/router_test.h"

namespace
{

const std::string KILL_SERVER = "command killall -9 httpd";
const std::string KILL_MEDIA = "command killall -9 minidlna";
const std::string START_MEDIA = "command cfm post netctrl 51?op=6";

class WatchdogRun : public RouterTest
{
protected:
    void ticks(unsigned number)
    {
        box.tick(number);
    }

    // Each "killall" of the server only brings its successor, as hungry as it.
    void server_comes_back()
    {
        box.commands.set_hook([](const std::string &command) {
            if (command != "killall -9 httpd")
                return sim::NOT_HANDLED;
            box.processes.start("httpd", 412);
            box.processes.set_share("httpd", 100);
            return 0;
        });
    }

    // The media server starts when netctrl is asked to start it.
    void media_server_can_start()
    {
        box.commands.set_hook([](const std::string &command) {
            if (command == "cfm post netctrl 51?op=6")
                box.processes.start("minidlna", 600);
            return sim::NOT_HANDLED;
        });
    }
};

// ---- the runaway web server ----

TEST_F(WatchdogRun, ARunawayServerIsKilledAtItsThirtySecondSample)
{
    box.processes.set_share("httpd", 100);
    ASSERT_TRUE(box.boot()); // the first tick
    ticks(247);
    EXPECT_EQ(times(KILL_SERVER), 0U);
    ticks(1);
    EXPECT_EQ(times(KILL_SERVER), 1U);
    EXPECT_FALSE(box.processes.runs("httpd"));
    box.files.set_missing("/proc/412/stat"); // the pid file still names it
    ticks(2000);
    EXPECT_EQ(times(KILL_SERVER), 1U);
}

TEST_F(WatchdogRun, ItsHungrySuccessorsAreKilledEveryEightTicks)
{
    box.processes.set_share("httpd", 100);
    server_comes_back();
    ASSERT_TRUE(box.boot());
    ticks(248);
    EXPECT_EQ(times(KILL_SERVER), 1U);
    ticks(7);
    EXPECT_EQ(times(KILL_SERVER), 1U);
    ticks(1);
    EXPECT_EQ(times(KILL_SERVER), 2U);
    ticks(80);
    EXPECT_EQ(times(KILL_SERVER), 12U);
    box.processes.set_share("httpd", 5);
    ticks(2000);
    EXPECT_EQ(times(KILL_SERVER), 12U);
}

TEST_F(WatchdogRun, OnFourCpusOneThatIsBusyIsARunaway)
{
    box.processes.set_cpus(4);
    box.processes.set_share("httpd", 100);
    ASSERT_TRUE(box.boot());
    ticks(248);
    EXPECT_EQ(times(KILL_SERVER), 1U);
}

TEST_F(WatchdogRun, OnFourCpusMostOfOneIsNone)
{
    box.processes.set_cpus(4);
    box.processes.set_share("httpd", 80);
    ASSERT_TRUE(box.boot());
    ticks(3000);
    EXPECT_EQ(times(KILL_SERVER), 0U);
}

TEST_F(WatchdogRun, ABusyEveningBetweenQuietHoursIsForgiven)
{
    ASSERT_TRUE(box.boot());
    for (int i = 0; i < 10; i++) {
        box.processes.set_share("httpd", 100);
        ticks(240); // at most 31 samples
        box.processes.set_share("httpd", 10);
        ticks(1000);
    }
    EXPECT_EQ(times(KILL_SERVER), 0U);
}

TEST_F(WatchdogRun, AStoppedWatchdogKillsNothing)
{
    box.processes.set_share("httpd", 100);
    ASSERT_TRUE(box.boot());
    ticks(200);
    ASSERT_TRUE(box.post("time_check_cpu?op=2,string_info=httpd"));
    ticks(500);
    EXPECT_EQ(times(KILL_SERVER), 0U);
    ASSERT_TRUE(box.post("5?op=1,string_info=ALL"));
    ticks(248);
    EXPECT_EQ(times(KILL_SERVER), 0U); // it counts from the beginning
    ticks(1);
    EXPECT_EQ(times(KILL_SERVER), 1U);
}

TEST_F(WatchdogRun, AQuietDayIsMeasuredEvery256Ticks)
{
    box.log.keep(false);
    ASSERT_TRUE(box.boot());
    box.run(86400);
    // Nine samples up to tick 511, where the period is 256.
    EXPECT_EQ(box.faults.made("select"), 9 + (box.ticks() - 511) / 256);
}

// ---- the vanished media server ----

TEST_F(WatchdogRun, AVanishedProgramIsStartedAfterTenLooks)
{
    media_server_can_start();
    box.processes.start("minidlna", 600);
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("time_check_daemon?op=1,string_info=minidlna"));
    ticks(300);
    EXPECT_EQ(times(KILL_MEDIA), 0U);
    box.processes.end("minidlna");
    ticks(27);
    EXPECT_EQ(times(START_MEDIA), 0U);
    ticks(3); // whatever the look's moment
    EXPECT_EQ(times(KILL_MEDIA), 1U);
    EXPECT_EQ(times(START_MEDIA), 1U);
    EXPECT_TRUE(box.processes.runs("minidlna"));
    ticks(3000);
    EXPECT_EQ(times(START_MEDIA), 1U);
}

TEST_F(WatchdogRun, OneThatNeverComesBackIsStartedEveryThirtyTicks)
{
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("6?op=1,string_info=all"));
    ticks(3000);
    EXPECT_EQ(times(START_MEDIA), 100U);
    EXPECT_EQ(box.journal.messages_to_netctrl().size(), 100U);
}

TEST_F(WatchdogRun, StepsOfTheClockChangeNothing)
{
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("6?op=1,string_info=minidlna"));
    for (int i = 0; i < 300; i++) {
        box.clock.step(i % 2 == 0 ? 86400 : -90000);
        ticks(1);
    }
    EXPECT_EQ(times(START_MEDIA), 10U);
}

TEST_F(WatchdogRun, AfterARestartOfTheMachineItIsWatchedAgainOnlyOnAMessage)
{
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("6?op=1,string_info=minidlna"));
    ticks(40);
    EXPECT_EQ(times(START_MEDIA), 1U);
    box.restart();
    box.run(600);
    EXPECT_EQ(times(START_MEDIA), 1U);
    ASSERT_TRUE(box.post("6?op=1,string_info=minidlna"));
    ticks(30);
    EXPECT_EQ(times(START_MEDIA), 2U);
}

TEST_F(WatchdogRun, TheyDoNotDisturbEachOther)
{
    box.processes.set_share("httpd", 100);
    server_comes_back();
    ASSERT_TRUE(box.boot());
    ASSERT_TRUE(box.post("6?op=1,string_info=minidlna"));
    ASSERT_TRUE(box.post("5?op=1,string_info=httpd"));
    ticks(300);
    EXPECT_EQ(times(START_MEDIA), 10U);
    EXPECT_EQ(times(KILL_SERVER), 7U); // ticks 249 to 297
    ASSERT_TRUE(box.post("5?op=2,string_info=httpd"));
    ticks(300);
    EXPECT_EQ(times(START_MEDIA), 20U);
    EXPECT_EQ(times(KILL_SERVER), 7U);
}

} // namespace
