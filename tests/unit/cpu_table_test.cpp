// The CPU watchdog's table: what is loaded, what messages change, what the dumps show.
#include <gtest/gtest.h>

#include "tests/support/watchdog_world.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"

namespace
{

class CpuTable : public CpuWatchdogTest
{
protected:
    // Handles a message with only its own lines in the log.
    int32_t send(uint32_t op, const std::string &string_info)
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(op, string_info);
        box.log.clear();
        return time_check_cpu_msg_handle(&msg);
    }

    // A message switched the web server's row on or off, and the dump shows its share.
    void expect_dump_of_message(bool on, const std::string &share)
    {
        EXPECT_BODIES(on ? "httpd check enable" : "httpd check disable", "totle 1 exe!", "num:\t0!",
                      "EXE_NAME:\thttpd!", on ? "EXE_ENABLE:\t1!" : "EXE_ENABLE:\t0!", "EXE_CHECK_IN:\t0!",
                      "EXE_CPU:\t" + share + "!", "EXE_CHECK_RESULT:\t0!", "EXE_PID:\t321!",
                      "EXE_PID_FILE:\t/etc/httpd.pid!", "EXE_SPA_TIME:\t1!", "EXE_CHECK_NUM:\t0!",
                      "EXE_PROBLEM_CHECK_NUM:\t0!");
    }

    // Whether the module still does anything: the first ticks after a load or start sample.
    bool is_on()
    {
        return tick(0) || tick(0) || tick(0);
    }
};

// ---- loading ----

TEST_F(CpuTable, TheFactoryTableWatchesTheWebServer)
{
    debug_on();
    EXPECT_EQ(set_time_check_cpu_info(), 1);
    EXPECT_BODIES("totle 1 exe!", "num:\t0!", "EXE_NAME:\thttpd!", "EXE_ENABLE:\t1!", "EXE_CHECK_IN:\t0!",
                  "EXE_CPU:\t0.0!", "EXE_CHECK_RESULT:\t0!", "EXE_PID:\t0!", "EXE_PID_FILE:\t/etc/httpd.pid!",
                  "EXE_SPA_TIME:\t1!", "EXE_CHECK_NUM:\t0!", "EXE_PROBLEM_CHECK_NUM:\t0!");
    EXPECT_EQ(exe_info[0].exe_cpu_max, 90.0F);
    EXPECT_STREQ(exe_info[0].exe_system_cmd, "");
    EXPECT_EQ(exe_info[0].func, nullptr);
}

TEST_F(CpuTable, NothingIsDumpedWithTheDebugSwitchOff)
{
    EXPECT_EQ(set_time_check_cpu_info(), 1);
    time_check_print_check_info();
    EXPECT_BODIES();
}

TEST_F(CpuTable, OnlyTheModulesOwnSwitchTurnsTheDumpOn)
{
    _DEBUG_LIST_[TIME_CHECK_DAEMON] = 1;
    set_time_check_cpu_info();
    EXPECT_BODIES();
}

TEST_F(CpuTable, TheDumpsLinesCarryTheDumpsNames)
{
    debug_on();
    set_time_check_cpu_info();
    EXPECT_EQ(lines_with("[TIMER_CHECK_DEBUG >>time_check_print_struct_info("), box.log.lines().size());
    box.log.clear();
    time_check_print_check_info();
    EXPECT_EQ(lines_with("[TIMER_CHECK_DEBUG >>time_check_print_check_info("), box.log.lines().size());
}

TEST_F(CpuTable, TheShortDumpLeavesOutCountNumberAndEnable)
{
    load();
    debug_on();
    time_check_print_check_info();
    EXPECT_BODIES("EXE_NAME:\thttpd!", "EXE_CHECK_IN:\t0!", "EXE_CPU:\t0.0!", "EXE_CHECK_RESULT:\t0!", "EXE_PID:\t0!",
                  "EXE_PID_FILE:\t/etc/httpd.pid!", "EXE_SPA_TIME:\t1!", "EXE_CHECK_NUM:\t0!",
                  "EXE_PROBLEM_CHECK_NUM:\t0!");
}

TEST_F(CpuTable, LoadingAgainForgetsWhatWasCounted)
{
    load();
    tick(100);
    tick(100);
    debug_on();
    box.log.clear();
    set_time_check_cpu_info();
    EXPECT_TRUE(has_body("EXE_SPA_TIME:\t1!"));
    EXPECT_TRUE(has_body("EXE_CHECK_NUM:\t0!"));
    EXPECT_TRUE(has_body("EXE_PROBLEM_CHECK_NUM:\t0!"));
    EXPECT_TRUE(has_body("EXE_PID:\t0!"));
}

TEST_F(CpuTable, TheLimitIsSharedAmongTheCpus)
{
    const std::vector<std::pair<int, std::string>> cases = {{1, "90.0"}, {2, "45.0"}, {4, "22.5"}};
    for (const auto &[cpus, limit] : cases) {
        std::string stat = "cpu  0\n";
        for (int i = 0; i < cpus; i++)
            stat += "cpu" + std::to_string(i) + " 0\n";
        box.files.set("/proc/stat", stat);
        load();
        sample();
        EXPECT_TRUE(has_body("(httpd)cpu=0.0,cpu_max=" + limit)) << cpus;
    }
}

