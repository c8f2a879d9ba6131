// The watchdogs with many rows.
#include <gtest/gtest.h>

#include "tests/support/watchdog_world.h"
#include "tests/unit/watched_rows/tables.h"
#include "time_check/time_check_cpu.h"
#include "time_check/time_check_daemon.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_text.h"

namespace
{

Lines lines_of_rows(const std::string &before, int first, int last, const std::string &after)
{
    Lines lines;
    for (int i = first; i <= last; i++)
        lines.push_back(before + std::to_string(i) + after);
    return lines;
}

// ---- CPU watchdog ----

class CpuRows : public RouterTest
{
protected:
    void SetUp() override
    {
        machine_total(1000);
        for (int i = 0; i < 10; i++) {
            box.files.set("/run/prog_" + std::to_string(i) + ".pid", std::to_string(100 + i));
            process_total(i, 0);
        }
    }

    void machine_total(int ticks)
    {
        box.files.set("/proc/stat", "cpu  " + std::to_string(ticks) + "\ncpu0 0\n");
    }

    void process_total(int row, int ticks)
    {
        box.files.set("/proc/" + std::to_string(100 + row) + "/stat",
                      "1 (x) S 1 1 1 0 -1 0 0 0 0 0 " + std::to_string(ticks) + " 0 0 0\n");
    }

    // The next sample takes place, with these rows over their limit.
    void over(const std::vector<int> &rows)
    {
        box.at(0.05, [this, rows] {
            machine_total(1100);
            for (const int row : rows)
                process_total(row, 60);
        });
    }

    static void load()
    {
        set_time_check_cpu_info();
        box.log.clear();
    }

    static void send(uint32_t op, const char *string_info)
    {
        const TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(op, string_info);
        box.log.clear();
        op == OP_STOP ? time_check_cpu_stop(&msg) : time_check_cpu_start(&msg);
    }

    static void debug_on()
    {
        _DEBUG_LIST_[TIME_CHECK_CPU] = 1;
    }
};

TEST_F(CpuRows, AtMostTenRowsAreLoaded)
{
    debug_on();
    set_time_check_cpu_info();
    EXPECT_TRUE(has_body("totle 10 exe!"));
    EXPECT_TRUE(has_body("EXE_NAME:\tprog9!"));
    EXPECT_FALSE(has_line("progA"));
}

TEST_F(CpuRows, AllNamesEveryRowInOrder)
{
    load();
    send(OP_STOP, "all");
    EXPECT_EQ(box.log.bodies(), lines_of_rows("prog", 0, 9, " check disable"));
    send(OP_START, "ALL");
    EXPECT_EQ(box.log.bodies(), lines_of_rows("prog", 0, 9, " check enable"));
}

TEST_F(CpuRows, ANameNamesItsRowAlone)
{
    load();
    send(OP_STOP, "prog4");
    EXPECT_BODIES("prog4 check disable");
    debug_on();
    send(OP_START, "nobody");
    EXPECT_EQ(lines_with("EXE_ENABLE:\t0!"), 1U);
    EXPECT_EQ(lines_with("EXE_ENABLE:\t1!"), 9U);
}

TEST_F(CpuRows, OfTwoRowsWithOneNameTheFirstCounts)
{
    copy_text(exe_info[7].exe_name, sizeof exe_info[7].exe_name, "prog3");
    load();
    debug_on();
    send(OP_STOP, "prog3");
    EXPECT_EQ(lines_with("prog3 check disable"), 1U);
    EXPECT_EQ(lines_with("EXE_ENABLE:\t0!"), 1U);
}

TEST_F(CpuRows, AnEmptyNameEndsTheTableForMessages)
{
    exe_info[2].exe_name[0] = '\0';
    load();
    send(OP_STOP, "all");
    EXPECT_BODIES("prog0 check disable", "prog1 check disable");
    send(OP_START, "prog3");
    EXPECT_BODIES("connot found (prog3) in TIME_CHECK_CPU_STRUCT!");
    send(OP_START, "");
    EXPECT_BODIES("connot found () in TIME_CHECK_CPU_STRUCT!");
}

TEST_F(CpuRows, AllInATableThatBeginsWithAnEmptyNameFindsNothing)
{
    exe_info[0].exe_name[0] = '\0';
    load();
    send(OP_START, "ALL");
    EXPECT_BODIES("connot found (ALL) in TIME_CHECK_CPU_STRUCT!");
}

TEST_F(CpuRows, ManyRowsReadTheMachineTwiceAndWaitOnce)
{
    load();
    const uint64_t opens = box.faults.made("open");
    const uint64_t selects = box.faults.made("select");
    time_check_cpu();
    EXPECT_EQ(box.faults.made("open"), opens + 2 + 10 * 3); // the pid file once, the process twice
    EXPECT_EQ(box.faults.made("select"), selects + 1);
}

TEST_F(CpuRows, OnlyDueRowsAreMeasured)
{
    exe_info[0].exe_spa_time = 2;
    load();
    debug_on();
    over({0, 3});
    time_check_cpu();
    EXPECT_FALSE(has_body("(prog0)cpu=60.0,cpu_max=50.0"));
    EXPECT_TRUE(has_body("(prog2)cpu=0.0,cpu_max=50.0"));
    EXPECT_TRUE(has_body("(prog3)cpu=60.0,cpu_max=50.0"));
}

TEST_F(CpuRows, EachRowHasItsOwnPeriod)
{
    load();
    debug_on();
    over({3});
    time_check_cpu(); // row 3 is due again in 8 ticks, the others in 2
    box.log.clear();
    time_check_cpu();
    EXPECT_EQ(lines_with("cpu_max="), 0U);
    time_check_cpu();
    EXPECT_EQ(lines_with("cpu_max="), 9U);
    EXPECT_FALSE(has_line("(prog3)cpu="));
}

TEST_F(CpuRows, TheHookGetsItsRowsNumber)
{
    load();
    over({0, 1, 2});
    excuse_answer = 1;
    debug_on();
    time_check_cpu();
    EXPECT_EQ(excuses_asked, (std::vector<uint32_t>{1}));
    EXPECT_EQ(lines_with("EXE_CHECK_RESULT:\t1!"), 2U);
}

// ---- liveness watchdog ----

class DaemonRows : public RouterTest
{
protected:
    static void load()
    {
        set_time_check_daemon_info();
        box.log.clear();
    }

