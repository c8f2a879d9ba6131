// The table of the store's keys as programs look things up in it.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tools/key_table.h"

namespace
{

std::string pattern_of(std::string_view key)
{
    const keys::row *row = keys::find(key);
    return row == nullptr ? "(none)" : std::string(row->key);
}

// What is wrong with the value, "" when nothing is.
std::string fault(std::string_view key, std::string_view value)
{
    const keys::row *row = keys::find(key);
    return row == nullptr ? "no key" : keys::range_fault(*row, value).value_or("");
}

TEST(KeyTable, HasEachKeyOnceWithWhoUsesIt)
{
    std::set<std::string_view> keys;
    for (const keys::row &row : keys::table()) {
        EXPECT_TRUE(keys.insert(row.key).second) << row.key;
        EXPECT_FALSE(row.meaning.empty()) << row.key;
        EXPECT_FALSE(row.reads.empty() && row.writes.empty()) << row.key;
    }
    size_t rows = 0; // as the preprocessor counts them
#define CONFIG_KEY(...) rows++;
#include "platform/config_keys.def"
    EXPECT_EQ(keys.size(), rows);
}

TEST(KeyTable, HoldsTheColumnsOfARow)
{
    const keys::row *row = keys::find("sys.schedulereboot.end_time");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->type, keys::type::time);
    EXPECT_EQ(row->kind, keys::kind::setting);
    EXPECT_EQ(row->standard, "05:30");
    EXPECT_EQ(row->writers, "user");
    EXPECT_EQ(row->after, "time_check_reboot?op=1");
    EXPECT_EQ(row->meaning, "`HH:MM`, local time");
    ASSERT_EQ(row->traps.size(), 1U);
    EXPECT_EQ(row->traps[0], "a window past midnight never restarts");
    ASSERT_EQ(row->reads.size(), 1U);
    EXPECT_EQ(row->reads[0].unit, "reboot");
    EXPECT_EQ(row->reads[0].when, "start, message");
    EXPECT_TRUE(row->writes.empty());
    EXPECT_EQ(keys::name_of(row->type), "time");
    EXPECT_EQ(keys::name_of(keys::find("wl.wisp.pppoe_password")->kind), "secret");
}

TEST(KeyTable, GivesARowAlone)
{
    for (const keys::row &row : keys::table()) {
        const std::string key = keys::filled(row.key, "1");
        const std::optional<keys::row> alone = keys::find_bare(key);
        ASSERT_TRUE(alone) << key;
        EXPECT_EQ(keys::find(key), &row) << key;
        EXPECT_EQ(alone->key, row.key);
        EXPECT_EQ(alone->type, row.type) << key;
        EXPECT_EQ(alone->kind, row.kind) << key;
        EXPECT_EQ(std::string(alone->range).append(alone->after), std::string(row.range).append(row.after)) << key;
        EXPECT_EQ(alone->meaning, row.meaning) << key;
    }
    EXPECT_FALSE(keys::find_bare("some.key"));
}

TEST(KeyTable, GivesEachKeyOfAFamilyTheFamilysDetails)
{
    for (const char *key : {"wl2g.public.mode", "wl5g.public.mode"})
        EXPECT_EQ(keys::find(key)->reads.size(), 5U) << key;
    for (const char *key : {"nkgw.wlan.listnum", "nkgw.led.listnum"}) {
        ASSERT_EQ(keys::find(key)->traps.size(), 1U) << key;
        EXPECT_EQ(keys::find(key)->traps[0], "above 20 no rule is read");
    }
    EXPECT_EQ(keys::find("nkgw.wlan.listnum")->after, "time_check_wifi");
    EXPECT_EQ(keys::find("nkgw.led.listnum")->after, "time_check_led");
    EXPECT_TRUE(keys::find("wl2g.enable")->traps.empty()) << "the row before it has one";
    EXPECT_EQ(keys::find("nkgw.led.state")->writes.size(), 2U);
}

TEST(KeyTable, FindsKeysOfPatterns)
{
    EXPECT_EQ(pattern_of("wan2_isonln"), "wan%d_isonln");
    EXPECT_EQ(pattern_of("wan12.ifname"), "wan%d.ifname");
    EXPECT_EQ(pattern_of("nkgw.led.ontime.list20"), "nkgw.led.ontime.list%u");
    EXPECT_EQ(pattern_of("led.usb:1.x.trigger"), "led.%s.trigger");
    for (const char *key : {"", "wan_isonln", "wan0_isonln", "wan01_isonln", "wanx_isonln", "wan%d_isonln",
                            "led..trigger", "led.trigger", "wan2_isonln.", "lan.ipx", "lan.i", "LAN.IP"})
        EXPECT_EQ(pattern_of(key), "(none)") << key;
}

TEST(KeyTable, NamesTheKeyThatWasProbablyMeant)
{
    EXPECT_EQ(keys::nearest("sys.schedulereboot.enabel"), "sys.schedulereboot.enable");
    EXPECT_EQ(keys::nearest("sys.schedulereboot.startime"), "sys.schedulereboot.start_time");
    EXPECT_EQ(keys::nearest("wans.falg"), "wans.flag");
    EXPECT_EQ(keys::nearest("wan2.isonln"), "wan%d_isonln");
    EXPECT_EQ(keys::nearest("wan_isonln"), "wan%d_isonln");
    EXPECT_EQ(keys::nearest("nkgw.wlan.ontime.lst7"), "nkgw.wlan.ontime.list%u");
    EXPECT_EQ(keys::nearest("led.power.triger"), "led.%s.trigger");
    EXPECT_EQ(keys::nearest("lan.ip"), "lan.ip");
}

