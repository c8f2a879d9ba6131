// What has the daemon meet a fault soon: used by several rows of the catalogue.
#ifndef TESTS_SUPPORT_FAULT_PROVOKED_H
#define TESTS_SUPPORT_FAULT_PROVOKED_H

#include <cerrno>

#include "tests/support/fault_catalogue.h"

namespace fault_catalogue
{

using namespace soak;

// The rows, by what they are about.
extern const std::vector<Fault> STORE_AND_BUS;
extern const std::vector<Fault> PROCESSES_AND_FILES;
extern const std::vector<Fault> NETWORK;
extern const std::vector<Fault> MACHINE;

// The guest network's time is up within minutes: it stores, commits, and tells netctrl.
inline void let_guest_network_expire(Standing &on, Dice &dice)
{
    on.undo([] { configure({{"wl.guest.effective_time", "7200"}, {"wl.guest.dhcps_enable", "0"}}); });
    configure({{"wl.guest.effective_time", "60"}});
    box.at(static_cast<double>(dice.roll(600)), [] {
        box.store.set("wl.guest.dhcps_enable", "1");
        box.post("9?string_info=wl_guest");
    });
}

// Names are not resolved by the first name server, and the file of name servers is written anew.
inline void silence_first_name_server(Standing &on, Dice & /*dice*/)
{
    on.undo([] { box.network.set_name_server("192.0.2.1", true); });
    box.network.set_name_server("192.0.2.1", false);
    box.store.set_uncommitted("surf_check_renew_flag", "1");
}

inline void renew(Standing & /*on*/, Dice & /*dice*/)
{
    box.store.set_uncommitted("surf_check_renew_flag", "1");
}

// What was read meanwhile counts until it is read again.
inline void read_again(Standing &on, Dice & /*dice*/)
{
    on.undo([] { box.ask_to_read_again(); });
    box.ask_to_read_again();
}

// A block that could not be taken away stays until a renewal.
inline void lose_internet_for_a_while(Standing &on, Dice &dice)
{
    on.undo([] {
        mend_network();
        box.store.set_uncommitted("surf_check_renew_flag", "1");
    });
    box.network.set_internet(false);
    box.at(static_cast<double>(600 + dice.roll(1200)), [] { box.network.set_internet(true); });
}

inline void lose_radio(Standing &on, Dice & /*dice*/)
{
    on.undo(mend_network);
    radio_is(1, 0);
}

inline void miss_minidlna(Standing &on, Dice & /*dice*/)
{
    on.undo([] { box.processes.start("minidlna", 420); });
    box.processes.end("minidlna");
    box.post("6?op=1,string_info=minidlna");
}

// The reboot's window is the present hour.
inline void open_window(Standing &on, const std::string &type)
{
    const std::string hour = box.clock.local().substr(11, 2);
    const std::string start = hour + ":00";
    const std::string end = hour + ":59";
    on.spoil_setting("sys.schedulereboot.type", &type);
    on.spoil_setting("sys.schedulereboot.end_time", &end);
    on.spoil_setting("sys.schedulereboot.start_time", &start);
}

inline void restart_now(Standing &on, Dice & /*dice*/)
{
    open_window(on, "0");
}

inline void count_quiet(Standing &on, Dice & /*dice*/)
{
    open_window(on, "1");
}

// The uplink is lost, and another cipher is tried.
inline void try_ciphers(Standing &on, Dice &dice)
{
    const std::string both = "tkip+aes";
    on.spoil_setting("wl2g.extra.wpapsk_crypto", &both);
    lose_radio(on, dice);
}

inline void start_again_when_ended(Standing &on)
{
    on.undo([] {
        if (!box.running())
            box.boot();
    });
}

} // namespace fault_catalogue

#endif
