// The LED setting: what is loaded, what the tick does, the question of power saving, messages.
#include "platform/netctrl.h"
#include "tests/support/schedule_world.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"

using namespace schedule_world;

using LedLoad = RouterTest;
using LedTime = RouterTest;
using LedTick = RouterTest;
using LedIsInLedTime = RouterTest;
using LedMessages = RouterTest;
using LedButton = RouterTest;

namespace
{

// LEDs on, power saving off, 2 March 2026 (a Monday) at noon.
void leds_on()
{
    box.clock.set("2026-03-02 12:00:00");
    box.store.set("nkgw.led.state", "3");
    box.store.set("sys.powersleep.enable", "0");
    set_time_check_power_info();
    forget();
}

void leds_off()
{
    leds_on();
    box.store.set("nkgw.led.state", "0");
}

TIMERCHECKINFO load(const std::string &type)
{
    box.store.set("sys.sched.led.type", type);
    return set_time_check_led_info();
}

// It is noon inside the power-saving period.
void power_saving_is_in_force()
{
    power_saving("1", "11:00", "13:00");
    set_time_check_power_info();
    forget();
}

void look_at(const std::string &local)
{
    box.clock.set(local);
    time_check_led_for_time(box.clock.wall());
}

void handle(uint32_t op, const char *text, uint32_t relate_module_id)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = message(op, text, relate_module_id);
    EXPECT_EQ(time_check_led_msg_handle(&msg), 1);
}

} // namespace

// ---- loading ----

