#include "tests/support/fault_provoked.h"

namespace fault_catalogue
{
namespace
{

void spoil_a_setting(Standing &on, Dice &dice, bool is_missing)
{
    static const Lines keys = {"sys.schedulereboot.start_time", "sys.powersleep.end_time", "nkgw.wlan.listnum",
                               "nkgw.wlan.offtime.list1",       "nkgw.led.ontime.list1",   "sys.sched.led.type",
                               "wl.guest.effective_time",       "wl2g.public.country",     "lan.ip",
                               "wl2g.extra.wpapsk_crypto",      "sys.schedulereboot.wday"};
    const std::string &key = dice.one_of(keys);
    std::string value = garbage(dice).substr(0, dice.roll(700));
    std::erase(value, '\0');
    on.spoil_setting(key, is_missing ? nullptr : &value);
}

void post_now_and_then(Dice &dice, size_t number, const std::string &text)
{
    for (; number > 0; number--)
        box.at(static_cast<double>(dice.roll(2400)), [text] { box.post(text); });
}

void netctrl_is_gone(Standing &on, Dice &dice)
{
    let_guest_network_expire(on, dice);
    on.undo([] { box.processes.start("netctrl", 300); });
    box.processes.end("netctrl");
    on.answer_commands(
        [](const std::string &command) { return command.starts_with("cfm post") ? 1 : sim::NOT_HANDLED; });
}

void commands_fail(Standing &on, Dice &dice)
{
    lose_internet_for_a_while(on, dice);
    const size_t each = 1 + dice.roll(3);
    on.answer_commands(
        [each, count = size_t{0}](const std::string &) mutable { return ++count % each == 0 ? 1 : sim::NOT_HANDLED; });
}

void commands_take_long(Standing &on, Dice &dice)
{
    lose_internet_for_a_while(on, dice);
    on.undo([] { box.commands.set_duration(0); });
    box.commands.set_duration(static_cast<int>(1 + dice.roll(59)));
}

} // namespace

const std::vector<Fault> STORE_AND_BUS = {
    {"store", "a setting cannot be read", ALL_MODES, Wans::UNKNOWN, {"GetValue"}, EIO, read_again},
    {"store", "a setting cannot be stored", ALL_MODES, Wans::UNKNOWN, {"SetValue"}, EIO, let_guest_network_expire},
    {"store",
     "a setting holds garbage",
     ALL_MODES,
     Wans::UNKNOWN,
     {"GetValue"},
     0,
     [](Standing &on, Dice &dice) { spoil_a_setting(on, dice, false); }},
    {"store",
     "a setting is missing",
     ALL_MODES,
     Wans::UNKNOWN,
     {"GetValue"},
     0,
     [](Standing &on, Dice &dice) { spoil_a_setting(on, dice, true); }},
    {"commit", "a commit fails", ALL_MODES, Wans::ALL_ONLINE, {"CommitCfm"}, ENOSPC, let_guest_network_expire},
    {"bus",
     "strange messages",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) {
         strange_messages(dice);
         on.meeting()();
     }},
    {"bus",
     "a flood of messages",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) {
         post_now_and_then(dice, 1000, "time_check_guest");
         on.meeting()();
     }},
    {"bus",
     "a message of any length",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) {
         post_now_and_then(dice, 5, "1?string_info=" + std::string(dice.roll(20000), 'x'));
         on.meeting()();
     }},
    {"bus", "netctrl is gone", ALL_MODES, Wans::ALL_ONLINE, {"send_msg_to_netctrl"}, ECONNREFUSED, netctrl_is_gone},
    {"bus",
     "the name on the bus is taken at a start",
     ALL_MODES,
     Wans::UNKNOWN,
     {"RegMsgHandle"},
     EADDRINUSE,
     [](Standing &on, Dice &) {
         start_again_when_ended(on);
         box.restart();
     },
     true},
    {"shell", "a command fails", ALL_MODES, Wans::UNKNOWN, {}, 0, commands_fail},
    {"shell",
     "the shell cannot be started",
     ALL_MODES,
     Wans::UNKNOWN,
     {"doSystemCmd"},
     ENOMEM,
     lose_internet_for_a_while},
    {"shell", "commands take long", ALL_MODES, Wans::UNKNOWN, {"doSystemCmd"}, 0, commands_take_long},
    {"shell", "a program cannot be started", WISP | AP_CLIENT, Wans::UNKNOWN, {"_eval"}, ENOENT, try_ciphers},
    {"shell", "ps cannot be run", ALL_MODES, Wans::ALL_ONLINE, {"popen"}, EAGAIN, miss_minidlna},
};

} // namespace fault_catalogue
