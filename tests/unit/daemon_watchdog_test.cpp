// The liveness watchdog: its table, its look at the process list, its tick.
#include <csignal>

#include <gtest/gtest.h>

#include "tests/support/watchdog_world.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"

namespace
{

const std::string RESTART = "command cfm post netctrl 51?op=6";
const std::string LOOK = "ps | grep minidlna";
const std::string KILL = "command killall -9 minidlna";

class DaemonWatchdog : public RouterTest
{
protected:
    static void debug_on()
    {
        _DEBUG_LIST_[TIME_CHECK_DAEMON] = 1;
    }

    void load()
    {
        set_time_check_daemon_info();
        box.log.clear();
    }

    // Handles a message with only its own lines in the log.
    int32_t send(uint32_t op, const std::string &string_info)
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(op, string_info);
        box.log.clear();
        return time_check_daemon_msg_handle(&msg);
    }

    void load_and_start()
    {
        load();
        send(OP_START, "minidlna");
        box.log.clear();
    }

    static void ticks(int number)
    {
        for (int i = 0; i < number; i++)
            time_check_daemon();
    }

    // Looks so far.
    uint64_t looks() const
    {
        return box.faults.made("popen");
    }

    // Nothing was looked at, nor is it in the next minute.
    void expect_not_watching()
    {
        ticks(60);
        EXPECT_EQ(looks(), 0U);
    }

    // The first look of all is due within three ticks.
    void expect_first_look()
    {
        ticks(3);
        EXPECT_EQ(looks(), 1U);
    }

    void give_key(const char *key)
    {
        copy_text(daemon_exe_info[0].daemon_exe_enable_mib, sizeof daemon_exe_info[0].daemon_exe_enable_mib, key);
        box.store.add_product_key(key);
    }
};

// ---- loading ----

TEST_F(DaemonWatchdog, TheFactoryTableHoldsTheMediaServerSwitchedOff)
{
    debug_on();
    EXPECT_EQ(set_time_check_daemon_info(), 1);
    EXPECT_BODIES("totle 1 exe!", "num:\t0!", "DAEMON_EXE_NAME:\tminidlna!", "DAEMON_EXE_ENABLE:\t0!",
                  "DAEMON_EXE_SYSTEM_CMD:\tcfm post netctrl 51?op=6!", "DAEMON_EXE_SPA_TIME:\t3!",
                  "DAEMON_EXE_CHECK_NUM:\t10!", "DAEMON_EXE_PROBLEM_CHECK_NUM:\t0!");
    EXPECT_STREQ(daemon_exe_info[0].daemon_exe_enable_mib, "");
}

TEST_F(DaemonWatchdog, NothingIsDumpedWithTheDebugSwitchOff)
{
    set_time_check_daemon_info();
    EXPECT_BODIES();
    _DEBUG_LIST_[TIME_CHECK_CPU] = 1;
    time_check_daemon_exe_print_struct_info();
    EXPECT_BODIES();
}

TEST_F(DaemonWatchdog, ARowsKeySaysWhetherItIsLoadedEnabled)
{
    debug_on();
    daemon_exe_info[0].daemon_exe_enable = 1;
    give_key("usb.dlna.enable");
    const std::vector<std::pair<std::string, std::string>> cases = {{"1", "1"},   {"0", "0"}, {"", "0"},
                                                                    {"yes", "0"}, {"2", "2"}, {" 1x", "1"}};
    for (const auto &[value, enable] : cases) {
        box.store.set("usb.dlna.enable", value);
        box.log.clear();
        set_time_check_daemon_info();
        EXPECT_TRUE(has_body("DAEMON_EXE_ENABLE:\t" + enable + "!")) << value;
    }
    box.store.unset("usb.dlna.enable");
    box.log.clear();
    set_time_check_daemon_info();
    EXPECT_TRUE(has_body("DAEMON_EXE_ENABLE:\t0!"));
}

