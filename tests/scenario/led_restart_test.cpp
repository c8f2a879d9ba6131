// A board lights its LEDs when it starts, and the store remembers them as the daemon left them. What a product's
// start-up does about that, as docs/porting.md says.
#include "tests/support/router_test.h"

namespace
{

class LedRestart : public RouterTest
{
protected:
    // A router whose LEDs the daemon has turned off is restarted; `while_it_starts` happens before its daemon runs
    // again.
    template <typename WhileItStarts>
    void restart_dark_router(WhileItStarts while_it_starts)
    {
        ASSERT_TRUE(box.boot());
        box.tick(5);
        ASSERT_EQ(box.store.get("nkgw.led.state"), "0");
        box.at(10, while_it_starts);
        box.restart();
        box.journal.clear();
        box.run(30);
    }

    void in_an_off_period()
    {
        configure({{"sys.sched.led.type", "time"},
                   {"nkgw.led.listnum", "1"},
                   {"nkgw.led.offtime.list1", "11:00"},
                   {"nkgw.led.ontime.list1", "15:00"},
                   {"nkgw.led.state", "3"}});
    }
};

TEST_F(LedRestart, NobodyTellsSoTheyStayLit)
{
    in_an_off_period();
    restart_dark_router([] {});
    EXPECT_EQ(box.journal.acts("leds"), Lines{});
}

TEST_F(LedRestart, TheMessageTurnsThemOffInAnOffPeriod)
{
    in_an_off_period();
    restart_dark_router([] {});
    ASSERT_TRUE(box.post("time_check_led?relate_module_id=19,string_info=first_time_start"));
    box.run(5);
    EXPECT_EQ(box.journal.acts("leds"), Lines{"leds 0"});
}

TEST_F(LedRestart, TheMessageTurnsThemOffWhenTheyAreAlwaysOff)
{
    configure({{"sys.sched.led.type", "close"}, {"nkgw.led.state", "3"}});
    restart_dark_router([] {});
    ASSERT_TRUE(box.post("time_check_led?relate_module_id=19,string_info=first_time_start"));
    box.run(5);
    EXPECT_EQ(box.journal.acts("leds"), Lines{"leds 0"});
}

class LedRestartAsleep : public LedRestart
{
protected:
    void asleep()
    {
        configure({{"sys.powersleep.enable", "1"},
                   {"sys.powersleep.start_time", "11:00"},
                   {"sys.powersleep.end_time", "15:00"},
                   {"sys.sched.led.type", "open"},
                   {"nkgw.led.state", "3"}});
    }
};

TEST_F(LedRestartAsleep, TheMessageComesTooLate)
{
    asleep();
    restart_dark_router([] {});
    ASSERT_TRUE(box.post("time_check_led?relate_module_id=19,string_info=first_time_start"));
    box.run(5);
    EXPECT_EQ(box.journal.acts("leds"), Lines{});
}

TEST_F(LedRestartAsleep, TheKeySetBeforeTheDaemonTurnsThemOff)
{
    asleep();
    restart_dark_router([] { box.store.set_uncommitted("nkgw.led.state", "3"); });
    EXPECT_EQ(box.journal.acts("leds"), Lines{"leds 0"});
}

} // namespace
