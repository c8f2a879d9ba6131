// Which keys a commit keeps, the same on both grounds. What every ground's store does the conformance kit shows (kit/).
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

} // namespace
