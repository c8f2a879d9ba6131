// Nights of the reboot that waits for a quiet network.
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/reboot_world.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

// The window opens at three; the night begins at half past two, the router up since noon. The LAN counter gives a delay
// of 100 seconds.
class RebootNight : public RebootDays
{
protected:
    void SetUp() override
    {
        schedule(1, "03:00", "05:30");
        quiet_client(100);
        start_at("2026-03-02 02:30:00", 14 * 3600);
    }

    // Something in the world at half a second past this time of the night.
    void just_after(const std::string &time, std::function<void()> change)
    {
        box.at(seconds_of(time) - seconds_of("02:30:00") + 0.5, std::move(change));
    }

    // The client receives so many bytes in every second of this span.
    void client_receives(int bytes_a_second, const std::string &from, const std::string &to)
    {
        for (int second = seconds_of(from); second < seconds_of(to); second++) {
            box.at(second - seconds_of("02:30:00") + 0.5, [this, bytes_a_second] {
                received_ += static_cast<uint64_t>(bytes_a_second);
                box.network.set_host("192.168.0.7", 0, received_);
            });
        }
    }

    void run_the_night()
    {
        box.run_until("2026-03-02 06:00:00");
    }

private:
    uint64_t received_ = 0;
};

TEST_F(RebootNight, AQuietClientIsRebootedAfterHalfAnHourAndTheDelay)
{
    run_the_night();
    EXPECT_THAT(box.journal.timed_lines(), testing::IsSupersetOf({HasSubstr("2026-03-02 03:30:00 +54000 command date"),
                                                                  HasSubstr("2026-03-02 03:31:41 +54101 reboot")}));
    EXPECT_EQ(reboots().size(), 1U);
}

TEST_F(RebootNight, ABusyClientThatFallsQuietIsRebootedHalfAnHourLater)
{
    client_receives(6000, "02:31:00", "03:20:00");
    run_the_night();
    // Each busy sample is followed by a baseline. The last busy one is at 03:19:59, its baseline a second later.
    EXPECT_EQ(lines_with("kB/s !!"), 600U);
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:51:41"));
}

TEST_F(RebootNight, ATrickleBelowTheThresholdIsQuiet)
{
    client_receives(4999, "02:31:00", "04:00:00");
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:31:41"));
}

TEST_F(RebootNight, ABusySecondInTheLastMinuteStartsAgain)
{
    client_receives(5000, "03:29:30", "03:29:31");
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 04:01:13"));
}

TEST_F(RebootNight, OnceArmedTrafficChangesNothing)
{
    client_receives(90000, "03:30:10", "04:00:00");
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:31:41"));
}

TEST_F(RebootNight, ADecisionThatComesAfterTheWindowNeverComes)
{
    client_receives(6000, "02:31:00", "05:00:01"); // the baseline is at 05:00:02, and 1800 s on is past the end
    box.log.keep(false);
    run_the_night();
    EXPECT_THAT(reboot_times(), IsEmpty());
}

TEST_F(RebootNight, ADecisionInTheLastSecondOfTheWindowIsCarriedOutAfterIt)
{
    client_receives(6000, "02:31:00", "04:59:59");
    box.log.keep(false);
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 05:31:41"));
}

TEST_F(RebootNight, AClientThatLeavesIsWaitedForThreeMinutes)
{
    just_after("03:10:00", [] { box.network.clear_neighbours(); });
    run_the_night();
    // The first sample without it is at 03:10:01, the 181st at 03:13:01.
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:13:01"));
    EXPECT_TRUE(has_body("now time:03:13"));
    EXPECT_TRUE(has_body("no client! reboot now!!"));
}

TEST_F(RebootNight, AClientThatComesBackStartsBothCountsAgain)
{
    just_after("03:10:00", [] { box.network.clear_neighbours(); });
    just_after("03:13:00", [this] { client_comes(); }); // 180 samples without it
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:44:42"));
}

TEST_F(RebootNight, ClientsThatStayAwayAllNightAreRebootedThreeMinutesAfterTheStart)
{
    box.network.clear_neighbours();
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:03:00"));
}

TEST_F(RebootNight, ANoClientRebootThatComesBackArmsTheDelay)
{
    box.reboot_returns = true;
    box.network.clear_neighbours();
    box.run_until("2026-03-02 03:04:43"); // the delay is over at 03:04:41
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:03:00", "2026-03-02 03:04:41", "2026-03-02 03:04:42"));
    EXPECT_TRUE(has_body("sleep 100S after to reboot!!"));
}

