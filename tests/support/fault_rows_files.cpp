#include "tests/support/fault_provoked.h"

#include "time_check/time_check_daemon.h"

namespace fault_catalogue
{
namespace
{

bool looks_for_disk;

// A product's hook: without a folder of films nobody misses the program.
int32_t disk_is_there(struct time_check_daemon * /*state*/)
{
    return looks_for_disk ? check_if_dir_empty("/mnt/disk") : 1;
}

void look_for_a_disk(Standing &on, Dice &dice)
{
    miss_minidlna(on, dice);
    on.undo([] { looks_for_disk = false; });
    box.files.set_directory("/mnt/disk/films");
    looks_for_disk = true;
}

void spoil_kernel_file(Standing &on, Dice &dice, const std::string &path)
{
    on.undo([] { // the model makes its files anew
        box.processes.set_cpus(1);
        httpd_is_idle();
        lone_client();
    });
    on.spoil_file(path, dice);
}

void unreadable_file(Standing &on, Dice &dice)
{
    static const Lines paths = {"/proc/net/arp", "/proc/net/ip_mr_vif", "/proc/stat", "/proc/412/stat"};
    box.files.set_unreadable(dice.one_of(paths));
    on.undo([] {
        box.processes.set_cpus(1);
        httpd_is_idle();
        lone_client();
    });
}

void counters_wrap_for_a_while(Standing &on, Dice &dice)
{
    on.undo(lone_client);
    counters_wrap(dice);
}

} // namespace
} // namespace fault_catalogue

// The factory's row with that hook, in place of the daemon's own table.
time_check_daemon_exe_struct daemon_exe_info[] = {
    {.daemon_exe_name = "minidlna",
     .daemon_exe_enable_mib = "",
     .daemon_exe_enable = 0,
     .daemon_exe_spa_time = 3,
     .daemon_exe_check_num = 10,
     .daemon_exe_problem_check_num = 0,
     .daemon_exe_system_cmd = "cfm post netctrl 51?op=6",
     .func = fault_catalogue::disk_is_there},
};
uint32_t daemon_exe_info_num = 1;

namespace fault_catalogue
{

const std::vector<Fault> PROCESSES_AND_FILES = {
    {"process",
     "a watched program runs away",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"open"},
     0,
     [](Standing &on, Dice &) {
         on.undo(httpd_is_idle);
         box.processes.set_share("httpd", 100);
     }},
    {"process",
     "a program with a pid file vanishes",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"open"},
     0,
     [](Standing &on, Dice &) {
         on.undo(httpd_is_idle);
         box.processes.end("httpd");
     }},
    {"process", "a watched program vanishes", ALL_MODES, Wans::ALL_ONLINE, {"popen"}, 0, miss_minidlna},
    {"process", "a pause is cut short", ALL_MODES, Wans::ALL_ONLINE, {"select"}, EINTR},
    {"file", "a file cannot be opened", ALL_MODES, Wans::UNKNOWN, {"open"}, EIO, renew},
    {"file", "a file cannot be read", ALL_MODES, Wans::UNKNOWN, {"read"}, EIO, renew},
    {"file", "a file cannot be written", ALL_MODES, Wans::UNKNOWN, {"write"}, ENOSPC, silence_first_name_server},
    {"file", "a file cannot be synced", ALL_MODES, Wans::UNKNOWN, {"fsync"}, EIO, silence_first_name_server},
    {"file", "a file cannot be cut", ALL_MODES, Wans::UNKNOWN, {"ftruncate"}, EIO, silence_first_name_server},
    {"file",
     "a file cannot be asked for its owner",
     ALL_MODES,
     Wans::UNKNOWN,
     {"fstat"},
     EIO,
     silence_first_name_server},
    {"file",
     "a file cannot be given its owner",
     ALL_MODES,
     Wans::UNKNOWN,
     {"fchown"},
     EPERM,
     silence_first_name_server},
    {"file", "a file cannot be given its mode", ALL_MODES, Wans::UNKNOWN, {"fchmod"}, EPERM, silence_first_name_server},
    {"file", "a file cannot be renamed", ALL_MODES, Wans::UNKNOWN, {"rename"}, EIO, silence_first_name_server},
    {"file", "a file cannot be taken away", ALL_MODES, Wans::UNKNOWN, {"unlink"}, EIO, silence_first_name_server},
    {"file", "a link cannot be read", ALL_MODES, Wans::UNKNOWN, {"readlink"}, EIO, silence_first_name_server},
    {"file", "a close says that it failed", ALL_MODES, Wans::UNKNOWN, {"close"}, EIO},
    {"file", "a folder cannot be opened", ALL_MODES, Wans::ALL_ONLINE, {"opendir"}, EIO, look_for_a_disk},
    {"file", "a folder cannot be read", ALL_MODES, Wans::ALL_ONLINE, {"readdir"}, EIO, look_for_a_disk},
    {"file",
     "a file of the gateway cannot be read",
     WIRED_AP,
     Wans::UNKNOWN,
     {"vos_get_value_from_file"},
     EIO,
     read_again},
    {"file", "a table of the kernel cannot be opened", ALL_MODES, Wans::ALL_ONLINE, {"open"}, 0, unreadable_file},
    {"text",
     "garbage among the neighbours",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) { spoil_kernel_file(on, dice, "/proc/net/arp"); }},
    {"text",
     "garbage in the multicast table",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) { spoil_kernel_file(on, dice, "/proc/net/ip_mr_vif"); }},
    {"text",
     "garbage in the machine's times",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) { spoil_kernel_file(on, dice, "/proc/stat"); }},
    {"text",
     "garbage in a process's times",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) { spoil_kernel_file(on, dice, "/proc/412/stat"); }},
    {"text",
     "garbage in a counter",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) {
         count_quiet(on, dice);
         spoil_kernel_file(on, dice, "/sys/class/net/br0/statistics/tx_bytes");
     }},
    {"text",
     "garbage among the name servers",
     ALL_MODES,
     Wans::UNKNOWN,
     {},
     0,
     [](Standing &on, Dice &dice) { on.spoil_file("/etc/resolv.conf", dice); }},
    {"text",
     "garbage where the gateway stands",
     WIRED_AP,
     Wans::UNKNOWN,
     {"vos_get_value_from_file"},
     0,
     [](Standing &on, Dice &dice) {
         on.undo([] { box.ask_to_read_again(); });
         on.spoil_file("/etc/lan.ini", dice);
         box.ask_to_read_again();
     }},
    {"text",
     "garbage in a pid file",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) { on.spoil_file("/etc/httpd.pid", dice); }},
    {"text", "counters wrap", ALL_MODES, Wans::ALL_ONLINE, {"get_statistic_info"}, 0, counters_wrap_for_a_while},
    {"text", "traffic cannot be counted", ALL_MODES, Wans::ALL_ONLINE, {"get_statistic_info"}, EIO},
};

} // namespace fault_catalogue
