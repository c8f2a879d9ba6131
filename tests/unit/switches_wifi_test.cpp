// Switching both radios on and off.
#include "tests/support/schedule_world.h"
#include "time_check/time_check_common.h"

using namespace schedule_world;

using SwitchesWifi = RouterTest;

TEST_F(SwitchesWifi, OneBandWithRadioAndMainNetworkOnIsOn)
{
    radios("1", "1", "0");
    EXPECT_EQ(time_check_get_wifi_status(), 0);
    box.store.set("wl5g.public.enable", "1");
    EXPECT_EQ(time_check_get_wifi_status(), 0);
    box.store.set("wl5g.ssid0.enable", "1");
    EXPECT_EQ(time_check_get_wifi_status(), 1);
}

TEST_F(SwitchesWifi, RadioAndMainNetworkOfDifferentBandsAreNotOn)
{
    radios("1", "1", "0");
    box.store.set("wl2g.public.enable", "1");
    box.store.set("wl5g.ssid0.enable", "1");
    EXPECT_EQ(time_check_get_wifi_status(), 0);
}

TEST_F(SwitchesWifi, OnlyExactlyOneIsOn)
{
    for (const std::string value : {"", "11", "01", "1 ", "on", "\xc3\xa9"}) {
        radios("1", "1", value);
        EXPECT_EQ(time_check_get_wifi_status(), 0) << value;
    }
    radios("1", "1", std::string(1000, '1'));
    EXPECT_EQ(time_check_get_wifi_status(), 0);
}

TEST_F(SwitchesWifi, OnSetsBothBandsThenCommitsThenStartsThem)
{
    radios("1", "1", "0");
    EXPECT_EQ(time_check_set_wifi_status(1), 1);
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "set wl5g.public.enable=1",
                             "set wl5g.ssid0.enable=1", "commit", "command cfm post netctrl 19?op=1,wl_rate=24",
                             "command cfm post netctrl 19?op=1,wl_rate=5"}));
}

TEST_F(SwitchesWifi, OnPrintsTheUsersSwitchesAndTheSameTextForBothBands)
{
    radios("1", "1", "0");
    time_check_set_wifi_status(1);
    EXPECT_EQ(lines(), (Lines{"[time_check_set_wifi_status] wl2g.enable == 1, wl5g.enable == 1",
                              "[time_check_set_wifi_status] wl2g.enable == 1, wl5g.enable == 1",
                              "[time_check_set_wifi_status] wl2g.enable == 1",
                              "[time_check_set_wifi_status] wl2g.enable == 1"}));
}

TEST_F(SwitchesWifi, TheSecondBandsLineShowsTheFirstBandsSwitch)
{
    radios("0", "1", "0");
    time_check_set_wifi_status(1);
    EXPECT_EQ(lines(), (Lines{"[time_check_set_wifi_status] wl2g.enable == 0, wl5g.enable == 1",
                              "[time_check_set_wifi_status] wl2g.enable == 0, wl5g.enable == 1",
                              "[time_check_set_wifi_status] wl2g.enable == 0"}));
}

TEST_F(SwitchesWifi, TheBandsAreStartedASecondApart)
{
    radios("1", "1", "0");
    const int before = box.clock.uptime();
    time_check_set_wifi_status(1);
    EXPECT_EQ(box.clock.uptime(), before + 1);
}

TEST_F(SwitchesWifi, TheBandsAreStoppedASecondApart)
{
    radios("1", "1", "1");
    const int before = box.clock.uptime();
    time_check_set_wifi_status(0);
    EXPECT_EQ(box.clock.uptime(), before + 1);
}

TEST_F(SwitchesWifi, OnLeavesADisabled5GHzRadioOff)
{
    radios("1", "0", "0");
    time_check_set_wifi_status(1);
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "commit",
                             "command cfm post netctrl 19?op=1,wl_rate=24"}));
}

TEST_F(SwitchesWifi, OnLeavesADisabled2GHzRadioOff)
{
    radios("0", "1", "0");
    time_check_set_wifi_status(1);
    EXPECT_EQ(acts(), (Lines{"set wl5g.public.enable=1", "set wl5g.ssid0.enable=1", "commit",
                             "command cfm post netctrl 19?op=1,wl_rate=5"}));
}

TEST_F(SwitchesWifi, OnWithBothRadiosDisabledCommitsAndStartsNothing)
{
    radios("0", "", "0");
    time_check_set_wifi_status(1);
    EXPECT_EQ(acts(), Lines{"commit"});
}