TEST_F(RebootNight, AReloadInTheWindowStartsTheCountAgain)
{
    just_after("03:20:00", [] { box.post("time_check_reboot?op=3"); });
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:51:42"));
}

TEST_F(RebootNight, AMessageAboutARadioThatChangesNothingDoesNot)
{
    just_after("03:20:00", [] { box.post("time_check_reboot?op=3,relate_module_id=19"); });
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:31:41"));
}

TEST_F(RebootNight, AMessageAboutAnotherWanStartsTheCountAgain)
{
    just_after("03:20:00", [this] {
        configure({{"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}});
        box.post("1?relate_module_id=2");
    });
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:51:42"));
}

TEST_F(RebootNight, AScheduleThatIsSwitchedOffInTheWindowStops)
{
    just_after("03:20:00", [] {
        box.store.set("sys.schedulereboot.enable", "0");
        box.post("time_check_reboot");
    });
    run_the_night();
    EXPECT_THAT(reboot_times(), IsEmpty());
}

TEST_F(RebootNight, AScheduleThatMovesToThePresentOpensAtOnce)
{
    just_after("02:45:00", [this] {
        configure({{"sys.schedulereboot.type", "0"}, {"sys.schedulereboot.start_time", "02:40"}});
        box.post("time_check_reboot");
    });
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 02:45:01"));
}

TEST_F(RebootNight, AChangedSettingWithoutAMessageIsNotSeen)
{
    just_after("02:45:00", [] { box.store.set("sys.schedulereboot.enable", "0"); });
    run_the_night();
    EXPECT_EQ(reboots().size(), 1U);
}

TEST_F(RebootNight, TheDebugSwitchShowsEverySample)
{
    just_after("02:59:00", [] { box.post("time_check_debug?debug_id=1"); });
    box.run_until("2026-03-02 03:01:00");
    EXPECT_TRUE(has_body("num 2:froward_rx = 0.00kB/s,froward_tx = 0.00kB/s!!"));
    EXPECT_TRUE(has_body("num 60:froward_rx = 0.00kB/s,froward_tx = 0.00kB/s!!"));
}

TEST_F(RebootNight, ACounterThatIsResetOnceCostsOneSample)
{
    box.network.set_host("192.168.0.7", 1000, 1000);
    just_after("03:10:00", [] { box.network.set_host("192.168.0.7", 0, 0); });
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:31:42"));
}

TEST_F(RebootNight, AClockThatStepsOverTheWindowSkipsIt)
{
    just_after("02:59:30", [] { box.clock.set("2026-03-02 05:30:01"); });
    box.run(4 * 3600);
    EXPECT_THAT(reboot_times(), IsEmpty());
}

// ---- garbage ----

class RebootGarbage : public RebootNight
{
protected:
    std::string garbage(size_t longest)
    {
        static const char *const words[] = {"br0",  "br1",      "0x0",      "0x2", "00:00:00:00:00:00",
                                            "eth1", " ",        "\t",       "\n",  "18446744073709551615",
                                            "-1",   "\x01\xff", "99999999", "%s%n"};
        std::string text;
        const size_t length = random_() % longest;
        while (text.size() < length)
            text += words[random_() % std::size(words)];
        return text;
    }

private:
    std::mt19937 random_{20260302};
};

TEST_F(RebootGarbage, TheNightGoesOnWhateverTheKernelsTablesHold)
{
    std::function<void()> scramble = [&] {
        box.files.set("/proc/net/arp", garbage(2000));
        box.files.set("/proc/net/ip_mr_vif", garbage(2000));
        box.files.set("/sys/class/net/br0/statistics/tx_bytes", garbage(200));
        box.network.set_host("192.168.0.7", ~0ULL, 0);
        box.at(1, scramble);
    };
    box.at(0.5, scramble);
    box.reboot_returns = true;
    box.log.keep(false);
    box.journal.clear();
    run_the_night();
    EXPECT_TRUE(box.running());
    for (const std::string &act : box.journal.lines())
        EXPECT_THAT(act, testing::AnyOf("command date", "reboot"));
}

TEST_F(RebootGarbage, GarbageThatNamesNoBridgeIsNoClient)
{
    std::function<void()> scramble = [&] {
        std::string text = garbage(500);
        std::erase(text, 'b');
        box.files.set("/proc/net/arp", text);
        box.at(1, scramble);
    };
    box.at(0.5, scramble);
    run_the_night();
    EXPECT_THAT(reboot_times(), ElementsAre("2026-03-02 03:03:00"));
}

} // namespace