TEST_F(DaemonWatchdog, InitLoadsTheTableAndTakesTheModulesMessages)
{
    box.files.set_missing("/etc/httpd.pid");
    init_time_check_module_entries();
    box.log.clear();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(OP_START, "minidlna");
    handle_time_check_module_msg(TIME_CHECK_DAEMON, &msg);
    EXPECT_BODIES("minidlna check enable");
}

// ---- messages ----

TEST_F(DaemonWatchdog, NothingIsLookedAtUntilAStart)
{
    load();
    expect_not_watching();
    send(OP_START, "minidlna");
    EXPECT_BODIES("minidlna check enable");
    expect_first_look();
}

TEST_F(DaemonWatchdog, AStopSwitchesTheWholeWatchdogOff)
{
    load_and_start();
    EXPECT_EQ(send(OP_STOP, "minidlna"), 1);
    EXPECT_BODIES("minidlna check disable");
    expect_not_watching();
    EXPECT_ACTS();
}

TEST_F(DaemonWatchdog, AStopForAnUnknownNameAlsoSwitchesItOff)
{
    load_and_start();
    EXPECT_EQ(send(OP_STOP, "nobody"), 1);
    EXPECT_BODIES("connot found (nobody) in TIME_CHECK_DAEMON_STRUCT!");
    expect_not_watching();
}

TEST_F(DaemonWatchdog, AStartForAnUnknownNameSwitchesTheModuleOnAndNoRow)
{
    load_and_start();
    send(OP_STOP, "nobody"); // the row stays enabled
    EXPECT_EQ(send(OP_START, "nobody"), 1);
    EXPECT_BODIES("connot found (nobody) in TIME_CHECK_DAEMON_STRUCT!");
    expect_first_look();
}

TEST_F(DaemonWatchdog, ARestartIsAStart)
{
    load();
    EXPECT_EQ(send(OP_RESTART, "minidlna"), 1);
    EXPECT_BODIES("minidlna check enable");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_daemon_start("), std::string::npos);
    expect_first_look();
}

TEST_F(DaemonWatchdog, AStopsLineCarriesItsName)
{
    load();
    send(OP_STOP, "minidlna");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_daemon_stop("), std::string::npos);
}

TEST_F(DaemonWatchdog, BothSpellingsOfAllNameEveryProgramAndNoOther)
{
    load();
    for (const char *all : {"all", "ALL"}) {
        send(OP_START, all);
        EXPECT_BODIES("minidlna check enable");
        send(OP_STOP, all);
        EXPECT_BODIES("minidlna check disable");
    }
    for (const char *name : {"All", "", "minidlna2", "MINIDLNA"}) {
        send(OP_START, name);
        EXPECT_BODIES("connot found (" + std::string(name) + ") in TIME_CHECK_DAEMON_STRUCT!");
    }
}

TEST_F(DaemonWatchdog, OtherOpsDoNothing)
{
    load();
    for (const uint32_t op : {0U, 4U, 5U, 6U, 7U, 34U}) {
        EXPECT_EQ(send(op, "minidlna"), 1);
        EXPECT_BODIES();
    }
    ticks(9);
    EXPECT_EQ(looks(), 0U);
}

TEST_F(DaemonWatchdog, TheRowsKeyCanVetoAStart)
{
    give_key("usb.dlna.enable");
    load();
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"0", "disable"}, {"", "disable"}, {"2", "disable"}, {"1", "enable"}};
    for (const auto &[value, verdict] : cases) {
        box.store.set("usb.dlna.enable", value);
        send(OP_START, "minidlna");
        EXPECT_BODIES("minidlna check " + verdict);
    }
    box.store.unset("usb.dlna.enable");
    send(OP_START, "all");
    EXPECT_BODIES("minidlna check disable");
    ticks(9);
    EXPECT_EQ(looks(), 0U);
}

TEST_F(DaemonWatchdog, AStopDoesNotAskTheKey)
{
    give_key("usb.dlna.enable");
    box.store.set("usb.dlna.enable", "1");
    debug_on();
    load();
    send(OP_STOP, "minidlna");
    EXPECT_TRUE(has_body("minidlna check disable"));
    EXPECT_TRUE(has_body("DAEMON_EXE_ENABLE:\t0!"));
}

