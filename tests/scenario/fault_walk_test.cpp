// Every call that the daemon makes of its surroundings in a busy night fails once, wherever in the night it is made:
// the daemon goes on with its work, and its acts are still in order.
#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/router_test.h"

namespace
{

sim::VirtualRouter &box = sim::router();

void configure(std::initializer_list<std::pair<std::string_view, std::string_view>> settings)
{
    for (const auto &[key, value] : settings)
        box.set(key, value);
}

// ---- the nights ----

// Every schedule has its turn within the hour: power saving, Wi-Fi, LEDs, the guest network's end, a reboot once
// it is quiet. One watched program runs away, another vanishes.
void begin_night()
{
    box.clock("2026-05-05 01:00:00");
    box.uptime(100000);
    box.arp("192.168.0.7", "0x2", "52:54:00:12:34:56", "br0");
    box.host("192.168.0.7", 1000, 2000);
    box.multicast("br0", 300);
    box.counters("br0", 0, 90); // the delay before the reboot
    configure({{"sys.schedulereboot.enable", "1"},
               {"sys.schedulereboot.type", "1"},
               {"sys.schedulereboot.start_time", "01:02"},
               {"sys.schedulereboot.end_time", "01:50"},
               {"sys.powersleep.enable", "1"},
               {"sys.powersleep.type", "0"},
               {"sys.powersleep.start_time", "01:05"},
               {"sys.powersleep.end_time", "01:08"},
               {"sys.sched.wifi.enable", "1"},
               {"nkgw.wlan.listnum", "1"},
               {"nkgw.wlan.offtime.list1", "01:10"},
               {"nkgw.wlan.ontime.list1", "01:13"},
               {"sys.sched.led.type", "time"},
               {"nkgw.led.listnum", "1"},
               {"nkgw.led.offtime.list1", "01:15"},
               {"nkgw.led.ontime.list1", "01:18"},
               {"wl2g.enable", "1"},
               {"wl5g.enable", "1"},
               {"wl2g.public.enable", "1"},
               {"wl5g.public.enable", "1"},
               {"wl2g.ssid0.enable", "1"},
               {"wl5g.ssid0.enable", "1"},
               {"time_check_debug", "on"},
               {"lan.ip", "192.168.0.1"}});
    box.cpu_share("httpd", 100);
    box.at(5, [] { box.post("6?op=1,string_info=minidlna"); });
    box.at(400, [] { box.process("httpd", 413); });
    box.at(1200, [] {
        configure({{"wl.guest.dhcps_enable", "1"}, {"wl.guest.effective_time", "60"}});
        box.post("9?string_info=wl_guest");
    });
}

void wired()
{
    begin_night();
    configure({{"sys.workmode", "router"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}, {"wans.flag", "2"}});
    box.link(1, true);
    box.link(2, true);
    box.address("eth1", "203.0.113.9");
    box.wan(2, "eth2");
    box.internet(true);
    box.at(400, [] { box.internet(false); });
    box.at(800, [] { box.internet(true); });
    box.at(450, [] { box.name_server("192.0.2.1", false); });
    box.at(900, [] {
        box.link(1, false);
        box.address("eth1", "");
    });
    box.at(950, [] { box.address("ppp0", "192.168.0.77"); });
    box.at(970, [] { box.address("ppp0", ""); });
    box.at(1000, [] { box.link(1, true); });
}

void wisp()
{
    begin_night();
    configure({{"sys.workmode", "router"},
               {"wl2g.public.mode", "wisp"},
               {"wl5g.public.mode", "ap"},
               {"wans.flag", "1"},
               {"wl.wisp.ifname", "wlc0"},
               {"wl.wisp.access_mode", "pppoe"},
               {"wl.wisp.pppoe_name", "a b"},
               {"wl2g.extra.wpapsk_type", "psk2"},
               {"wl2g.extra.wpapsk_crypto", "aes"}});
    box.radio("wlc0", 3, 3);
    box.address("wlc0", "10.0.0.9");
    box.internet(true);
    box.process("udhcpc_wan1", 500);
    box.at(600, [] { box.radio("wlc0", 1, 0); });
    box.at(900, [] { box.radio("wlc0", 3, 3); });
}

void ap_client()
{
    begin_night();
    configure({{"sys.workmode", "client+ap"},
               {"wl2g.public.mode", "apclient"},
               {"wl5g.public.mode", "ap"},
               {"wans.flag", "1"},
               {"wl2g.extra.wpapsk_type", "psk2"},
               {"wl2g.extra.wpapsk_crypto", "tkip+aes"}});
    box.radio("wlc0", 3, 3);
    box.at(600, [] { box.radio("wlc0", 1, 0); });
    box.at(900, [] { box.radio("wlc0", 3, 3); });
}

void wired_ap()
{
    begin_night();
    configure({{"sys.workmode", "ap"}, {"wl2g.public.mode", "ap"}, {"wl5g.public.mode", "ap"}, {"wans.flag", "1"}});
    box.file("/etc/lan.ini", "gateway=192.168.0.254\n");
    box.reachable("192.168.0.254", "", true);
    box.at(600, [] { box.reachable("192.168.0.254", "", false); });
    box.at(660, [] { box.reachable("192.168.0.254", "", true); });
}

struct Night {
    const char *name;
    void (*prepare)();
};
constexpr std::array<Night, 4> NIGHTS = {
    {{"wired", wired}, {"wisp", wisp}, {"ap_client", ap_client}, {"wired_ap", wired_ap}}};

constexpr double NIGHT_S = 45 * 60.0;

// ---- what must hold ----

bool is_sane(const std::string &act)
{
    static const std::array<std::string, 10> words = {"set",  "commit", "command",       "exec",  "netctrl",
                                                      "leds", "reboot", "wan_lan_check", "write", "rename"};
    const std::string word = act.substr(0, act.find(' '));
    return (std::ranges::find(words, word) != words.end() || word == "unlink") &&
           std::ranges::all_of(act, [](unsigned char c) { return c >= 0x20 && c < 0x7f; });
}

// What is wrong at the end of the night, "" when nothing is.
std::string complaint()
{
    if (!box.running())
        return box.calls_made("RegMsgHandle") > 0 && !box.bodies().empty() && box.bodies().back() == "reg msg failed."
                   ? ""
                   : "the daemon has ended";
    const uint64_t ticks = box.ticks();
    box.run(60);
    if (box.ticks() < ticks + 5)
        return "the daemon ticks no more";
    if (!box.open_descriptors().empty())
        return "left open: " + box.open_descriptors().front();
    if (!box.unknown_paths().empty())
        return "unknown path: " + box.unknown_paths().front();
    const auto strange = std::ranges::find_if_not(box.journal(), is_sane);
    return strange == box.journal().end() ? "" : "strange act: " + *strange;
}

struct Outcome {
    uint64_t calls = 0;  // of the call that was to fail
    char complaint[200]; // "" when all is well
};

// A night in a process of its own; `nth` 0: nothing fails.
Outcome night_with_fault(const Night &night, const std::string &call, uint64_t nth, bool forever)
{
    Outcome outcome = {};
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        night.prepare();
        if (nth > 0)
            box.fail(call, static_cast<unsigned>(nth), EIO, forever);
        box.boot();
        box.run(NIGHT_S);
        complaint().copy(outcome.complaint, sizeof outcome.complaint - 1);
        outcome.calls = box.calls_made(call);
        _exit(write(ends[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
    }
    close(ends[1]);
    const bool told = read(ends[0], &outcome, sizeof outcome) == sizeof outcome;
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!told || status != 0)
        snprintf(outcome.complaint, sizeof outcome.complaint, "the process ended with status 0x%x", status);
    return outcome;
}

// The first calls one by one, then ever larger steps.
uint64_t next_number(uint64_t number)
{
    constexpr uint64_t ONE_BY_ONE = 5;
    return number < ONE_BY_ONE ? number + 1 : number * 3;
}

class FaultWalk : public testing::TestWithParam<std::tuple<size_t, std::string>>
{
};

std::string name_of(const testing::TestParamInfo<FaultWalk::ParamType> &info)
{
    std::string call = std::get<1>(info.param);
    call.erase(std::remove(call.begin(), call.end(), '_'), call.end());
    std::string night = NIGHTS[std::get<0>(info.param)].name;
    std::ranges::replace(night, '_', 'X');
    return night + "X" + call;
}

} // namespace

TEST_P(FaultWalk, TheDaemonGoesOn)
{
    const Night &night = NIGHTS[std::get<0>(GetParam())];
    const std::string &call = std::get<1>(GetParam());
    const Outcome quiet = night_with_fault(night, call, 0, false);
    EXPECT_STREQ(quiet.complaint, "");
    for (uint64_t nth = 1; nth <= quiet.calls; nth = next_number(nth))
        EXPECT_STREQ(night_with_fault(night, call, nth, false).complaint, "") << "call " << nth << " of " << call;
    const Outcome always = night_with_fault(night, call, 1, true);
    EXPECT_STREQ(always.complaint, "") << call << " always fails";
}

// A walk through a night in which nothing happens would find nothing.
TEST(FaultWalkNights, AreBusy)
{
    wired();
    box.boot();
    box.run(NIGHT_S);
    const Lines &journal = box.journal();
    for (const char *act :
         {"reboot", "leds 0", "set sys.is.pwr.save.mode=1", "command cfm post netctrl 19?op=2,wl_rate=24",
          "command killall -9 httpd", "command killall -9 minidlna", "netctrl 19?op=9",
          "command cfm post netctrl 53?op=1", "command cfm post netctrl 52?op=16,wan_id=1",
          "rename /etc/resolv.conf.time_check /etc/resolv.conf"})
        EXPECT_NE(std::ranges::find(journal, act), journal.end()) << act;
    EXPECT_EQ(complaint(), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, FaultWalk,
                         testing::Combine(testing::Range<size_t>(0, NIGHTS.size()),
                                          testing::ValuesIn(sim::VirtualRouter::calls())),
                         name_of);
