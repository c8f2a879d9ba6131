// The contract of platform/config_store.h, the same for every ground.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_ground.h"

namespace
{

class ConfigStore : public testing::Test
{
protected:
    void SetUp() override
    {
        ground::begin();
    }
    void TearDown() override
    {
        ground::end();
    }
};

TEST_F(ConfigStore, MissingKeyGivesZeroAndAnEmptyValue)
{
    char value[8] = "before";
    EXPECT_EQ(GetValue("test.missing", value), 0);
    EXPECT_STREQ(value, "");
}

TEST_F(ConfigStore, EmptyKeyIsMissing)
{
    char value[8] = "before";
    EXPECT_EQ(GetValue("", value), 0);
    EXPECT_STREQ(value, "");
}

TEST_F(ConfigStore, StoredValueIsRead)
{
    char value[32];
    EXPECT_EQ(SetValue("test.key", "some value"), 1);
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "some value");
}

TEST_F(ConfigStore, EmptyValueIsFoundAndEmpty)
{
    char value[8] = "before";
    EXPECT_EQ(SetValue("test.key", ""), 1);
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "");
}

TEST_F(ConfigStore, ValueIsReplacedByALaterOne)
{
    char value[32];
    SetValue("test.key", "a long first value");
    EXPECT_EQ(SetValue("test.key", "second"), 1);
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "second");
}

TEST_F(ConfigStore, SameValueAgainCountsAsStored)
{
    SetValue("test.key", "same");
    EXPECT_EQ(SetValue("test.key", "same"), 1);
}

TEST_F(ConfigStore, KeysAreComparedWhole)
{
    char value[8];
    SetValue("test.key", "1");
    EXPECT_EQ(GetValue("test.ke", value), 0);
    EXPECT_EQ(GetValue("test.keys", value), 0);
    EXPECT_EQ(GetValue("Test.key", value), 0);
}

TEST_F(ConfigStore, LongerValueIsCutToTheBuffer)
{
    char value[8];
    SetValue("test.key", "0123456789");
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "0123456");
}

TEST_F(ConfigStore, ValueThatJustFitsIsNotCut)
{
    char value[8];
    SetValue("test.key", "0123456");
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "0123456");
}

TEST_F(ConfigStore, BytesBehindTheBufferAreNotTouched)
{
    char value[8];
    for (const char *stored : {"0123456789", "01234", "0123", "012"}) {
        SetValue("test.key", stored);
        memset(value, '#', sizeof value);
        EXPECT_EQ(GetValue("test.key", value, 4), 1);
        EXPECT_EQ(std::string(value, sizeof value), std::string("012\0####", 8)) << stored;
    }
}

TEST_F(ConfigStore, BufferOfOneByteHoldsTheEndAlone)
{
    char value[1] = {'#'};
    SetValue("test.key", "0123456789");
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_EQ(value[0], '\0');
}

TEST_F(ConfigStore, ValuesMayHoldAnyCharacter)
{
    std::string all;
    for (int c = 1; c < 256; c++)
        all += static_cast<char>(c);
    char value[512];
    EXPECT_EQ(SetValue("test.key", all.c_str()), 1);
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_EQ(value, all);
}

TEST_F(ConfigStore, AnotherProcessSeesAValueAtOnce)
{
    SetValue("test.key", "1");
    EXPECT_EQ(ground::get_elsewhere("test.key"), "1");
    SetValue("test.key", "2");
    EXPECT_EQ(ground::get_elsewhere("test.key"), "2");
}

TEST_F(ConfigStore, ValueOfAnotherProcessIsSeenAtOnce)
{
    char value[8];
    EXPECT_EQ(GetValue("test.key", value), 0);
    ground::set_elsewhere("test.key", "1");
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "1");
    ground::set_elsewhere("test.key", "2");
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "2");
}

TEST_F(ConfigStore, CommittedValuesOutliveARestart)
{
    std::string all;
    for (int c = 1; c < 256; c++)
        all += static_cast<char>(c);
    SetValue("test.key", "kept");
    SetValue("test.all", all.c_str());
    EXPECT_NE(CommitCfm(), 0);
    ground::restart();
    char value[512];
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "kept");
    EXPECT_EQ(GetValue("test.all", value), 1);
    EXPECT_EQ(value, all);
}

TEST_F(ConfigStore, UncommittedValuesDoNotOutliveARestart)
{
    SetValue("test.key", "old");
    EXPECT_NE(CommitCfm(), 0);
    SetValue("test.key", "new");
    SetValue("test.other", "1");
    ground::restart();
    char value[8];
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "old");
    EXPECT_EQ(GetValue("test.other", value), 0);
}

const char *const PUBLISHED[] = {
    "wan1_isonln",        "wan2_check",    "wan1_err_check",        "wan_stoppage_err",
    "stoppage_flag",      "led.a.trigger", "surf_check_renew_flag", "wl.wisp.webpage_status",
    "led.usb:1.x.trigger"};

TEST_F(ConfigStore, WhatIsPublishedIsSeenByEverybodyUntilTheRestart)
{
    for (const char *key : PUBLISHED)
        EXPECT_EQ(SetValue(key, "1"), 1) << key;
    EXPECT_NE(CommitCfm(), 0);
    for (const char *key : PUBLISHED)
        EXPECT_EQ(ground::get_elsewhere(key), "1") << key;
    ground::restart();
    char value[8];
    for (const char *key : PUBLISHED)
        EXPECT_EQ(GetValue(key, value), 0) << key;
}

TEST_F(ConfigStore, SettingsWithNamesLikePublishedOnesAreCommitted)
{
    const char *const settings[] = {
        "wan_isonln",         "wan1_isonln2",    "wan1x_check", "xwan1_check",    "wan1.check",
        "wan1_err_check_now", "led..trigger",    "led.trigger", "led.a.trigge",   "led",
        "stoppage_flag.",     "stoppage_fla",    "reboot.flag", "wan1.down.flag", "wan",
        "nkgw.led.state",     "wan1.connecttype"};
    for (const char *key : settings)
        EXPECT_EQ(SetValue(key, "1"), 1) << key;
    EXPECT_NE(CommitCfm(), 0);
    ground::restart();
    char value[8];
    for (const char *key : settings)
        EXPECT_EQ(GetValue(key, value), 1) << key;
}

TEST_F(ConfigStore, CommitTakesInWhatAnotherProcessSet)
{
    ground::set_elsewhere("test.key", "theirs");
    EXPECT_NE(CommitCfm(), 0);
    ground::restart();
    char value[8];
    EXPECT_EQ(GetValue("test.key", value), 1);
    EXPECT_STREQ(value, "theirs");
}

TEST_F(ConfigStore, CommitWithoutAChangeSucceeds)
{
    SetValue("test.key", "1");
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_NE(CommitCfm(), 0);
}

} // namespace