TEST_F(DaemonWatchdog, AStartForgivesTheMissesSoFar)
{
    load_and_start();
    ticks(27); // nine misses
    debug_on();
    send(OP_START, "minidlna");
    EXPECT_BODIES("minidlna check enable", "totle 1 exe!", "num:\t0!", "DAEMON_EXE_NAME:\tminidlna!",
                  "DAEMON_EXE_ENABLE:\t1!", "DAEMON_EXE_SYSTEM_CMD:\tcfm post netctrl 51?op=6!",
                  "DAEMON_EXE_SPA_TIME:\t3!", "DAEMON_EXE_CHECK_NUM:\t10!", "DAEMON_EXE_PROBLEM_CHECK_NUM:\t0!");
    ticks(29);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(KILL, RESTART);
}

TEST_F(DaemonWatchdog, MessagesDoNotMoveTheLooks)
{
    load_and_start();
    ticks(2);
    send(OP_STOP, "minidlna");
    send(OP_START, "minidlna");
    ticks(1); // the third tick, whatever came between
    EXPECT_EQ(looks(), 1U);
}

TEST_F(DaemonWatchdog, WhileTheModuleIsOffNoTicksAreCounted)
{
    load_and_start();
    ticks(2);
    send(OP_STOP, "minidlna");
    ticks(100);
    send(OP_START, "minidlna");
    ticks(1);
    EXPECT_EQ(looks(), 1U);
}

TEST_F(DaemonWatchdog, TicksAreCountedWhileTheRowIsOff)
{
    load();
    ticks(2);
    send(OP_START, "minidlna");
    ticks(1);
    EXPECT_EQ(looks(), 1U);
}

// ---- the look ----

TEST_F(DaemonWatchdog, TwoLinesAreThePipelinesOwn)
{
    for (const char *listing : {"", "one\n", "one\ntwo\n"}) {
        box.commands.set_output("ps | grep minidlna", listing);
        EXPECT_EQ(time_check_daemon_uload("minidlna"), 1) << listing;
    }
}

TEST_F(DaemonWatchdog, AThirdLineIsTheProgram)
{
    debug_on();
    box.commands.set_output("ps | grep minidlna", "one\ntwo\nthree\n");
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
    EXPECT_BODIES("exe(minidlna) not exit!");
    box.commands.set_output("ps | grep minidlna", "one\ntwo\nthree\nfour\nfive\n");
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
}

TEST_F(DaemonWatchdog, AMissingProgramHasNoLine)
{
    debug_on();
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 1);
    EXPECT_BODIES();
}

TEST_F(DaemonWatchdog, ALongLineCountsAsSeveral)
{
    const std::string longer = std::string(64, 'x') + "\n"; // 63 characters are one read
    box.commands.set_output("ps | grep minidlna", "one\n" + longer);
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
    box.commands.set_output("ps | grep minidlna", "one\n" + longer.substr(2));
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 1);
    box.commands.set_output("ps | grep minidlna", std::string(3 * 63, 'x'));
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
}

TEST_F(DaemonWatchdog, AnyProcessWithTheNameInItsCommandLineCounts)
{
    box.processes.start("vi", 900, "vi /etc/minidlna.conf");
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
    box.processes.end("vi");
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 1);
    box.processes.start("minidlna", 901);
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0);
}

TEST_F(DaemonWatchdog, APipeThatCannotBeOpenedIsNoLook)
{
    box.faults.fail("popen", 1, 12);
    EXPECT_EQ(time_check_daemon_uload("minidlna"), -1);
    load_and_start();
    box.faults.fail("popen", 1, 12);
    EXPECT_EQ(time_check_daemon_need_restart(0), -1);
}

