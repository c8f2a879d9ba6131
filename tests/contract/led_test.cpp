// The LEDs of the front panel, on a folder that looks like the kernel's LED class.
#include "platform/system.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "platform/linux/ledger.h"
#include "tests/contract/contract_support.h"
#include "tests/contract/memory_store.h"

namespace
{

class Leds : public testing::Test
{
protected:
    Leds()
    {
        setenv("TIME_CHECK_LED_DIR", folder.path().c_str(), 1);
        unsetenv("TIME_CHECK_LEDS");
        stored().clear();
        *ground_ledger = {};
    }

    void add(const std::string &name, const std::string &most, const std::string &trigger = "")
    {
        std::filesystem::create_directory(folder.path() / name);
        write_text(folder.path() / name / "brightness", "0\n");
        write_text(folder.path() / name / "max_brightness", most + "\n");
        if (!trigger.empty())
            write_text(folder.path() / name / "trigger", trigger + "\n");
    }

    std::string brightness(const std::string &name) const
    {
        return text_of(folder.path() / name / "brightness");
    }

    std::string trigger(const std::string &name) const
    {
        return text_of(folder.path() / name / "trigger");
    }

    TemporaryFolder folder;
};

TEST_F(Leds, OnIsEachLedsFullBrightness)
{
    add("power", "1");
    add("wan", "255");
    set_all_led(1);
    EXPECT_EQ(brightness("power"), "1");
    EXPECT_EQ(brightness("wan"), "255");
    set_all_led(0);
    EXPECT_EQ(brightness("power"), "0");
    EXPECT_EQ(brightness("wan"), "0");
}

TEST_F(Leds, BlinkingIsTheTimerTrigger)
{
    add("wan", "255", "none [netdev] timer");
    set_all_led(2);
    EXPECT_EQ(trigger("wan"), "timer");
}

TEST_F(Leds, BlinkingWithoutTriggersIsOn)
{
    add("wan", "255");
    set_all_led(2);
    EXPECT_EQ(brightness("wan"), "255");
}

TEST_F(Leds, AutomaticGivesTheBoardsTriggerBack)
{
    add("wan", "255", "none [netdev] timer");
    set_all_led(0);
    EXPECT_EQ(trigger("wan"), "none");
    EXPECT_EQ(brightness("wan"), "0");
    write_text(folder.path() / "wan" / "trigger", "[none] netdev timer\n"); // as the kernel would show it now
    set_all_led(3);
    EXPECT_EQ(trigger("wan"), "netdev");
    EXPECT_EQ(stored()["led.wan.trigger"], "netdev");
}

TEST_F(Leds, AutomaticWithoutATriggerIsOn)
{
    add("wan", "7", "[none] timer");
    add("power", "1");
    set_all_led(3);
    EXPECT_EQ(brightness("wan"), "7");
    EXPECT_EQ(brightness("power"), "1");
}

TEST_F(Leds, StoreMayNameTheBoardsTrigger)
{
    add("wan", "255", "[none] heartbeat");
    stored()["led.wan.trigger"] = "heartbeat";
    set_all_led(3);
    EXPECT_EQ(trigger("wan"), "heartbeat");
}

TEST_F(Leds, OtherStatesAndAMissingFolderDoNothing)
{
    add("wan", "255");
    set_all_led(4);
    set_all_led(-1);
    EXPECT_EQ(brightness("wan"), "0\n");
    setenv("TIME_CHECK_LED_DIR", "/there/is/no/such/folder", 1);
    set_all_led(1);
}

// Switched off, somebody else switches `wan` on, and the daemon ends.
TEST_F(Leds, ThoseThatAreStillDarkAreAsTheyWereFoundAfterTheEnd)
{
    add("power", "9", "none [heartbeat] timer");
    add("lan", "9");
    add("wan", "9");
    write_text(folder.path() / "lan" / "brightness", "5\n");
    set_all_led(0);
    write_text(folder.path() / "power" / "trigger", "[none] heartbeat timer\n"); // as the kernel would show it now
    write_text(folder.path() / "wan" / "brightness", "7\n");
    leds_put_back();
    EXPECT_EQ(trigger("power"), "heartbeat");
    EXPECT_EQ(brightness("lan"), "5");
    EXPECT_EQ(brightness("wan"), "7\n");
    leds_go_on(); // the next daemon
    EXPECT_EQ(brightness("lan"), "0");
    EXPECT_EQ(brightness("wan"), "0");
}

TEST_F(Leds, AutomaticOnesAreLeftAtTheEnd)
{
    add("wan", "9", "[none] timer");
    set_all_led(0);
    set_all_led(3);
    EXPECT_EQ(brightness("wan"), "9");
    leds_put_back();
    leds_go_on();
    EXPECT_EQ(brightness("wan"), "9");
    EXPECT_EQ(ground_ledger->led_state, 0U);
}

TEST_F(Leds, OfAsManyAsTheLedgerHoldsEachIsPutBack)
{
    for (size_t i = 0; i < LEDGER_LEDS + 3; i++) {
        add("led" + std::to_string(i), "9");
        write_text(folder.path() / ("led" + std::to_string(i)) / "brightness", "5\n");
    }
    set_all_led(0);
    leds_put_back();
    size_t back = 0;
    for (size_t i = 0; i < LEDGER_LEDS + 3; i++)
        back += brightness("led" + std::to_string(i)) == "5";
    EXPECT_EQ(back, LEDGER_LEDS);
}

TEST_F(Leds, OfThePanelAreThoseThatAPatternNames)
{
    for (const char *name : {"power", "green:wan", "green:lan1", "input3::capslock"})
        add(name, "1");
    const std::string too_long(70, '*');
    setenv("TIME_CHECK_LEDS", ("  power green:* " + too_long).c_str(), 1);
    set_all_led(1);
    EXPECT_EQ(brightness("power"), "1");
    EXPECT_EQ(brightness("green:wan"), "1");
    EXPECT_EQ(brightness("green:lan1"), "1");
    EXPECT_EQ(brightness("input3::capslock"), "0\n");
    EXPECT_FALSE(stored().contains("led.input3::capslock.trigger"));
}

TEST_F(Leds, OfThePanelAreAllWithoutPatternsAndNoneWithBlanksAlone)
{
    add("power", "1");
    setenv("TIME_CHECK_LEDS", " ", 1);
    set_all_led(1);
    EXPECT_EQ(brightness("power"), "0\n");
    setenv("TIME_CHECK_LEDS", "", 1);
    set_all_led(1);
    EXPECT_EQ(brightness("power"), "1");
}

TEST_F(Leds, ManyLedsAndAFileAmongThem)
{
    write_text(folder.path() / "not_a_led", "text");
    for (int i = 0; i < 200; i++)
        add("a_led_with_a_long_name_" + std::to_string(i), "9");
    set_all_led(1);
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(brightness("a_led_with_a_long_name_" + std::to_string(i)), "9");
    EXPECT_EQ(text_of(folder.path() / "not_a_led"), "text");
}

} // namespace
