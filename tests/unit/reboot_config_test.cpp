// The scheduled reboot's settings and messages.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_module.h"
#include "time_check/time_check_reboot.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class RebootSettings : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        box.network.set_eth_name(10, "eth1");
        for (const char *key : {"enable", "type", "wday", "start_time", "end_time", "max_speed"})
            box.store.unset(std::string("sys.schedulereboot.") + key);
        box.store.unset("wl2g.public.mode");
        box.store.unset("wl5g.public.mode");
    }

    void set(const std::string &key, const std::string &value)
    {
        box.store.set("sys.schedulereboot." + key, value);
    }

    std::vector<std::string> loaded()
    {
        box.log.clear();
        EXPECT_EQ(set_time_check_reboot_info(), 1);
        return box.log.bodies();
    }
};

TEST_F(RebootSettings, NothingConfiguredIsTheDefaults)
{
    EXPECT_THAT(loaded(),
                ElementsAre("\t\t enable:0", "\t\t type:0", "\t\t wday_en:0;0;0;0;0;0;0", "\t\t start_time:02:00",
                            "\t\t end_time:05:30", "\t\t max_speed:5", "\t\t check_speed=5000",
                            "\t\t wan_ifnames:", "\t\t default_time_check_reboot:1"));
}

TEST_F(RebootSettings, EmptyValuesAreTheDefaults)
{
    for (const char *key : {"enable", "type", "wday", "start_time", "end_time", "max_speed"})
        set(key, "");
    EXPECT_THAT(loaded(),
                ElementsAre("\t\t enable:0", "\t\t type:0", "\t\t wday_en:0;0;0;0;0;0;0", "\t\t start_time:02:00",
                            "\t\t end_time:05:30", "\t\t max_speed:5", "\t\t check_speed=5000",
                            "\t\t wan_ifnames:", "\t\t default_time_check_reboot:1"));
}

TEST_F(RebootSettings, EverySettingIsRead)
{
    set("enable", "1");
    set("type", "1");
    set("wday", "1;0;1;0;1;0;1");
    set("start_time", "03:05");
    set("end_time", "6:45");
    set("max_speed", "12");
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    EXPECT_THAT(loaded(),
                ElementsAre("\t\t enable:1", "\t\t type:1", "\t\t wday_en:1;0;1;0;1;0;1", "\t\t start_time:03:05",
                            "\t\t end_time:06:45", "\t\t max_speed:12", "\t\t check_speed=12000",
                            "\t\t wan_ifnames:eth1", "\t\t default_time_check_reboot:0"));
}

TEST_F(RebootSettings, ThePrintedLinesAreInfoLines)
{
    loaded();
    for (const std::string &line : box.log.lines())
        EXPECT_THAT(line,
                    testing::MatchesRegex("\033\\[1;32m\\[TIMER_CHECK >>time_check_reboot_info_printf\\([0-9]+\\)\\]:"
                                          "\033\\[m\t\t .*"));
}

TEST_F(RebootSettings, PrintingDoesNotLoad)
{
    loaded();
    set("type", "1");
    box.log.clear();
    EXPECT_EQ(time_check_reboot_info_printf(), 1);
    EXPECT_EQ(box.log.bodies().size(), 9U);
    EXPECT_EQ(box.log.bodies().at(1), "\t\t type:0");
}

TEST_F(RebootSettings, NumbersAreDecimalTexts)
{
    set("enable", "2x");
    set("type", "abc");
    set("max_speed", "fast");
    const auto bodies = loaded();
    EXPECT_EQ(bodies.at(0), "\t\t enable:2");
    EXPECT_EQ(bodies.at(1), "\t\t type:0");
    EXPECT_EQ(bodies.at(5), "\t\t max_speed:0");
    EXPECT_EQ(bodies.at(6), "\t\t check_speed=0");
}

TEST_F(RebootSettings, TheThresholdIs32BitsWide)
{
    set("max_speed", "4294968"); // times 1000 is 704 more than 32 bits hold
    EXPECT_EQ(loaded().at(6), "\t\t check_speed=704");
    set("max_speed", "99999999999"); // saturates
    const auto bodies = loaded();
    EXPECT_EQ(bodies.at(5), "\t\t max_speed:2147483647");
    EXPECT_EQ(bodies.at(6), "\t\t check_speed=-1000");
}

// ---- the start time ----