TEST_F(LedLoad, CloseSwitchesOffAtOnce)
{
    leds_on();
    EXPECT_EQ(load("close"), 1);
    EXPECT_EQ(acts(), LEDS_GO_OFF);
    EXPECT_EQ(time_check_led(), 1);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedLoad, CloseSwitchesNothingInThePowerSavingPeriod)
{
    leds_on();
    power_saving_is_in_force();
    EXPECT_EQ(load("close"), 1);
    time_check_led();
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-02 13:00:01");
    time_check_led();
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedLoad, CloseSwitchesInThePeriodOfAClockThatIsNotSet)
{
    leds_on();
    power_saving_is_in_force();
    box.clock.set("1970-01-02 12:00:00");
    load("close");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedLoad, OpenSwitchesOnAtOnce)
{
    leds_off();
    EXPECT_EQ(load("open"), 1);
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

TEST_F(LedLoad, OpenSwitchesNothingInThePowerSavingPeriod)
{
    leds_off();
    power_saving_is_in_force();
    EXPECT_EQ(load("open"), 1);
    time_check_led();
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-02 13:00:01");
    EXPECT_EQ(time_check_led(), 1);
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

// Loading asks only for the period; the tick asks for the clock as well.
TEST_F(LedLoad, OpenWaitsForTheTickInThePeriodOfAClockThatIsNotSet)
{
    leds_off();
    power_saving_is_in_force();
    box.clock.set("1970-01-02 12:00:00");
    load("open");
    EXPECT_EQ(acts(), Lines{});
    time_check_led();
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

TEST_F(LedLoad, AMissingTypeIsCloseWithoutSwitchingAtOnce)
{
    leds_on();
    box.store.unset("sys.sched.led.type");
    EXPECT_EQ(set_time_check_led_info(), 1);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(time_check_led(), 1);
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

class LedLoadWord : public RouterTest, public testing::WithParamInterface<std::string>
{
};

TEST_P(LedLoadWord, AnUnknownWordIsRefusedAndTheTickSwitchesOff)
{
    leds_on();
    EXPECT_EQ(load(GetParam()), 0);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(time_check_led(), 1);
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

INSTANTIATE_TEST_SUITE_P(Cases, LedLoadWord,
                         testing::Values("", "Time", "TIME", "Open", "close ", " open", "time2", "opened", "0", "2",
                                         "t\xc3\xaeme", "time" + std::string(996, 'e'), std::string(1000, 'x'),
                                         "%s%n"));

TEST_F(LedLoad, AReloadForgetsWhatWasBefore)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    load("time");
    load("nonsense");
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    load("open");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
    box.store.unset("nkgw.led.offtime.list1");
    load("time");
    box.clock.set("2026-03-02 12:00:00");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
}

// ---- weekly periods ----

TEST_F(LedTime, FridaysNightEndsOnSaturdayMorning)
{
    leds_on();
    only_rule("nkgw.led", "Fri 22:00", "06:00");
    EXPECT_EQ(load("time"), 1);
    look_at("2026-03-06 21:59:59");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-06 22:00:00");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
    look_at("2026-03-06 23:00:00");
    look_at("2026-03-07 05:59:59");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-07 06:00:00");
    EXPECT_EQ(acts(), LEDS_COME_ON);
    look_at("2026-03-07 22:30:00");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedTime, ASameDayPeriodHoldsInTheFirstSecondOfItsEnd)
{
    leds_on();
    only_rule("nkgw.led", "Mon 09:00", "17:00");
    load("time");
    look_at("2026-03-02 17:00:00");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
    look_at("2026-03-02 17:00:01");
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

TEST_F(LedTime, TheStateIsForcedAgainAndAgain)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    load("time");
    look_at("2026-03-02 12:00:00");
    box.store.set("nkgw.led.state", "3");
    forget();
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
    look_at("2026-03-02 18:00:00");
    box.store.set("nkgw.led.state", "0");
    forget();
    look_at("2026-03-02 18:00:02");
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

TEST_F(LedTime, WithoutRulesTheLedsStayAsTheyAre)
{
    leds_off();
    box.store.set("nkgw.led.listnum", "0");
    load("time");
    EXPECT_EQ(time_check_led(), 1);
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedTime, TooManyRulesAreNone)
{
    leds_off();
    only_rule("nkgw.led", "01:00", "02:00");
    box.store.set("nkgw.led.listnum", "21");
    load("time");
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedTime, StandsStillInThePowerSavingPeriod)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    power_saving_is_in_force();
    load("time");
    look_at("2026-03-02 12:00:02");
    EXPECT_EQ(acts(), Lines{});
    look_at("2026-03-02 13:00:01");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedTime, StandsStillWhileTheClockIsNotSet)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    load("time");
    look_at("2000-12-31 12:00:00");
    EXPECT_EQ(acts(), Lines{});
    look_at("2001-01-01 12:00:00");
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedTime, TheTickLooksEveryOtherSecond)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    load("time");
    box.clock.set("2026-03-02 08:59:59");
    EXPECT_EQ(time_check_led(), 1);
    box.clock.set("2026-03-02 09:00:00");
    time_check_led();
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-02 09:00:01");
    time_check_led();
    EXPECT_EQ(acts(), LEDS_GO_OFF);
    box.clock.set("2026-03-02 07:00:00");
    time_check_led();
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

TEST_F(LedTime, UnpoweredLedsAreOnlyNotedAsOff)
{
    leds_on();
    only_rule("nkgw.led", "09:00", "17:00");
    box.store.set("sys.sched.led.closetype", "unpowerClose");
    load("time");
    look_at("2026-03-02 12:00:00");
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=0", "commit"}));
    look_at("2026-03-02 18:00:00");
    EXPECT_EQ(acts(), LEDS_COME_ON);
}

// ---- the other settings' ticks ----

TEST_F(LedTick, OpenAndCloseAreAssertedEveryTick)
{
    leds_on();
    load("open");
    box.store.set("nkgw.led.state", "0");
    time_check_led();
    EXPECT_EQ(acts(), LEDS_COME_ON);
    load("close");
    box.store.set("nkgw.led.state", "3");
    forget();
    time_check_led();
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

// ---- the question of power saving ----

TEST_F(LedIsInLedTime, CloseAlwaysAndOpenNever)
{
    leds_on();
    load("close");
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    load("open");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
    box.store.unset("sys.sched.led.type");
    set_time_check_led_info();
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
}

TEST_F(LedIsInLedTime, TheFirstRuleAloneCountsWithoutItsDays)
{
    leds_on();
    only_rule("nkgw.led", "Fri 22:00", "06:00");
    rule("nkgw.led", 2, "09:00", "17:00");
    box.store.set("nkgw.led.listnum", "2");
    load("time");
    box.clock.set("2026-03-02 12:00:00"); // a Monday, in the second rule
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
    box.clock.set("2026-03-02 23:00:00"); // a Monday, in the first rule's times
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    box.clock.set("2026-03-03 06:00:00"); // a daily window holds its last second
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    box.clock.set("2026-03-03 06:00:01");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
}

TEST_F(LedIsInLedTime, WithoutRulesItIsTheSecondOfMidnight)
{
    leds_on();
    box.store.set("nkgw.led.listnum", "0");
    load("time");
    box.clock.set("2026-03-02 00:00:00");
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    box.clock.set("2026-03-02 00:00:01");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
}

TEST_F(LedIsInLedTime, AHalfFilledFirstRuleIsSeenThoughNotCounted)
{
    leds_on();
    configure({{"nkgw.led.listnum", "1"}, {"nkgw.led.offtime.list1", "22:00"}, {"nkgw.led.ontime.list1", "26:00"}});
    load("time");
    box.clock.set("2026-03-02 23:00:00");
    EXPECT_EQ(time_check_led_is_in_led_time(), 1);
    look_at("2026-03-02 23:00:00");
    EXPECT_EQ(acts(), Lines{});
    box.clock.set("2026-03-02 21:00:00");
    EXPECT_EQ(time_check_led_is_in_led_time(), 0);
}

// ---- messages ----

TEST_F(LedMessages, TheFirstStartOfWifiStoresOnWithoutCommit)
{
    leds_off();
    load("open");
    box.store.set("nkgw.led.state", "0");
    forget();
    handle(OP_START, "first_time_start", WIFI_MODULE);
    EXPECT_EQ(acts(), Lines{"set nkgw.led.state=3"});
}

TEST_F(LedMessages, TheFirstStartOfWifiSwitchesOffWhatIsSetToClose)
{
    leds_on();
    load("close");
    forget();
    handle(OP_START, "first_time_start", WIFI_MODULE);
    EXPECT_EQ(acts(), (Lines{"set nkgw.led.state=3", "set nkgw.led.state=0", "commit", "leds 0"}));
}

TEST_F(LedMessages, AnyOtherTextOfWifiReloads)
{
    leds_on();
    load("open");
    for (const char *text : {"", "first_time_star", "first_time_start2", "First_time_start"}) {
        box.store.set("nkgw.led.state", "3");
        box.store.set("sys.sched.led.type", "close");
        forget();
        handle(OP_START, text, WIFI_MODULE);
        EXPECT_EQ(acts(), LEDS_GO_OFF) << text;
    }
}

TEST_F(LedMessages, TheFirstStartFromAnotherModuleReloads)
{
    leds_on();
    load("open");
    box.store.set("sys.sched.led.type", "close");
    handle(OP_START, "first_time_start", 18);
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedMessages, EveryOpReloads)
{
    leds_on();
    for (uint32_t op = 0; op < 16; op++) {
        box.store.set("nkgw.led.state", "3");
        box.store.set("sys.sched.led.type", "close");
        forget();
        handle(op, "", 0);
        EXPECT_EQ(acts(), LEDS_GO_OFF) << op;
    }
}

TEST_F(LedMessages, AnAppMessageWithoutATextReloads)
{
    leds_on();
    load("open");
    box.store.set("sys.sched.led.type", "close");
    handle(OP_DEFAULT, "", ALI_NIMBIX_MODULE);
    EXPECT_EQ(acts(), LEDS_GO_OFF);
}

TEST_F(LedButton, OverridesPowerSavingOnceOnTheNextReload)
{
    leds_off();
    load("open");
    power_saving_is_in_force();
    box.store.set("nkgw.led.state", "0");
    forget();
    handle(OP_DEFAULT, "1234", ALI_NIMBIX_MODULE);
    time_check_led();
    EXPECT_EQ(acts(), Lines{});
    handle(OP_UPDATE, "", 0);
    EXPECT_EQ(acts(), LEDS_COME_ON);
    box.store.set("nkgw.led.state", "0");
    forget();
    handle(OP_UPDATE, "", 0);
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedButton, ZeroIsNoStamp)
{
    leds_off();
    power_saving_is_in_force();
    handle(OP_DEFAULT, "0", ALI_NIMBIX_MODULE);
    handle(OP_DEFAULT, "none", ALI_NIMBIX_MODULE);
    forget();
    load("open");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedButton, IsKeptByCloseAndByAnUnknownWord)
{
    for (const char *type : {"close", "nonsense"}) {
        leds_off();
        power_saving_is_in_force();
        handle(OP_DEFAULT, "1234", ALI_NIMBIX_MODULE);
        load(type);
        forget();
        load("open");
        EXPECT_EQ(acts(), LEDS_COME_ON) << type;
    }
}

TEST_F(LedButton, IsTakenByTime)
{
    leds_off();
    power_saving_is_in_force();
    handle(OP_DEFAULT, "1234", ALI_NIMBIX_MODULE);
    box.store.set("nkgw.led.listnum", "0");
    load("time");
    forget();
    load("open");
    EXPECT_EQ(acts(), Lines{});
}

TEST_F(LedMessages, ThroughTheBus)
{
    box.clock.set("2026-03-02 12:00:00");
    box.store.set("nkgw.led.state", "3");
    box.store.set("sys.sched.led.type", "open");
    ASSERT_TRUE(box.boot());
    only_rule("nkgw.led", "09:00", "17:00");
    box.store.set("sys.sched.led.type", "time");
    ASSERT_TRUE(box.post("time_check_led?op=1"));
    box.run(4);
    EXPECT_FALSE(leds_are_on());
}