TEST(KeyTable, NamesNoKeyForOneOfAnotherProgram)
{
    for (const char *key : {"", "k", "key", "some.key", "lab.who", "wan1.pppoe.password", "wl2g.ssid2.enable",
                            "wl.guest.ssid", "httpd.port", "%s", "....", "led"})
        EXPECT_EQ(keys::nearest(key), "") << key;
    EXPECT_EQ(keys::nearest(std::string(511, 'k')), "");
}

TEST(KeyTable, FillsPatternsFromAKey)
{
    EXPECT_EQ(keys::filled("wan%d_isonln", "wan12.isonln"), "wan12_isonln");
    EXPECT_EQ(keys::filled("wan%d_isonln", "wan_isonln"), "wan1_isonln");
    EXPECT_EQ(keys::filled("led.%s.trigger", "led.usb.triger"), "led.usb.trigger");
    EXPECT_EQ(keys::filled("led.%s.trigger", "led"), "led.NAME.trigger");
    EXPECT_EQ(keys::filled("lan.ip", "lan.pi"), "lan.ip");
}

TEST(KeyTable, StandardsAreWithinTheirRanges)
{
    for (const keys::row &row : keys::table()) {
        EXPECT_EQ(keys::range_fault(row, row.standard), std::nullopt) << row.key;
        EXPECT_EQ(keys::range_fault(row, ""), std::nullopt) << row.key;
    }
}

TEST(KeyTable, TellsWhatIsOutsideARange)
{
    EXPECT_EQ(fault("sys.schedulereboot.type", "3"), "");
    EXPECT_EQ(fault("sys.schedulereboot.type", "4"), "it is not within 0..3");
    EXPECT_EQ(fault("sys.schedulereboot.type", "-1"), "it is not within 0..3");
    EXPECT_EQ(fault("sys.schedulereboot.type", "1x"), "it is no number");
    EXPECT_EQ(fault("sys.schedulereboot.type", "99999999999999999999"), "it is no number");
    EXPECT_EQ(fault("sys.schedulereboot.max_speed", "100000"), "");
    EXPECT_EQ(fault("sys.schedulereboot.max_speed", "-1"), "it is not within 0..");
    EXPECT_EQ(fault("sys.mode", "-7"), "");
    EXPECT_EQ(fault("wl.wisp.webpage_status", "2"), "it is none of 0|1");
    EXPECT_EQ(fault("wl2g.enable", "on"), "it is none of 0|1");
    EXPECT_EQ(fault("wl5g.public.mode", "apclient"), "");
    EXPECT_EQ(fault("wl5g.public.mode", "AP"), "it is none of ap|wisp|apclient");
    EXPECT_EQ(fault("wl5g.public.mode", "ap|wisp"), "it is none of ap|wisp|apclient");
    EXPECT_EQ(fault("time_check_debug", "1"), "it is not on");
    EXPECT_EQ(fault("wl2g.public.country", "123456789012345"), "");
    EXPECT_EQ(fault("wl2g.public.country", "1234567890123456"), "it is longer than 15 bytes");
    EXPECT_EQ(fault("wl2g.extra.ssid", std::string(1000, 'x')), "");
    EXPECT_EQ(fault("lan.ifname", "br-lan"), "");
    EXPECT_EQ(fault("lan.ifname", "a name"), "it is no interface's name");
    EXPECT_EQ(fault("lan.ifname", "sixteen-letters."), "it is no interface's name");
    for (const char *address : {"192.168.0", "192.168.0.256", "192.168.0.1.", "192.168..1", "a.b.c.d", "1.2.3.-4"})
        EXPECT_EQ(fault("lan.ip", address), "it is no IPv4 address") << address;
    EXPECT_EQ(fault("lan.ip", "192.168.0.1"), "");
}

TEST(KeyTable, TellsWhatIsNoTime)
{
    for (const char *time : {"0:00", "02:00", "23:59"})
        EXPECT_EQ(fault("sys.powersleep.end_time", time), "") << time;
    for (const char *time : {"24:00", "2", "2:60", "002:00", ":", "2:", " 2:00", "2:00 ", "-1:00", "2:-1", "Mon 2:00"})
        EXPECT_EQ(fault("sys.powersleep.end_time", time), "it is no time HH:MM") << time;
    for (const char *time : {"6:30", "Mon..Thu,Sun 23:00", "Fri..Mon 0:00", "Sat 9:05"})
        EXPECT_EQ(fault("nkgw.wlan.ontime.list3", time), "") << time;
    for (const char *time :
         {"Mo 6:30", "Mon,  6:30", "Mon, 6:30", "Mon..6:30", " 6:30", "Mon", "mon 6:30", "Mon..Foo 1:00"})
        EXPECT_NE(fault("nkgw.wlan.ontime.list3", time), "") << time;
    EXPECT_EQ(fault("sys.powersleep.wday", "1;1;1;1;1;0;0"), "");
    for (const char *days : {"1;1;1;1;1;0", "1;1;1;1;1;0;0;", "1;1;1;1;1;0;2", "Mon", "1111100"})
        EXPECT_NE(fault("sys.powersleep.wday", days), "") << days;
}

} // namespace
