#include "tests/fuzz/world.h"

#include <cerrno>
#include <memory>
#include <utility>

#include "tests/fuzz/command_grammar.h"
#include "tests/fuzz/fuzz_daemon.h"
#include "tests/support/busy_settings.h"

namespace
{

constexpr const char *KEYS[] = {
    "sys.schedulereboot.enable",
    "sys.schedulereboot.type",
    "sys.schedulereboot.wday",
    "sys.schedulereboot.start_time",
    "sys.schedulereboot.end_time",
    "sys.schedulereboot.max_speed",
    "sys.powersleep.enable",
    "sys.powersleep.type",
    "sys.powersleep.wday",
    "sys.powersleep.start_time",
    "sys.powersleep.end_time",
    "sys.powersleep.max_speed",
    "sys.is.pwr.save.mode",
    "power.sleep.closetype.changed",
    "sys.sched.wifi.enable",
    "sys.sched.led.type",
    "sys.sched.led.closetype",
    "sys.mode",
    "sys.workmode",
    "first_time_start",
    "nkgw.led.state",
    "nkgw.led.listnum",
    "nkgw.led.offtime.list1",
    "nkgw.led.ontime.list1",
    "nkgw.wlan.listnum",
    "nkgw.wlan.offtime.list1",
    "nkgw.wlan.ontime.list1",
    "nkgw.wlan.offtime.list2",
    "nkgw.wlan.ontime.list2",
    "lan.ip",
    "dhcps.en",
    "reboot.flag",
    "stoppage_flag",
    "wan_stoppage_err",
    "surf_check_renew_flag",
    "wans.flag",
    "wan1.connecttype",
    "wan2.connecttype",
    "wan1.down.flag",
    "wan1.onln.beforestart",
    "wan1.pppoe.auth.changed",
    "wan1_err_check",
    "wan1_isonln",
    "wan2_isonln",
    "wan1_check",
    "wl.guest.dhcps_enable",
    "wl.guest.effective_time",
    "wl.wisp.access_mode",
    "wl.wisp.ifname",
    "wl.wisp.pppoe_mtu",
    "wl.wisp.pppoe_name",
    "wl.wisp.pppoe_password",
    "wl2g.enable",
    "wl2g.extra.ssid",
    "wl2g.extra.wpapsk_crypto",
    "wl2g.extra.wpapsk_type",
    "wl2g.public.country",
    "wl2g.public.enable",
    "wl2g.public.mode",
    "wl2g.ssid0.enable",
    "wl2g.ssid1.enable",
    "wl5g.enable",
    "wl5g.extra.ssid",
    "wl5g.extra.wpapsk_crypto",
    "wl5g.extra.wpapsk_type",
    "wl5g.public.enable",
    "wl5g.public.mode",
    "wl5g.ssid0.enable",
    "wl5g.ssid1.guest_enable",
};

constexpr const char *PROGRAMS[] = {"httpd", "minidlna", "udhcpc", "dhcpcd_lan", "pppoecd", "nas"};
constexpr const char *INTERFACES[] = {"eth1", "eth2", "wlc0", "wlc1", "br0", "ppp0", "ppp45"};
constexpr const char *MODES[] = {"ap", "wisp", "apclient", "router", "client+ap"};

sim::VirtualRouter &box = sim::router();

void change_clock(Input &input)
{
    if (input.below(4) == 0)
        box.clock.set(static_cast<time_t>(input.word()) << 16 | input.word());
    else
        box.clock.step((static_cast<int64_t>(input.word()) - 32768) * 60);
}

void change_process(Input &input)
{
    const char *const name = input.one_of(PROGRAMS);
    if (input.below(2) == 0)
        box.processes.end(name);
    else
        box.processes.start(name, 500 + static_cast<int>(input.below(200)));
    box.processes.set_share("httpd", input.below(101));
}

void change_network(Input &input)
{
    const bool good = input.below(2) == 0;
    const char *const interface = input.one_of(INTERFACES);
    switch (input.below(7)) {
    case 0:
        return box.network.set_internet(good);
    case 1:
        return box.network.set_dns(good);
    case 2:
        return box.network.set_link(1 + static_cast<int>(input.below(2)), good);
    case 3:
        return box.network.set_address(interface, good ? "203.0.113." + std::to_string(input.byte()) : "");
    case 4:
        return box.network.set_reachable("*", interface, good);
    case 5:
        return box.network.set_wan(1 + static_cast<int>(input.below(2)), good ? interface : input.line(20));
    default:
        return box.network.set_ping_durations(static_cast<int>(input.below(50)), 1000);
    }
}

void change_radio(Input &input)
{
    const char *const interface = input.below(2) == 0 ? "wlc0" : "wlc1";
    box.radios.set(interface, static_cast<int>(input.below(6)) - 1, static_cast<int>(input.below(5)));
    box.radios.webpage_status = static_cast<int>(input.below(2));
    if (input.below(4) == 0)
        box.radios.set_name(24, input.line(20));
}

void change_clients(Input &input)
{
    const std::string ip = "192.168.0." + std::to_string(input.byte());
    if (input.below(3) == 0)
        box.network.clear_neighbours();
    else
        box.network.set_neighbour(ip, input.below(2) == 0 ? "0x2" : "0x0", "02:00:00:00:00:01", "br0");
    box.network.set_host(ip, uint64_t{input.word()} << input.below(48), uint64_t{input.word()} << input.below(48));
    box.network.set_counters("br0", input.word(), input.word());
}

void change_file(Input &input)
{
    const char *const path = input.one_of(FILES_READ);
    if (input.below(8) == 0) {
        box.files.remove(path);
        box.files.set_missing(path);
    } else {
        std::string text = input.line(600);
        for (char &c : text)
            if (c == '|')
                c = '\n';
        box.files.set(path, text);
    }
}

} // namespace