// A ps that hangs: the ground's deadline ends the shell.
TEST_F(DaemonWatchdog, ALookThatIsCutOffIsNoLook)
{
    box.commands.set_status(LOOK, 128 + SIGKILL);
    for (const char *printed : {"", "one\n", "one\ntwo\n"}) {
        box.commands.set_output(LOOK, printed);
        EXPECT_EQ(time_check_daemon_uload("minidlna"), -1) << printed;
    }
    box.commands.set_output(LOOK, "one\ntwo\nthree\n");
    EXPECT_EQ(time_check_daemon_uload("minidlna"), 0) << "it was seen before";
}

TEST_F(DaemonWatchdog, ALookThatEndsByItselfCountsWhateverItsStatus)
{
    for (const int status : {1, 2, 127}) {
        box.commands.set_status(LOOK, status); // grep has found nothing, or cannot be run
        EXPECT_EQ(time_check_daemon_uload("minidlna"), 1) << status;
    }
}

TEST_F(DaemonWatchdog, ARestartIsNeededWhenAWatchedProgramIsMissing)
{
    load_and_start();
    EXPECT_EQ(time_check_daemon_need_restart(0), 1);
    box.processes.start("minidlna", 900);
    EXPECT_EQ(time_check_daemon_need_restart(0), 0);
}

TEST_F(DaemonWatchdog, ARowThatIsNotExactlyOneIsNotLookedFor)
{
    for (const uint32_t enable : {0U, 2U}) {
        daemon_exe_info[0].daemon_exe_enable = enable;
        load();
        EXPECT_EQ(time_check_daemon_need_restart(0), 0);
    }
    EXPECT_EQ(looks(), 0U);
}

int consents;
int32_t consent = 1;

int32_t hook(struct time_check_daemon *state)
{
    consents++;
    EXPECT_EQ(state->enable, 1U);
    EXPECT_EQ(state->user_daemon_exe_num, 1U);
    EXPECT_STREQ(state->daemon_exe_info[0].daemon_exe_name, "minidlna");
    return consent;
}

TEST_F(DaemonWatchdog, TheHookMustConsentWithOne)
{
    daemon_exe_info[0].func = hook;
    load_and_start();
    consent = 1;
    EXPECT_EQ(time_check_daemon_need_restart(0), 1);
    for (const int32_t no : {0, 2, -1}) {
        consent = no;
        EXPECT_EQ(time_check_daemon_need_restart(0), 0) << no;
    }
    EXPECT_EQ(consents, 4);
}

TEST_F(DaemonWatchdog, TheHookIsAskedOnlyForAMissingProgram)
{
    daemon_exe_info[0].func = hook;
    load_and_start();
    box.processes.start("minidlna", 900);
    ticks(30);
    EXPECT_EQ(consents, 0);
}

TEST_F(DaemonWatchdog, WithoutHookNobodyIsAsked)
{
    daemon_exe_info[0].func = nullptr;
    load_and_start();
    EXPECT_EQ(time_check_daemon_need_restart(0), 1);
}

// ---- the tick ----

TEST_F(DaemonWatchdog, ALookComesEveryThirdTick)
{
    load_and_start();
    std::vector<int> looked;
    for (int i = 1; i <= 12; i++) {
        const uint64_t before = looks();
        EXPECT_EQ(time_check_daemon(), 1);
        if (looks() > before)
            looked.push_back(i);
    }
    EXPECT_EQ(looked, (std::vector<int>{3, 6, 9, 12}));
}