TEST_F(SwitchesWifi, OnDoesNothingWhileOneBandIsOn)
{
    radios("1", "1", "0");
    box.store.set("wl5g.public.enable", "1");
    box.store.set("wl5g.ssid0.enable", "1");
    EXPECT_EQ(time_check_set_wifi_status(1), 1);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(SwitchesWifi, OnAfterAFailedCommitStartsNothingAndKeepsTheValues)
{
    radios("1", "1", "0");
    box.faults.fail("CommitCfm");
    EXPECT_EQ(time_check_set_wifi_status(1), 1);
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=1", "set wl2g.ssid0.enable=1", "set wl5g.public.enable=1",
                             "set wl5g.ssid0.enable=1", "commit failed"}));
    EXPECT_EQ(lines(), Lines{"[time_check_set_wifi_status] wl2g.enable == 1, wl5g.enable == 1"});
    EXPECT_TRUE(radio_is_on());
}

TEST_F(SwitchesWifi, OffClearsBothBandsAndTheGuestNetworkInOrder)
{
    radios("1", "1", "1");
    box.store.set("wl.guest.effective_time", "3600");
    EXPECT_EQ(time_check_set_wifi_status(0), 1);
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=0", "set wl2g.ssid0.enable=0", "set wl5g.public.enable=0",
                             "set wl5g.ssid0.enable=0", "set wl.guest.dhcps_enable=0", "set wl5g.ssid1.enable=0",
                             "set wl2g.ssid1.enable=0", "set wl2g.ssid1.guest_enable=0",
                             "set wl5g.ssid1.guest_enable=0", "commit", "command cfm post netctrl 19?op=2,wl_rate=24",
                             "command cfm post netctrl 19?op=2,wl_rate=5"}));
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(SwitchesWifi, ExactlyZeroSparesTheGuestNetwork)
{
    radios("1", "1", "1");
    box.store.set("wl.guest.effective_time", "0");
    time_check_set_wifi_status(0);
    EXPECT_EQ(acts(), (Lines{"set wl2g.public.enable=0", "set wl2g.ssid0.enable=0", "set wl5g.public.enable=0",
                             "set wl5g.ssid0.enable=0", "commit", "command cfm post netctrl 19?op=2,wl_rate=24",
                             "command cfm post netctrl 19?op=2,wl_rate=5"}));
}

TEST_F(SwitchesWifi, NothingButZeroSparesTheGuestNetwork)
{
    for (const std::string &lifetime : {std::string(""), std::string("00"), std::string("0 "), std::string("0s"),
                                        std::string("-0"), std::string(1000, '0'), std::string("\xe2\x82\x80")}) {
        radios("1", "1", "1");
        box.store.set("wl.guest.effective_time", lifetime);
        box.store.set("wl.guest.dhcps_enable", "1");
        time_check_set_wifi_status(0);
        EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0") << lifetime;
    }
}

TEST_F(SwitchesWifi, AMissingLifetimeDoesNotSpareTheGuestNetwork)
{
    radios("1", "1", "1");
    box.store.unset("wl.guest.effective_time");
    box.store.set("wl.guest.dhcps_enable", "1");
    time_check_set_wifi_status(0);
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "0");
}

TEST_F(SwitchesWifi, OffStopsBothRadiosWhateverTheUserEnabled)
{
    radios("0", "0", "0");
    box.store.set("wl2g.public.enable", "1");
    box.store.set("wl2g.ssid0.enable", "1");
    box.journal.clear();
    time_check_set_wifi_status(0);
    EXPECT_EQ(box.journal.messages_to_netctrl(), (Lines{"19?op=2,wl_rate=24", "19?op=2,wl_rate=5"}));
}

TEST_F(SwitchesWifi, OffDoesNothingWhenWifiIsOff)
{
    radios("1", "1", "0");
    box.store.set("wl.guest.dhcps_enable", "1");
    EXPECT_EQ(time_check_set_wifi_status(0), 1);
    EXPECT_EQ(acts(), Lines{});
    EXPECT_EQ(box.store.get("wl.guest.dhcps_enable"), "1");
}

TEST_F(SwitchesWifi, OffAfterAFailedCommitStopsNothing)
{
    radios("1", "1", "1");
    box.faults.fail("CommitCfm");
    time_check_set_wifi_status(0);
    EXPECT_EQ(box.journal.messages_to_netctrl(), Lines{});
    EXPECT_FALSE(radio_is_on());
}

TEST_F(SwitchesWifi, OtherNumbersDoNothing)
{
    for (const char *state : {"0", "1"}) {
        radios("1", "1", state);
        for (const int on : {-1, 2, 3, 1000000})
            EXPECT_EQ(time_check_set_wifi_status(on), 1);
    }
    EXPECT_EQ(acts(), Lines{});
}