TEST_F(CpuTable, WithoutPerCpuLinesTheLimitCannotBeReached)
{
    box.files.set("/proc/stat", "cpu  0\n");
    load();
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=0.0,cpu_max=inf"));
}

TEST_F(CpuTable, AnUnreadableMachineCountsAsOneCpu)
{
    box.files.set_unreadable("/proc/stat");
    load();
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=0.0,cpu_max=90.0"));
}

TEST_F(CpuTable, InitLoadsTheTableAndTakesTheModulesMessages)
{
    init_time_check_module_entries();
    box.log.clear();
    TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(OP_STOP, "httpd");
    handle_time_check_module_msg(TIME_CHECK_CPU, &msg);
    EXPECT_BODIES("httpd check disable");
}

// ---- messages ----

TEST_F(CpuTable, AStopSwitchesTheWholeWatchdogOff)
{
    load();
    ASSERT_TRUE(is_on());
    EXPECT_EQ(send(OP_STOP, "httpd"), 1);
    EXPECT_BODIES("httpd check disable");
    for (int i = 0; i < 300; i++)
        ASSERT_FALSE(tick(100)) << i;
    EXPECT_ACTS();
}

TEST_F(CpuTable, AStartSwitchesItOnAgainFromItsFirstPeriod)
{
    load();
    for (int i = 0; i < 7; i++)
        tick(0);
    send(OP_STOP, "httpd");
    EXPECT_EQ(send(OP_START, "httpd"), 1);
    EXPECT_BODIES("httpd check enable");
    EXPECT_TRUE(tick(0));
    EXPECT_FALSE(tick(0));
    EXPECT_TRUE(tick(0));
}

TEST_F(CpuTable, StartStopAndRestartGiveOne)
{
    load();
    for (const char *name : {"httpd", "nobody", "all"}) {
        const TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(OP_START, name);
        EXPECT_EQ(time_check_cpu_start(&msg), 1) << name;
        EXPECT_EQ(time_check_cpu_stop(&msg), 1) << name;
        EXPECT_EQ(time_check_cpu_restart(&msg), 1) << name;
    }
}

TEST_F(CpuTable, ARestartIsAStart)
{
    load();
    send(OP_STOP, "httpd");
    EXPECT_EQ(send(OP_RESTART, "httpd"), 1);
    EXPECT_BODIES("httpd check enable");
    EXPECT_NE(box.log.lines().front().find(">>time_check_cpu_start("), std::string::npos);
    EXPECT_TRUE(is_on());
}

TEST_F(CpuTable, StartAndStopLinesCarryTheirOwnNames)
{
    load();
    send(OP_STOP, "all");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_cpu_stop("), std::string::npos);
    send(OP_STOP, "nobody");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_cpu_stop("), std::string::npos);
    send(OP_START, "nobody");
    EXPECT_NE(box.log.lines().front().find("\033[1;31m[TIMER_CHECK >>time_check_cpu_start("), std::string::npos);
}

TEST_F(CpuTable, AStartPutsARunningCountBackToNothing)
{
    load();
    for (int i = 0; i < 3; i++)
        tick(100);
    debug_on();
    send(OP_START, "httpd");
    expect_dump_of_message(true, "0.0");
}

TEST_F(CpuTable, AStopDumpsTheRowAsDisabled)
{
    load();
    tick(100);
    debug_on();
    send(OP_STOP, "httpd");
    expect_dump_of_message(false, "100.0");
}

TEST_F(CpuTable, AStartForAnUnknownNameSwitchesTheModuleOnAndLeavesTheRowsAlone)
{
    load();
    send(OP_STOP, "httpd");
    debug_on();
    EXPECT_EQ(send(OP_START, "nginx"), 1);
    EXPECT_TRUE(has_body("connot found (nginx) in TIME_CHECK_CPU_STRUCT!"));
    EXPECT_TRUE(has_body("EXE_ENABLE:\t0!"));
    EXPECT_TRUE(is_on()); // sampling follows the module's switch alone
}

TEST_F(CpuTable, AStopForAnUnknownNameSwitchesTheModuleOff)
{
    load();
    EXPECT_EQ(send(OP_STOP, "nginx"), 1);
    EXPECT_BODIES("connot found (nginx) in TIME_CHECK_CPU_STRUCT!");
    EXPECT_FALSE(is_on());
}

TEST_F(CpuTable, NamesAreComparedExactly)
{
    load();
    for (const char *name : {"", "Httpd", "httpd ", "http", "httpdx", "All", "aLL", "all "}) {
        send(OP_START, name);
        EXPECT_BODIES("connot found (" + std::string(name) + ") in TIME_CHECK_CPU_STRUCT!");
    }
}

TEST_F(CpuTable, BothSpellingsOfAllNameEveryProgram)
{
    load();
    for (const char *all : {"all", "ALL"}) {
        send(OP_STOP, all);
        EXPECT_BODIES("httpd check disable");
        EXPECT_FALSE(is_on());
        send(OP_START, all);
        EXPECT_BODIES("httpd check enable");
        EXPECT_TRUE(is_on());
    }
}

TEST_F(CpuTable, OtherOpsDoNothing)
{
    load();
    for (const uint32_t op : {0U, 4U, 5U, 6U, 7U, 8U, 33U}) {
        EXPECT_EQ(send(op, "httpd"), 1);
        EXPECT_BODIES();
    }
    EXPECT_TRUE(is_on());
}

} // namespace