TEST_F(RebootSettings, TwoOClockIsTheFactorysStartTime)
{
    for (const char *value : {"", "02:00"}) {
        set("start_time", value);
        const auto bodies = loaded();
        EXPECT_EQ(bodies.at(3), "\t\t start_time:02:00") << value;
        EXPECT_EQ(bodies.at(8), "\t\t default_time_check_reboot:1") << value;
    }
}

TEST_F(RebootSettings, AnyOtherTextIsNotTheFactorysEvenIfItMeansTheSame)
{
    const std::pair<const char *, const char *> cases[] = {
        {"02:30", "02:30"}, {"2:00", "02:00"},     {"02:00 ", "02:00"}, {"02:0", "02:00"},
        {"x", "02:00"},     {"02:00:00", "02:00"}, {" ", "02:00"},
    };
    for (const auto &[value, shown] : cases) {
        set("start_time", value);
        const auto bodies = loaded();
        EXPECT_EQ(bodies.at(3), std::string("\t\t start_time:") + shown) << value;
        EXPECT_EQ(bodies.at(8), "\t\t default_time_check_reboot:0") << value;
    }
}

TEST_F(RebootSettings, AReloadBringsTheFactorysMarkBack)
{
    set("start_time", "03:00");
    EXPECT_EQ(loaded().at(8), "\t\t default_time_check_reboot:0");
    set("start_time", "02:00");
    EXPECT_EQ(loaded().at(8), "\t\t default_time_check_reboot:1");
}

TEST_F(RebootSettings, TimesWithoutTwoPartsAreTheDefaults)
{
    for (const char *value : {"3", "0330", ":30", "3:"}) {
        set("start_time", value);
        set("end_time", value);
        const auto bodies = loaded();
        EXPECT_EQ(bodies.at(3), "\t\t start_time:02:00") << value;
        EXPECT_EQ(bodies.at(4), "\t\t end_time:05:30") << value;
    }
}

TEST_F(RebootSettings, TimesAreNotRangeChecked)
{
    set("start_time", "25:99");
    set("end_time", "99:00");
    const auto bodies = loaded();
    EXPECT_EQ(bodies.at(3), "\t\t start_time:26:39");
    EXPECT_EQ(bodies.at(4), "\t\t end_time:99:00");
}

TEST_F(RebootSettings, ValuesLongerThanTheirBufferAreCut)
{
    set("start_time", "03:" + std::string(500, '0'));
    set("wday", "1;" + std::string(500, '1'));
    set("max_speed", std::string(500, '1'));
    const auto bodies = loaded();
    EXPECT_EQ(bodies.at(2), "\t\t wday_en:1;1;0;0;0;0;0");
    EXPECT_EQ(bodies.at(3), "\t\t start_time:03:00");
    EXPECT_EQ(bodies.at(5), "\t\t max_speed:2147483647");
}

// ---- days ----

TEST_F(RebootSettings, DaysAreOneCharacterEach)
{
    const std::pair<const char *, const char *> cases[] = {
        {"1;1;1;1;1;1;1", "1;1;1;1;1;1;1"}, {"1", "1;0;0;0;0;0;0"},       {"1;0;1", "1;0;1;0;0;0;0"},
        {"1;;1", "1;0;0;0;0;0;0"},          {"12;34;5", "1;3;5;0;0;0;0"}, {"1;1;1;1;1;1;12;9", "1;1;1;1;1;1;1"},
    };
    for (const auto &[value, shown] : cases) {
        set("wday", value);
        EXPECT_EQ(loaded().at(2), std::string("\t\t wday_en:") + shown) << value;
    }
}

TEST_F(RebootSettings, AReloadClearsTheDays)
{
    set("wday", "1;1;1;1;1;1;1");
    loaded();
    set("wday", "");
    EXPECT_EQ(loaded().at(2), "\t\t wday_en:0;0;0;0;0;0;0");
}

// ---- the WAN interface ----

TEST_F(RebootSettings, TheWiredWanCountsOnlyWithBothRadiosAsAccessPoints)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"ap", "ap", "eth1"}, {"ap", "wisp", ""}, {"wisp", "ap", ""}, {"apclient", "ap", ""},
        {"ap", "", ""},       {"", "", ""},       {"AP", "AP", ""},   {"ap ", "ap", ""},
    };
    for (const auto &[mode_2g, mode_5g, shown] : cases) {
        box.store.set("wl2g.public.mode", mode_2g);
        box.store.set("wl5g.public.mode", mode_5g);
        EXPECT_EQ(loaded().at(7), std::string("\t\t wan_ifnames:") + shown) << mode_2g << '/' << mode_5g;
    }
}

