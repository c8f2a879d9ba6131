// The cipher fallback, tick by tick.
#include <array>

#include <gtest/gtest.h>

#include "tests/support/uplink_world.h"
#include "time_check/time_check_wifi_connect.h"

namespace
{

const Lines RADIO_RESTART = {"command wlconf wlc0 down", "exec killall nas >/dev/console", "command wlconf wlc0 up",
                             "command wlconf wlc0 start", "exec nas >/dev/console"};

using Counters = std::array<uint32_t, 4>; // aes, tkip, tkip+aes, first_time

class CipherFallback : public UplinkTest
{
protected:
    void SetUp() override
    {
        UplinkTest::SetUp();
        set_text(wifi.wpapsk_type, "psk2");
        set_text(wifi.crypto, "tkip+aes");
        arm({6, 6, 6, 1});
        radio(TPI_NOT_CONNECTED);
    }

    void arm(const Counters &counters)
    {
        wifi.aes_try = counters[0];
        wifi.tkip_try = counters[1];
        wifi.tkip_aes_try = counters[2];
        wifi.first_time = counters[3];
    }

    Counters counters() const
    {
        return {wifi.aes_try, wifi.tkip_try, wifi.tkip_aes_try, wifi.first_time};
    }

    void radio(int state)
    {
        box.radios.set(RADIO, state, WIFI_RELAY_DOWN);
    }

    int tick()
    {
        return wpa2_tkip_aes_connect(&wifi);
    }

    // The cipher that a tick applied, "" when none.
    std::string cipher_of_tick(int expected_result)
    {
        box.log.clear();
        box.journal.clear();
        EXPECT_EQ(tick(), expected_result);
        for (const std::string &line : box.log.lines()) {
            const std::string before = "[qx debug]:wpa2_tkip_aes_change,297,SET ";
            const std::string after = " to continue!-";
            if (line.starts_with(before) && line.ends_with(after)) {
                EXPECT_EQ(box.journal.lines(), RADIO_RESTART);
                return line.substr(before.size(), line.size() - before.size() - after.size());
            }
        }
        EXPECT_EQ(box.journal.lines(), Lines{});
        return "";
    }
};

TEST_F(CipherFallback, TakesTwentyTicksWhenTheRadioNeverAssociates)
{
    const std::vector<std::pair<int, std::string>> applied = {{7, "aes"}, {13, "tkip"}, {19, "tkip+aes"}};
    for (int i = 1; i <= 19; i++) {
        std::string expected;
        for (const auto &[number, cipher] : applied)
            if (number == i)
                expected = cipher;
        EXPECT_EQ(cipher_of_tick(0), expected) << i;
    }
    EXPECT_EQ(counters(), (Counters{0, 0, 0, 0}));
    for (int i = 20; i <= 100; i++)
        EXPECT_EQ(cipher_of_tick(1), "") << i;
}

TEST_F(CipherFallback, CountsEachStageDown)
{
    const std::vector<Counters> after = {{6, 6, 5, 1}, {6, 6, 4, 1}, {6, 6, 3, 1}, {6, 6, 2, 1}, {6, 6, 1, 1},
                                         {6, 6, 0, 1}, {5, 6, 0, 1}, {4, 6, 0, 1}, {3, 6, 0, 1}, {2, 6, 0, 1},
                                         {1, 6, 0, 1}, {0, 6, 0, 1}, {0, 5, 0, 1}, {0, 4, 0, 1}, {0, 3, 0, 1},
                                         {0, 2, 0, 1}, {0, 1, 0, 1}, {0, 0, 0, 1}, {0, 0, 0, 0}};
    for (size_t i = 0; i < after.size(); i++) {
        tick();
        EXPECT_EQ(counters(), after[i]) << i + 1;
    }
}

TEST_F(CipherFallback, AnAssociationAtTickTenEndsItAtOnce)
{
    for (int i = 1; i <= 9; i++)
        tick();
    radio(TPI_CONNECTED);
    EXPECT_EQ(cipher_of_tick(1), "");
    EXPECT_EQ(counters(), (Counters{0, 0, 0, 0}));
    radio(TPI_NOT_CONNECTED);
    EXPECT_EQ(cipher_of_tick(1), ""); // abandoned until armed again
}

TEST_F(CipherFallback, OtherSecurityAbandonsItAtTheFirstTick)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"psk2", "aes"}, {"psk2", "tkip"}, {"psk2", ""}, {"psk", "tkip+aes"}, {"", "tkip+aes"}, {"psk2 ", "tkip+aes"}};
    for (const auto &[type, crypto] : cases) {
        arm({6, 6, 6, 1});
        set_text(wifi.wpapsk_type, type);
        set_text(wifi.crypto, crypto);
        EXPECT_EQ(cipher_of_tick(1), "") << type << " " << crypto;
        EXPECT_EQ(counters(), (Counters{0, 0, 0, 0}));
    }
}

TEST_F(CipherFallback, AnAccessPointHasNone)
{
    set_text(wifi.wl_mode, "ap");
    EXPECT_EQ(cipher_of_tick(-1), "");
    arm({0, 0, 0, 0});
    EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(box.faults.made("tpi_wifi_wisp_phy_link_check"), 0U);
}

