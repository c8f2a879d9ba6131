// The Wi-Fi schedule, the LED setting and the guest network say by which branch of their rules each look went.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/schedule_world.h"
#include "tests/support/verdicts.h"
#include "time_check/time_check_led.h"
#include "time_check/time_check_power.h"
#include "time_check/time_check_wifi.h"
#include "time_check/time_check_wl_guest.h"

using namespace schedule_world;

namespace
{

const std::vector<NamedVerdict<wifi_verdict>> WIFI = {
#define VERDICT(name, why) {wifi_verdict::name, #name},
#include "platform/verdicts/wifi.def"
};

const std::vector<NamedVerdict<led_verdict>> LED = {
#define VERDICT(name, why) {led_verdict::name, #name},
#include "platform/verdicts/led.def"
};

const std::vector<NamedVerdict<guest_verdict>> GUEST = {
#define VERDICT(name, why) {guest_verdict::name, #name},
#include "platform/verdicts/guest.def"
};

// A schedule of 2 March 2026, a Monday, with power saving in the evening.
template <typename Verdict>
class ScheduleVerdicts : public VerdictsTest<Verdict>
{
protected:
    using VerdictsTest<Verdict>::VerdictsTest;

    void SetUp() override
    {
        power_saving("0", "20:00", "21:00");
        set_time_check_power_info();
    }

    // What a tick at this local time of day finds.
    std::string at(const std::string &time_of_day)
    {
        return this->tick_at(DAY + time_of_day);
    }

    // What a look at noon's rules finds at this local time of day.
    std::string noon_looked_at(const std::string &time_of_day, void (*look)(time_t))
    {
        box.clock.set(DAY + "12:00:00");
        const time_t noon = box.clock.wall();
        box.clock.set(DAY + time_of_day);
        look(noon);
        return this->seen.look();
    }

private:
    static inline const std::string DAY = "2026-03-02 ";
};

class WifiVerdicts : public ScheduleVerdicts<wifi_verdict>
{
protected:
    WifiVerdicts() : ScheduleVerdicts(WIFI, time_check_wifi_verdict, [] { time_check_wifi(); })
    {
    }

    void SetUp() override
    {
        ScheduleVerdicts::SetUp();
        radios("1", "1", "1");
        set_time_check_wifi_info();
    }
};

TEST_F(WifiVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "no_period"); // before the first tick
    EXPECT_EQ(at("08:00:00"), "no_period");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    EXPECT_EQ(tick_at("1970-01-05 09:00:00"), "clock_unset");

    EXPECT_EQ(at("08:59:58"), "between_periods");
    EXPECT_EQ(at("09:00:00"), "switching_off");
    EXPECT_EQ(at("09:00:02"), "in_period");
    radios("1", "1", "1");
    EXPECT_EQ(at("09:00:04"), "on_by_hand");
    radios("1", "1", "0");
    EXPECT_EQ(at("17:00:00"), "in_period");
    EXPECT_EQ(at("17:00:02"), "switching_on");
    EXPECT_EQ(at("17:00:04"), "between_periods");
    radios("1", "1", "0");
    EXPECT_EQ(at("17:00:06"), "off_by_hand");
    EXPECT_EQ(at("20:00:00"), "power_saving_first");
    EXPECT_EQ(seen.unseen(), Lines{});
}

TEST_F(WifiVerdicts, ATickThatIsNotDueKeepsTheLastLooks)
{
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    EXPECT_EQ(at("08:59:59"), "between_periods");
    EXPECT_EQ(at("09:00:00"), "between_periods");
    EXPECT_EQ(at("09:00:01"), "switching_off");
}

// The rules are looked at for the moment given; whether it is the time of power saving is asked of the present.
TEST_F(WifiVerdicts, PowerSavingIsAskedOfThePresent)
{
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    EXPECT_EQ(noon_looked_at("20:30:00", time_check_wifi_for_day), "power_saving_first");
    EXPECT_EQ(noon_looked_at("22:00:00", time_check_wifi_for_day), "switching_off");
}

class LedVerdicts : public ScheduleVerdicts<led_verdict>
{
protected:
    LedVerdicts() : ScheduleVerdicts(LED, time_check_led_verdict, [] { EXPECT_EQ(time_check_led(), 1); })
    {
    }

    void set_to(std::string_view type)
    {
        box.store.set("sys.sched.led.type", type);
        set_time_check_led_info();
    }
};

TEST_F(LedVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "no_period"); // before the first tick
    EXPECT_EQ(at("08:00:00"), "always_off");
    set_to("open");
    EXPECT_EQ(at("08:00:00"), "always_on");
    EXPECT_EQ(at("20:00:00"), "power_saving_first");
    set_to("time");
    EXPECT_EQ(at("08:00:00"), "no_period");

    only_rule("nkgw.led", "Mon 09:00", "17:00");
    set_to("time");
    EXPECT_EQ(tick_at("1970-01-05 09:00:00"), "clock_unset");
    EXPECT_EQ(at("08:59:59"), "between_periods");
    EXPECT_EQ(at("09:00:00"), "between_periods"); // too soon for another look
    EXPECT_EQ(at("09:00:01"), "in_period");
    EXPECT_EQ(at("20:00:00"), "power_saving_first");
    EXPECT_EQ(seen.unseen(), Lines{});
}

// LEDs that are always on or off heed no power saving by a clock that was never set.
TEST_F(LedVerdicts, AnUnsetClockIsNoTimeOfPowerSaving)
{
    set_to("close");
    EXPECT_EQ(tick_at("1970-01-05 20:30:00"), "always_off");
}

TEST_F(LedVerdicts, PowerSavingIsAskedOfThePresent)
{
    only_rule("nkgw.led", "Mon 09:00", "17:00");
    set_to("time");
    EXPECT_EQ(noon_looked_at("20:30:00", time_check_led_for_time), "power_saving_first");
    EXPECT_EQ(noon_looked_at("22:00:00", time_check_led_for_time), "in_period");
}

class GuestVerdicts : public VerdictsTest<guest_verdict>
{
protected:
    GuestVerdicts() : VerdictsTest(GUEST, time_check_wl_guest_verdict, time_check_wl_guest)
    {
    }

    // The guest network is switched on, and the daemon told.
    void open()
    {
        box.store.set("wl.guest.dhcps_enable", "1");
        TIME_CHECK_MODULES_COMMON_STRUCT msg = message(OP_DEFAULT, "wl_guest");
        time_check_wl_guest_msg_handle(&msg);
    }

    // What a tick at this up-time finds.
    std::string at(int uptime)
    {
        box.clock.set_uptime(uptime);
        return tick();
    }
};

TEST_F(GuestVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "no_limit"); // before the first tick
    box.store.set("wl.guest.effective_time", "0");
    EXPECT_EQ(at(100), "no_limit");
    box.store.set("wl.guest.effective_time", "3600");
    EXPECT_EQ(at(100), "not_started");
    open();
    EXPECT_EQ(at(3699), "time_left");
    EXPECT_EQ(at(3700), "closing");
    EXPECT_EQ(at(3701), "not_started");

    open();
    box.store.set("wl.guest.dhcps_enable", "0");
    EXPECT_EQ(at(8000), "closed_already");
    box.store.set("wl.guest.dhcps_enable", "1");
    box.faults.fail("CommitCfm");
    EXPECT_EQ(at(8001), "not_stored");
    EXPECT_EQ(seen.unseen(), Lines{});
}

} // namespace
