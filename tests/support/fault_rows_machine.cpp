#include "tests/support/fault_provoked.h"

namespace fault_catalogue
{
namespace
{

void step_by(Standing &on, int64_t seconds)
{
    on.undo([seconds] { box.clock.step(-seconds); });
    box.clock.step(seconds);
}

void cuts(Dice &dice, size_t number)
{
    for (; number > 0; number--)
        box.at(static_cast<double>(dice.roll(2400)), [] { box.restart(); });
}

} // namespace

const std::vector<Fault> MACHINE = {
    {"clock",
     "the clock jumps",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"GetValue"},
     0,
     [](Standing &on, Dice &dice) { step_by(on, static_cast<int64_t>(dice.roll(20 * 86400)) - 10 * 86400); }},
    {"clock",
     "the clock is lost",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"GetValue"},
     0,
     [](Standing &on, Dice &) { step_by(on, -box.clock.wall()); }},
    {"clock",
     "the zone is changed",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {"GetValue"},
     0,
     [](Standing &on, Dice &) {
         on.undo([] { box.local_time.set_zone("UTC0"); });
         box.local_time.set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
     }},
    {"memory",
     "there is no memory",
     ALL_MODES,
     Wans::UNKNOWN,
     {"open", "popen", "doSystemCmd", "_eval", "get_statistic_info"},
     ENOMEM,
     lose_internet_for_a_while},
    {"memory",
     "a thread cannot be started",
     ALL_MODES,
     Wans::UNKNOWN,
     {"pthread_create"},
     EAGAIN,
     [](Standing &on, Dice &) {
         on.undo([] { box.restart(); });
         box.restart();
     }},
    {"descriptors",
     "there is no descriptor",
     ALL_MODES,
     Wans::UNKNOWN,
     {"open", "popen", "opendir"},
     EMFILE,
     miss_minidlna},
    {"kill",
     "the daemon is killed",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &dice) {
         box.at(static_cast<double>(dice.roll(600)), [meet = on.meeting()] {
             meet();
             box.start_daemon_now();
         });
     }},
    {"kill",
     "the daemon is ended",
     ALL_MODES,
     Wans::UNKNOWN,
     {},
     0,
     [](Standing &on, Dice &) {
         start_again_when_ended(on);
         on.meeting()();
         box.ask_to_end();
     },
     true},
    {"power",
     "the power is cut",
     ALL_MODES,
     Wans::ALL_ONLINE,
     {},
     0,
     [](Standing &on, Dice &) {
         on.meeting()();
         box.restart();
     }},
    {"power",
     "the power is cut again and again",
     ALL_MODES,
     Wans::UNKNOWN,
     {},
     0,
     [](Standing &on, Dice &dice) {
         on.meeting()();
         cuts(dice, 2 + dice.roll(8));
     }},
    {"power", "a restart is refused", ALL_MODES, Wans::UNKNOWN, {"tpi_systool_reboot"}, EPERM, restart_now},
};

} // namespace fault_catalogue