TEST_F(CipherFallback, OnceOverTheRadioIsNotAsked)
{
    arm({0, 0, 0, 0});
    EXPECT_EQ(tick(), 1);
    EXPECT_EQ(box.faults.made("tpi_wifi_wisp_phy_link_check"), 0U);
}

TEST_F(CipherFallback, AnyOneCounterKeepsItGoing)
{
    for (const Counters &left : {Counters{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}) {
        arm(left);
        EXPECT_EQ(tick(), 0);
    }
}

TEST_F(CipherFallback, OtherRadioStatesWaitLikeAnUnassociatedOne)
{
    for (const int state : {TPI_NO_WIRE, TPI_CONNECTING}) {
        arm({6, 6, 1, 1});
        radio(state);
        EXPECT_EQ(cipher_of_tick(0), "");
        EXPECT_EQ(cipher_of_tick(0), "aes");
    }
}

TEST_F(CipherFallback, TheLastStageIsTriedOnce)
{
    arm({0, 0, 0, 1});
    EXPECT_EQ(cipher_of_tick(0), "tkip+aes");
    EXPECT_EQ(cipher_of_tick(1), "");
}

TEST_F(CipherFallback, TheLastStageWaitsForBothOthers)
{
    arm({3, 0, 0, 1});
    EXPECT_EQ(cipher_of_tick(0), "");
    EXPECT_EQ(counters(), (Counters{2, 0, 0, 1}));
    arm({0, 3, 0, 1});
    EXPECT_EQ(cipher_of_tick(0), "");
    EXPECT_EQ(counters(), (Counters{0, 2, 0, 1}));
}

// ---- a radio that cannot be asked ----

TEST_F(CipherFallback, FromAFreshStartAnUnaskedRadioHoldsItForEver)
{
    radio(-1);
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(counters(), (Counters{6, 6, 6, 1}));
}

TEST_F(CipherFallback, AnUnaskedRadioRunsTheFirstStageOut)
{
    arm({3, 6, 0, 1});
    radio(-1);
    EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(cipher_of_tick(-1), "tkip"); // from 1 to 0
    EXPECT_EQ(counters(), (Counters{0, 5, 0, 1}));
}

TEST_F(CipherFallback, AnExhaustedStageWrapsWithAnUnaskedRadio)
{
    arm({0, 5, 0, 1});
    radio(-1);
    EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(counters(), (Counters{4294967295U, 5, 0, 1}));
    EXPECT_EQ(cipher_of_tick(-1), "");
    EXPECT_EQ(counters(), (Counters{4294967294U, 5, 0, 1}));
    // Asked again, it counts on from there; the stages after it are out of reach.
    radio(TPI_NOT_CONNECTED);
    EXPECT_EQ(cipher_of_tick(0), "");
    EXPECT_EQ(counters(), (Counters{4294967293U, 5, 0, 1}));
}

TEST_F(CipherFallback, AnUnaskedRadioDoesNotTouchTheWaitingTicks)
{
    arm({2, 6, 4, 1});
    radio(-1);
    tick();
    EXPECT_EQ(counters(), (Counters{1, 6, 4, 1}));
}

TEST_F(CipherFallback, SecurityIsLookedAtBeforeAnUnaskedRadio)
{
    set_text(wifi.crypto, "aes");
    radio(-1);
    EXPECT_EQ(cipher_of_tick(1), "");
}

// ---- a change ----

TEST_F(CipherFallback, AChangeRestartsTheRadioAndItsAuthenticatorAndWritesNothing)
{
    EXPECT_EQ(wpa2_tkip_aes_change(&wifi, "aes"), 1);
    EXPECT_EQ(box.log.lines(), (Lines{"[qx debug]:wpa2_tkip_aes_change,297,SET aes to continue!-"}));
    EXPECT_EQ(box.journal.lines(), RADIO_RESTART);
    EXPECT_FALSE(box.store.has("wl0_crypto"));
}

TEST_F(CipherFallback, HostileInterfaceNamesReachWlconfAsOneWord)
{
    set_text(wifi.ifname, "w $(x);'y'");
    wpa2_tkip_aes_change(&wifi, "aes");
    const Lines commands = box.journal.acts("command");
    ASSERT_EQ(commands.size(), 3U);
    const std::vector<std::string> actions = {"down", "up", "start"};
    for (size_t i = 0; i < commands.size(); i++)
        EXPECT_EQ(arguments_in_shell("wlconf", commands[i].substr(8)), "[w $(x);'y'][" + actions[i] + "]");
}

// ---- arming it again ----

TEST_F(CipherFallback, ArmingItAgainIsTracedAndStartsTheModulesOwnFromTheBeginning)
{
    trace_on();
    configure({{"wl2g.public.mode", "wisp"}, {"wl2g.extra.wpapsk_crypto", "tkip+aes"}});
    box.processes.start("udhcpc", 500);
    set_time_check_wifi_connect_info();
    const auto ticks = [](int number) {
        for (int i = 0; i < number; i++)
            time_check_wifi_connect();
    };
    ticks(4 + 20); // to its end
    box.journal.clear();
    box.log.clear();
    restart_wpa2_tkip_aes_check();
    EXPECT_BODIES("restart wpa2_tkip_aes_check !!");
    ticks(6);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_EQ(box.journal.lines(), RADIO_RESTART);
    ticks(12);
    EXPECT_EQ(times("exec nas >/dev/console"), 3U);
}

} // namespace