void watch_commands()
{
    box.commands.set_hook([](const std::string &command) {
        if (!is_daemon_command(command))
            give_up("not a command of the daemon's", command);
        return sim::NOT_HANDLED;
    });
}

void change_world(Input &input)
{
    switch (input.below(11)) {
    case 0:
    case 1:
    case 2: {
        const char *const key = input.one_of(KEYS);
        return box.store.set_uncommitted(key, input.line(300));
    }
    case 3:
        return box.store.set(input.below(2) == 0 ? "wl2g.public.mode" : "sys.workmode", input.one_of(MODES));
    case 4:
        return change_file(input);
    case 5:
        return change_clock(input);
    case 6:
        return change_process(input);
    case 7:
        return change_network(input);
    case 8:
        return change_radio(input);
    case 9:
        return change_clients(input);
    default:
        box.post(input.line(300));
    }
}

void order_fault(Input &input)
{
    const std::string &call = input.one_of(sim::Faults::names());
    if (call == "pthread_create" || call == "RegMsgHandle") // without these there is no daemon
        return;
    constexpr int ERRORS[] = {EIO, ENOENT, EINTR, ENOMEM, EMFILE, ENOSPC, EAGAIN};
    const int error = input.one_of(ERRORS);
    if (input.below(2) == 0)
        return box.faults.fail(call, 1 + input.below(16), error);
    const unsigned percent = 1 + input.below(100);
    const auto dice = std::make_shared<uint64_t>(input.word());
    box.faults.fail_when(
        call,
        [dice, percent](uint64_t) {
            *dice = *dice * 6364136223846793005U + 1442695040888963407U;
            return (*dice >> 33U) % 100 < percent;
        },
        error == EINTR ? EIO : error); // one that is interrupted every time never ends, on no kernel either
}

void busy_router(Input &input)
{
    for (const auto &[key, value] : BUSY_SETTINGS)
        box.store.set(key, value);
    for (const auto &[key, value] : {std::pair("nkgw.wlan.listnum", "1"),
                                     {"nkgw.wlan.offtime.list1", "23:00"},
                                     {"nkgw.wlan.ontime.list1", "6:00"},
                                     {"nkgw.led.listnum", "1"},
                                     {"nkgw.led.offtime.list1", "22:00"},
                                     {"nkgw.led.ontime.list1", "7:00"},
                                     {"wl.guest.dhcps_enable", "1"},
                                     {"wl2g.enable", "1"},
                                     {"wl5g.enable", "1"},
                                     {"wl2g.extra.wpapsk_crypto", "tkip+aes"}})
        box.store.set(key, value);
    constexpr const char *WORK_MODES[] = {"router", "router", "client+ap", "ap"};
    constexpr const char *RADIO_MODES[] = {"ap", "wisp", "apclient", "ap"};
    const unsigned mode = input.below(4);
    box.store.set("sys.workmode", WORK_MODES[mode]);
    box.store.set("wl2g.public.mode", RADIO_MODES[mode]);
    box.store.set("wans.flag", mode == 0 ? "2" : "1");
    box.network.set_wan(2, "eth2");
    box.files.set("/etc/lan.ini", "gateway=192.168.0.254\n");
    for (const int wan : {1, 2}) {
        box.network.set_link(wan, true);
        box.network.set_address("eth" + std::to_string(wan), "203.0.113." + std::to_string(wan));
    }
    box.network.set_address("wlc0", "10.0.0.9");
    box.radios.set("wlc0", 3, 3);
    box.network.set_internet(true);
}