TEST_F(RebootSettings, ANameLongerThan15CharactersIsCutAndNoNameIsEmpty)
{
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    box.network.set_eth_name(10, "abcdefghijklmnopq");
    EXPECT_EQ(loaded().at(7), "\t\t wan_ifnames:abcdefghijklmno");
    box.network.set_eth_name(10, "");
    EXPECT_EQ(loaded().at(7), "\t\t wan_ifnames:");
}

// ---- messages ----

class RebootMessage : public RebootSettings
{
protected:
    void SetUp() override
    {
        RebootSettings::SetUp();
        init_time_check_module_entries();
        box.log.clear();
    }

    std::vector<std::string> told(uint32_t relate_module_id, uint32_t op = 0)
    {
        box.log.clear();
        TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
        msg.op = op;
        msg.relate_module_id = relate_module_id;
        EXPECT_EQ(time_check_reboot_msg_handle(&msg), 1);
        return box.log.bodies();
    }
};

TEST_F(RebootMessage, OfARadioReadsTheWanNameAlone)
{
    set("type", "1");
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    const auto bodies = told(19);
    ASSERT_EQ(bodies.size(), 10U);
    EXPECT_EQ(bodies.at(0), "WIFI_MODULE mode function to be added...");
    EXPECT_EQ(bodies.at(2), "\t\t type:0"); // not read again
    EXPECT_EQ(bodies.at(8), "\t\t wan_ifnames:eth1");
}

TEST_F(RebootMessage, OfAWanOrTunnelReadsTheWanNameAlone)
{
    set("type", "1");
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    for (const uint32_t module : {2U, 22U, 23U}) {
        const auto bodies = told(module);
        ASSERT_EQ(bodies.size(), 10U) << module;
        EXPECT_EQ(bodies.at(0), "WAN_MODULE mode function to be added...") << module;
        EXPECT_EQ(bodies.at(2), "\t\t type:0") << module;
        EXPECT_EQ(bodies.at(8), "\t\t wan_ifnames:eth1") << module;
    }
}

TEST_F(RebootMessage, OfAnythingElseReloadsEverything)
{
    uint32_t type = 1;
    for (const uint32_t module : {0U, 1U, 3U, 18U, 20U, 21U, 24U, 50U, 0xffffffffU}) {
        set("type", std::to_string(++type));
        const auto bodies = told(module);
        ASSERT_EQ(bodies.size(), 10U) << module;
        EXPECT_EQ(bodies.at(0), "SYS_SCHED_REBOOT mode function to be added...") << module;
        EXPECT_EQ(bodies.at(2), "\t\t type:" + std::to_string(type)) << module;
    }
}

TEST_F(RebootMessage, TheOpIsNotLookedAt)
{
    for (uint32_t op = 0; op < 16; op++) {
        EXPECT_EQ(told(0, op).at(0), "SYS_SCHED_REBOOT mode function to be added...");
        EXPECT_EQ(told(19, op).at(0), "WIFI_MODULE mode function to be added...");
    }
}

TEST_F(RebootMessage, ItsFirstLineIsAnErrorLine)
{
    told(0);
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>time_check_reboot_msg_handle\\([0-9]+\\)\\]:"
                                      "\033\\[mSYS_SCHED_REBOOT mode function to be added\\.\\.\\."));
}

TEST_F(RebootMessage, TheScheduleIsPrintedThoughTheWanNameIsTheSame)
{
    EXPECT_EQ(told(19).size(), 10U);
    EXPECT_EQ(told(19).size(), 10U);
}

TEST_F(RebootMessage, AWanNameThatGoesAwayIsEmptied)
{
    box.store.set("wl2g.public.mode", "ap");
    box.store.set("wl5g.public.mode", "ap");
    EXPECT_EQ(told(19).at(8), "\t\t wan_ifnames:eth1");
    box.store.set("wl5g.public.mode", "wisp");
    EXPECT_EQ(told(2).at(8), "\t\t wan_ifnames:");
}

TEST_F(RebootMessage, ByNameOnTheBusReloadsTheSchedule)
{
    set("start_time", "04:00");
    TimeCheckMsgHandle("httpd", "time_check_reboot?op=3");
    EXPECT_THAT(box.log.bodies(), Contains("\t\t start_time:04:00"));
}

TEST_F(RebootMessage, NothingIsWrittenOrRun)
{
    box.journal.clear();
    told(0);
    told(19);
    told(2);
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

} // namespace
