// What tcctl check says of settings: what was meant, where a line is wrong, and what a machine shows.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/tcctl/finding.h"

namespace
{

namespace fs = std::filesystem;
using tcctl::fault;

tcctl::findings found_in(const std::string &text)
{
    tcctl::settings given;
    EXPECT_TRUE(given.add_text("settings", text).empty());
    return tcctl::check_settings(given);
}

std::string ids_in(const std::string &text)
{
    std::string ids;
    for (const tcctl::finding &each : found_in(text))
        ids += (ids.empty() ? "" : " ") + tcctl::id_of(each.fault);
    return ids;
}

// Of the first finding.
std::string meant_in(const std::string &text)
{
    const tcctl::findings found = found_in(text);
    return found.empty() ? "(nothing found)" : found.front().suggestion;
}

std::string effect_in(const std::string &text)
{
    const tcctl::findings found = found_in(text);
    return found.empty() ? "(nothing found)" : found.front().effect;
}

// ---- what was probably meant ----

TEST(CheckMeant, TimesOfDay)
{
    const std::string start = "sys.powersleep.start_time=";
    EXPECT_EQ(meant_in(start + "3am"), "03:00");
    EXPECT_EQ(meant_in(start + "11 pm"), "23:00");
    EXPECT_EQ(meant_in(start + "12am"), "00:00");
    EXPECT_EQ(meant_in(start + "22.30"), "22:30");
    EXPECT_EQ(meant_in(start + "22h30"), "22:30");
    EXPECT_EQ(meant_in(start + "midnight"), "");
    EXPECT_EQ(meant_in(start + "99"), "");
    EXPECT_EQ(meant_in(start + "12:5x"), "12:05") << "as the daemon reads it";
}

TEST(CheckMeant, WeeklyTimes)
{
    const std::string begin = "nkgw.led.listnum=1\nnkgw.led.ontime.list1=6:30\nnkgw.led.offtime.list1=";
    EXPECT_EQ(meant_in(begin + "Mon-Fri 23:00"), "Mon..Fri 23:00");
    EXPECT_EQ(meant_in(begin + "mon..fri,SUN 23:00"), "Mon..Fri,Sun 23:00");
    EXPECT_EQ(meant_in(begin + " Mon, Tue  23.00 "), "Mon,Tue 23:00");
    EXPECT_EQ(meant_in(begin + "23.00"), "23:00");
    EXPECT_EQ(meant_in(begin + "25:00"), "");
    EXPECT_EQ(meant_in(begin + "weekdays 23:00"), "");
    EXPECT_EQ(meant_in(begin + "Mon..Fri 23:00"), "(nothing found)");
}

TEST(CheckMeant, SwitchesAndWords)
{
    EXPECT_EQ(meant_in("wl2g.enable=yes"), "1");
    EXPECT_EQ(meant_in("wl2g.enable=OFF"), "0");
    EXPECT_EQ(meant_in("wl2g.enable=maybe"), "");
    EXPECT_EQ(meant_in("sys.schedulereboot.enable=true"), "1");
    EXPECT_EQ(meant_in("sys.sched.led.type=tiem"), "time");
    EXPECT_EQ(meant_in("sys.sched.led.type=blink"), "");
    EXPECT_EQ(meant_in("wl5g.public.mode=AP"), "ap");
    EXPECT_EQ(meant_in("wan2.conecttype=0"), "wan2.connecttype");
}

// ---- what the daemon does ----

TEST(CheckEffect, IsTheRulesOwn)
{
    EXPECT_EQ(effect_in("sys.powersleep.start_time=3am"), "00:00 counts instead");
    EXPECT_EQ(effect_in("sys.schedulereboot.end_time=3am"), "05:30 counts instead");
    EXPECT_EQ(effect_in("sys.powersleep.start_time=7:5:3"), "it is read as 07:05");
    EXPECT_EQ(effect_in("sys.schedulereboot.start_time=24:00"), "the router never restarts");
    EXPECT_EQ(effect_in("sys.powersleep.start_time=-1:00"), "the period begins at midnight");
    EXPECT_EQ(effect_in("sys.powersleep.enable=1x"), "it counts as 1");
    EXPECT_EQ(effect_in("nkgw.led.listnum=3\nnkgw.led.offtime.list1=22:00\nnkgw.led.ontime.list1=mon 7:00\n"),
              "the list of the LEDs ends before it: 0 of 3 rules are read, the 2 behind it are not");
}

TEST(CheckEffect, NothingIsSaidOfARestartThatIsOff)
{
    const std::string window = "sys.schedulereboot.start_time=23:00\nsys.schedulereboot.end_time=01:00\n";
    EXPECT_EQ(ids_in(window), "restart-past-midnight") << "the file is for a store that has it on";
    EXPECT_EQ(ids_in(window + "sys.schedulereboot.enable=1\n"), "restart-past-midnight");
    EXPECT_EQ(ids_in(window + "sys.schedulereboot.enable=0\n"), "");
}

TEST(CheckEffect, TheFactorysEndLeavesRoomForItsStart)
{
    const std::string on = "sys.schedulereboot.enable=1\nsys.schedulereboot.end_time=";
    EXPECT_EQ(ids_in(on + "04:29"), "restart-end-passed");
    EXPECT_EQ(ids_in(on + "04:30"), "");
    EXPECT_EQ(ids_in(on + "02:10\nsys.schedulereboot.start_time=02:01"), "") << "another start is kept";
}

TEST(CheckEffect, AMissingKeyIsMissingOnlyWhereAllAreThere)
{
    const std::string rules = "nkgw.wlan.listnum=1\nnkgw.wlan.offtime.list1=23:00\nnkgw.wlan.ontime.list1=6:30\n";
    EXPECT_EQ(ids_in(rules), "");
    EXPECT_EQ(ids_in(rules + "# end: 3 settings, crc32 00000000\n"), "wifi-without-radio guest-closed-with-wifi");
    tcctl::settings given;
    given.add_text("settings", rules);
    given.set_whole();
    EXPECT_EQ(tcctl::check_settings(given).size(), 2U);
}

TEST(CheckEffect, OneRadioIsEnoughForTheRules)
{
    const std::string rules = "nkgw.wlan.listnum=1\nnkgw.wlan.offtime.list1=23:00\nnkgw.wlan.ontime.list1=6:30\n";
    EXPECT_EQ(ids_in(rules + "wl2g.enable=0\nwl5g.enable=1\n"), "");
    EXPECT_EQ(ids_in(rules + "wl2g.enable=0\nwl5g.enable=0\n"), "wifi-without-radio");
}

// ---- texts that are wrong ----

std::string bad_lines_of(const std::string &text)
{
    tcctl::settings given;
    std::string lines;
    for (const tcctl::bad_line &each : given.add_text("settings", text))
        lines += std::to_string(each.line) + ":" + std::to_string(each.column) + ": " + each.why + "\n";
    return lines;
}

TEST(CheckText, AWrongLineIsToldWithItsColumn)
{
    const std::string escape = "a backslash is followed by none of \\ n r t xHH\n";
    EXPECT_EQ(bad_lines_of("# comment\n\nkey=value\n"), "");
    EXPECT_EQ(bad_lines_of("key=1\nnonsense\n"), "2:9: the line has no '='\n");
    EXPECT_EQ(bad_lines_of("k\\ey=1"), "1:2: " + escape);
    EXPECT_EQ(bad_lines_of("key=\\x41\\\\\\n\\q"), "1:13: " + escape) << "behind good escapes";
    EXPECT_EQ(bad_lines_of("key=a\x01z\n"), "1:6: a control character stands in the line; write it as \\xHH\n");
    EXPECT_EQ(bad_lines_of("=1\n=2\n"), "1:1: the key is empty\n2:1: the key is empty\n");
    EXPECT_EQ(bad_lines_of("key=\\x4"), "1:5: " + escape) << "an escape that is cut off";
    EXPECT_EQ(bad_lines_of("key=" + std::string(65537, 'v')), "1:65541: the value is longer than 65536 bytes\n");
    EXPECT_EQ(bad_lines_of(std::string(512, 'k') + "=1"), "1:512: the key is longer than 511 bytes\n");
}

TEST(CheckText, EscapesAreReadAsImportReadsThem)
{
    tcctl::settings given;
    given.add_text("settings", "sys.workmode=\\x61\\x70\n");
    EXPECT_EQ(given.value("sys.workmode"), "ap");
}

TEST(CheckText, ALaterFileReplacesWhatOneBeforeItSays)
{
    tcctl::settings given;
    given.add_text("one", "wans.flag=3\n");
    given.add_text("other", "\nwans.flag=1\n");
    EXPECT_EQ(given.find("wans.flag")->file, "other");
    EXPECT_TRUE(tcctl::check_settings(given).empty());
}

// ---- this machine ----

class CheckMachine : public testing::Test
{
protected:
    CheckMachine()
    {
        std::string name = (fs::temp_directory_path() / "check_XXXXXX").string();
        top = mkdtemp(name.data());
        paths = {.interfaces = top / "net", .zone_file = top / "localtime", .zones = top / "zoneinfo"};
        fs::create_directories(top / "net" / "eth0");
        fs::create_directories(top / "zoneinfo" / "Europe");
        std::ofstream(top / "zoneinfo" / "Europe" / "Zurich") << "TZif2";
        fs::create_symlink(top / "zoneinfo" / "Europe" / "Zurich", top / "localtime");
    }
    ~CheckMachine() override
    {
        fs::remove_all(top);
    }
    void make_bridge(const std::string &name) const
    {
        fs::create_directories(top / "net" / name / "bridge");
    }
    [[nodiscard]] std::string found(const std::string &text, const char *zone = nullptr) const
    {
        tcctl::settings given;
        given.add_store(text);
        std::string lines;
        for (const tcctl::finding &each : tcctl::check_machine(given, paths, zone))
            lines += tcctl::id_of(each.fault) + " " + each.where.key + " " + each.suggestion + "\n";
        return lines;
    }
    fs::path top;
    tcctl::machine_paths paths;
};

TEST_F(CheckMachine, TheUsualBridgesAreLookedAt)
{
    make_bridge("br0");
    make_bridge("br1");
    EXPECT_EQ(found(""), "");
}

TEST_F(CheckMachine, ABridgeOfAnotherNameWantsToBeNamed)
{
    make_bridge("br-lan");
    EXPECT_EQ(found(""), "bridge-not-looked-at  lan.ifname=br-lan or lan2.ifname=br-lan, if it is the LAN's or the "
                         "guests'\n");
    EXPECT_EQ(found("lan.ifname=br-lan\n"), "");
    EXPECT_EQ(found("lan2.ifname=br-lan\n"), "");
}

TEST_F(CheckMachine, ANameThatIsNoBridgesIsFound)
{
    make_bridge("br0");
    EXPECT_EQ(found("lan.ifname=eth0\n"), "no-such-bridge lan.ifname br0\n");
    EXPECT_EQ(found("lan2.ifname=br7\n"), "no-such-bridge lan2.ifname br0\n");
}

TEST_F(CheckMachine, AZoneThatLeadsNowhereIsFound)
{
    EXPECT_EQ(found(""), "");
    fs::remove(top / "zoneinfo" / "Europe" / "Zurich");
    EXPECT_EQ(found(""), "zone-unknown  a zone of this machine\n");
    fs::remove(top / "localtime");
    EXPECT_EQ(found(""), "zone-not-set  a link to the zone's file\n");
}

TEST_F(CheckMachine, AZoneOfTheEnvironmentIsFoundWhenThereIsNone)
{
    EXPECT_EQ(found("", "Europe/Zurich"), "");
    EXPECT_EQ(found("", ":Europe/Zurich"), "");
    EXPECT_EQ(found("", "CET-1CEST,M3.5.0,M10.5.0/3"), "");
    EXPECT_EQ(found("", "Europe/Zuerich"), "zone-unknown  \n");
    EXPECT_EQ(found("", ""), "zone-not-set  \n");
}

} // namespace
