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

// A rule for Mondays, 09:00 to 17:00; 2 March 2026 is one. Power saving in the evening.
class WifiVerdicts : public RouterTest
{
protected:
    SeenVerdicts<wifi_verdict> seen{WIFI, time_check_wifi_verdict};

    void SetUp() override
    {
        radios("1", "1", "1");
        power_saving("0", "20:00", "21:00");
        set_time_check_power_info();
        set_time_check_wifi_info();
    }

    // What a tick at this local time of day finds.
    std::string at(const std::string &time_of_day)
    {
        box.clock.set("2026-03-02 " + time_of_day);
        time_check_wifi();
        return seen.look();
    }
};

TEST_F(WifiVerdicts, EachIsReached)
{
    EXPECT_EQ(seen.look(), "no_period"); // before the first tick
    EXPECT_EQ(at("08:00:00"), "no_period");
    only_rule("nkgw.wlan", "Mon 09:00", "17:00");
    set_time_check_wifi_info();
    box.clock.set("1970-01-05 09:00:00");
    time_check_wifi();
    EXPECT_EQ(seen.look(), "clock_unset");

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
    box.clock.set("2026-03-02 12:00:00");
    const time_t noon = box.clock.wall();
    box.clock.set("2026-03-02 20:30:00");
    time_check_wifi_for_day(noon);
    EXPECT_EQ(seen.look(), "power_saving_first");
    box.clock.set("2026-03-02 22:00:00");
    time_check_wifi_for_day(noon);
    EXPECT_EQ(seen.look(), "switching_off");
}

// The same for the LEDs.
class LedVerdicts : public RouterTest
{
protected:
    SeenVerdicts<led_verdict> seen{LED, time_check_led_verdict};

    void SetUp() override
    {
        power_saving("0", "20:00", "21:00");
        set_time_check_power_info();
    }

    void set_to(std::string_view type)
    {
        box.store.set("sys.sched.led.type", type);
        set_time_check_led_info();
    }

    // What a tick at this local time of day finds.
    std::string at(const std::string &time_of_day)
    {
        box.clock.set("2026-03-02 " + time_of_day);
        EXPECT_EQ(time_check_led(), 1);
        return seen.look();
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
    box.clock.set("1970-01-05 09:00:00");
    time_check_led();
    EXPECT_EQ(seen.look(), "clock_unset");
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
    box.clock.set("1970-01-05 20:30:00");
    time_check_led();
    EXPECT_EQ(seen.look(), "always_off");
}

TEST_F(LedVerdicts, PowerSavingIsAskedOfThePresent)
{
    only_rule("nkgw.led", "Mon 09:00", "17:00");
    set_to("time");
    box.clock.set("2026-03-02 12:00:00");
    const time_t noon = box.clock.wall();
    box.clock.set("2026-03-02 20:30:00");
    time_check_led_for_time(noon);
    EXPECT_EQ(seen.look(), "power_saving_first");
    box.clock.set("2026-03-02 22:00:00");
    time_check_led_for_time(noon);
    EXPECT_EQ(seen.look(), "in_period");
}

class GuestVerdicts : public RouterTest
{
protected:
    SeenVerdicts<guest_verdict> seen{GUEST, time_check_wl_guest_verdict};

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
        time_check_wl_guest();
        return seen.look();
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