    static void send(uint32_t op, const char *string_info)
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = watchdog_message(op, string_info);
        box.log.clear();
        time_check_daemon_msg_handle(&msg);
    }
};

TEST_F(DaemonRows, AtMostTenRowsAreLoaded)
{
    _DEBUG_LIST_[TIME_CHECK_DAEMON] = 1;
    set_time_check_daemon_info();
    EXPECT_TRUE(has_body("totle 10 exe!"));
    EXPECT_FALSE(has_line("servA"));
}

TEST_F(DaemonRows, AllNamesEveryRowInOrder)
{
    load();
    send(OP_START, "all");
    EXPECT_EQ(box.log.bodies(), lines_of_rows("serv", 0, 9, " check enable"));
    send(OP_STOP, "ALL");
    EXPECT_EQ(box.log.bodies(), lines_of_rows("serv", 0, 9, " check disable"));
}

TEST_F(DaemonRows, AnEmptyNameEndsTheTableForMessages)
{
    daemon_exe_info[2].daemon_exe_name[0] = '\0';
    load();
    send(OP_START, "all");
    EXPECT_BODIES("serv0 check enable", "serv1 check enable");
    send(OP_START, "serv3");
    EXPECT_BODIES("connot found (serv3) in TIME_CHECK_DAEMON_STRUCT!");
}

TEST_F(DaemonRows, AStopOfOneLeavesTheOthersEnabledAndUnwatched)
{
    load();
    send(OP_START, "all");
    send(OP_STOP, "serv0");
    for (int i = 0; i < 30; i++)
        time_check_daemon();
    EXPECT_ACTS();
    send(OP_START, "serv0"); // the module's switch is back, and with it every row
    for (int i = 0; i < 5; i++)
        time_check_daemon();
    EXPECT_EQ(times("command killall -9 serv2"), 1U);
}

TEST_F(DaemonRows, EachRowHasItsOwnPeriodAndThreshold)
{
    load();
    send(OP_START, "all");
    std::vector<std::pair<int, std::string>> killed;
    for (int i = 1; i <= 10; i++) {
        box.journal.clear();
        time_check_daemon();
        for (const std::string &act : box.journal.lines())
            killed.emplace_back(i, act.substr(act.size() - 5));
    }
    EXPECT_EQ(killed, (std::vector<std::pair<int, std::string>>{{2, "serv0"},
                                                                {4, "serv0"},
                                                                {4, "serv1"},
                                                                {5, "serv2"},
                                                                {6, "serv0"},
                                                                {8, "serv0"},
                                                                {8, "serv1"},
                                                                {10, "serv0"},
                                                                {10, "serv2"}}));
}

} // namespace
