// What the tests of the uplink supervision share.
#ifndef TESTS_SUPPORT_UPLINK_WORLD_H
#define TESTS_SUPPORT_UPLINK_WORLD_H

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "platform/wifi.h"
#include "tests/support/router_test.h"
#include "time_check/time_check_text.h"
#include "time_check/time_check_wifi_connect.h"

template <size_t Size>
void set_text(char (&field)[Size], const std::string &text)
{
    copy_text(field, Size, text.c_str());
}

// A router whose uplink is the 2.4 GHz radio "wlc0".
class UplinkTest : public RouterTest
{
protected:
    static constexpr const char *RADIO = "wlc0";

    void SetUp() override
    {
        configure({{"wl2g.public.enable", "1"},
                   {"wl5g.public.enable", "1"},
                   {"wl5g.public.mode", "ap"},
                   {"lan.ip", "192.168.1.1"},
                   {"wl.wisp.access_mode", "dhcp"},
                   {"wl2g.extra.ssid", "upstream"},
                   {"wl2g.extra.wpapsk_type", "psk2"},
                   {"wl2g.extra.wpapsk_crypto", "aes"}});
        box.network.set_address("br0", "192.168.1.1");
        set_text(wifi.wl_enable, "1");
        set_text(wifi.wl2g_mode, "wisp");
        set_text(wifi.wl5g_mode, "ap");
        set_text(wifi.wl_mode, "wisp");
        set_text(wifi.ifname, RADIO);
        set_text(wifi.prefix, "wl0_");
        set_text(wifi.lan_ip, "192.168.1.1");
        set_text(wifi.access_mode, "dhcp");
    }

    // The lines that the daemon prints only on request.
    void trace_on()
    {
        box.store.set("time_check_debug", "on");
    }

    // A snapshot of its own for functions that take one.
    WIFI_CONNECT wifi = {};
};

// A link that comes and goes, looked at once a second. Its loss and its return are told by one act each.
class UplinkLinkTest : public UplinkTest
{
protected:
    static inline const std::string BOUNCE = "command ifconfig wlc0 down && ifconfig wlc0 up";

    UplinkLinkTest(std::string loss, std::string back) : loss_(std::move(loss)), back_(std::move(back))
    {
    }

    void SetUp() override
    {
        UplinkTest::SetUp();
        trace_on();
    }

    virtual void look() = 0;
    virtual void up() = 0;
    virtual void down() = 0;

    void ticks(int number)
    {
        for (int i = 0; i < number; i++) {
            box.clock.step(1);
            look();
        }
    }

    // Up, then down for so long that the loss was just told.
    void lose()
    {
        up();
        ticks(1);
        down();
        ticks(3);
        ASSERT_EQ(times(loss_), 1U);
        box.journal.clear();
        box.log.clear();
    }

    void expect_third_tick_of_loss_tells_once()
    {
        up();
        ticks(1);
        down();
        ticks(2);
        EXPECT_ACTS();
        ticks(1);
        EXPECT_ACTS(loss_);
        ticks(50);
        EXPECT_EQ(times(loss_), 1U);
    }

    void expect_third_tick_of_return_tells_once()
    {
        lose();
        up();
        ticks(2);
        EXPECT_ACTS();
        ticks(1);
        EXPECT_ACTS(back_);
        ticks(50);
        EXPECT_ACTS(back_);
    }

    // A link that is up is lost for two ticks, again and again.
    void expect_two_ticks_are_no_loss()
    {
        for (int i = 0; i < 10; i++) {
            down();
            ticks(2);
            up();
            ticks(1);
        }
        EXPECT_ACTS();
    }

    // Ups and downs of four ticks each; there is no return before the first loss.
    void expect_each_loss_and_return_told()
    {
        for (int i = 0; i < 3; i++) {
            box.journal.clear();
            up();
            ticks(4);
            down();
            ticks(4);
            EXPECT_EQ(box.journal.lines(), i == 0 ? Lines{loss_} : (Lines{back_, loss_})) << i;
        }
    }

    // The time without a link starts again in this tick, and after a minute of it the radio is bounced.
    void expect_bounce_a_minute_after_the_next_tick()
    {
        box.log.clear();
        ticks(1);
        EXPECT_TRUE(has_line("wl_not_conn_time:0 "));
        ticks(59);
        EXPECT_ACTS();
        ticks(1);
        EXPECT_ACTS(BOUNCE);
    }

private:
    std::string loss_;
    std::string back_;
};

// What a program gets when a shell runs `command` with a function of that name in its place: its arguments in brackets.
// Whatever else would run is lost output or an error of the shell.
inline std::string arguments_in_shell(const std::string &program, const std::string &command)
{
    const std::string script = program + "() { for a; do printf '[%s]' \"$a\"; done; }\n" + command + "\nwait\n";
    char path[] = "/tmp/uplink_test_XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0 || write(fd, script.data(), script.size()) != static_cast<ssize_t>(script.size()))
        return "cannot write the script";
    close(fd);
    std::string output;
    if (FILE *const shell = popen(("sh " + std::string(path) + " 2>&1").c_str(), "r"); shell != nullptr) {
        std::array<char, 4096> part;
        for (size_t got = fread(part.data(), 1, part.size(), shell); got > 0;
             got = fread(part.data(), 1, part.size(), shell))
            output.append(part.data(), got);
        pclose(shell);
    }
    unlink(path);
    return output;
}

// Texts that a shell would make something else of, and their length-limited kin.
inline const std::vector<std::string> hostile_texts = {
    "two words",       "semi;touch /tmp/x", "$(touch /tmp/x)", "`touch /tmp/x`", "quote'in'it",  "double\"quote",
    "back\\slash",     "line\nbreak",       "pipe|less",       "and&and",        "redirect>out", "*?[a]",
    "#comment",        "!history",          "tab\there",       "(brackets)",     "{a,b}",        "~root",
    "'; touch /tmp/x'"};

#endif