TEST_F(DaemonWatchdog, TheTenthMissInARowRestartsTheProgram)
{
    load_and_start();
    ticks(29);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(KILL, RESTART);
    EXPECT_BODIES("(minidlna cmd):cfm post netctrl 51?op=6");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_daemon_main("), std::string::npos);
    EXPECT_EQ(box.journal.messages_to_netctrl(), (Lines{"51?op=6"}));
}

TEST_F(DaemonWatchdog, AProgramThatNeverComesBackIsRestartedEveryThirtyTicks)
{
    load_and_start();
    ticks(59);
    EXPECT_EQ(times(RESTART), 1U);
    ticks(1);
    EXPECT_EQ(times(RESTART), 2U);
    ticks(29);
    EXPECT_EQ(times(RESTART), 2U);
    ticks(1);
    EXPECT_EQ(times(RESTART), 3U);
}

TEST_F(DaemonWatchdog, OneLookThatFindsItForgivesTheMisses)
{
    load_and_start();
    ticks(27); // nine misses
    box.processes.start("minidlna", 900);
    ticks(3);
    box.processes.end("minidlna");
    ticks(29);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(KILL, RESTART);
}

TEST_F(DaemonWatchdog, AVetoForgivesTheMisses)
{
    daemon_exe_info[0].func = hook;
    load_and_start();
    ticks(27);
    consent = 0;
    ticks(3);
    consent = 1;
    ticks(29);
    EXPECT_ACTS();
    ticks(1);
    EXPECT_ACTS(KILL, RESTART);
}

TEST_F(DaemonWatchdog, ALookThatCannotBeMadeNeitherCountsNorForgives)
{
    load_and_start();
    ticks(27);
    box.faults.fail("popen", 1, 12);
    ticks(3); // would have been the tenth miss
    EXPECT_ACTS();
    ticks(3);
    EXPECT_ACTS(KILL, RESTART);
}

TEST_F(DaemonWatchdog, ALookThatIsCutOffNeitherCountsNorForgives)
{
    load_and_start();
    ticks(27);
    box.commands.set_status(LOOK, 128 + SIGKILL);
    ticks(300);
    EXPECT_ACTS();
    box.commands.set_status(LOOK, 0);
    ticks(3);
    EXPECT_ACTS(KILL, RESTART);
}

TEST_F(DaemonWatchdog, EachMissShowsItsNumber)
{
    debug_on();
    load_and_start();
    ticks(9);
    EXPECT_BODIES("DAEMON_EXE_PROBLEM_CHECK_NUM:1!", "DAEMON_EXE_PROBLEM_CHECK_NUM:2!",
                  "DAEMON_EXE_PROBLEM_CHECK_NUM:3!");
    EXPECT_NE(box.log.lines().front().find(">>time_check_daemon_main("), std::string::npos);
}

TEST_F(DaemonWatchdog, WithoutCommandTheProgramIsOnlyKilled)
{
    daemon_exe_info[0].daemon_exe_system_cmd[0] = '\0';
    load_and_start();
    ticks(30);
    EXPECT_ACTS(KILL);
    EXPECT_BODIES();
}

TEST_F(DaemonWatchdog, APeriodOfZeroNeverLooks)
{
    daemon_exe_info[0].daemon_exe_spa_time = 0;
    load_and_start();
    ticks(100);
    EXPECT_EQ(looks(), 0U);
}

// ---- for products ----

TEST_F(DaemonWatchdog, ADirectoryWithAnEntryIsOne)
{
    box.files.set("/mnt/media/song.mp3", "la");
    EXPECT_EQ(check_if_dir_empty("/mnt/media"), 1);
    box.files.remove("/mnt/media/song.mp3");
    box.files.set_missing("/mnt/media");
    EXPECT_EQ(check_if_dir_empty("/mnt/media"), 0);
}

TEST_F(DaemonWatchdog, ADirectoryWithoutEntriesIsZero)
{
    box.files.set_directory("/mnt/media"); // its own entry and its parent's are listed all the same
    EXPECT_EQ(check_if_dir_empty("/mnt/media"), 0);
}

TEST_F(DaemonWatchdog, ADirectoryThatIsMissingOrCannotBeOpenedIsZero)
{
    box.files.set_missing("/mnt/none");
    EXPECT_EQ(check_if_dir_empty("/mnt/none"), 0);
    box.files.set("/mnt/media/song.mp3", "la");
    box.faults.fail("opendir", 1, 24);
    EXPECT_EQ(check_if_dir_empty("/mnt/media"), 0);
}

} // namespace
