// What the CPU watchdog reads in /proc, and what it makes of it.
#include <string>

#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "tests/support/watchdog_world.h"
#include "time_check/time_check_cpu.h"

namespace
{

using CpuAccounting = CpuWatchdogTest;

uint32_t cpus_in(const std::string &proc_stat)
{
    box.files.set("/proc/stat", proc_stat);
    return time_check_cpu_get_cpu_num();
}

uint32_t machine_total_in(const std::string &proc_stat)
{
    box.files.set("/proc/stat", proc_stat);
    return time_check_cpu_get_total_cpu_time();
}

// ---- the number of CPUs ----

TEST_F(CpuAccounting, CountsTheLinesAfterTheFirstThatNameACpu)
{
    EXPECT_EQ(cpus_in("cpu  1 2 3 4\ncpu0 1 2 3 4\ncpu1 1 2 3 4\ncpu2 0 0 0 0\ncpu3 1 1 1 1\nintr 5\nctxt 6\n"), 4U);
}

TEST_F(CpuAccounting, OneCpuLineIsOneCpu)
{
    EXPECT_EQ(cpus_in("cpu  1 2 3 4\ncpu0 1 2 3 4\n"), 1U);
}

TEST_F(CpuAccounting, WithoutCpuLinesThereIsNone)
{
    EXPECT_EQ(cpus_in("cpu  1 2 3 4\nintr 5\n"), 0U);
    EXPECT_EQ(cpus_in(""), 0U);
}

TEST_F(CpuAccounting, AnyFurtherLineWithTheWordCounts)
{
    EXPECT_EQ(cpus_in("nothing of interest\n  a cpu of some kind\nsoftcpus\nCPU\n"), 2U);
}

TEST_F(CpuAccounting, ALineLongerThanTheBufferCountsInPieces)
{
    // 1023 characters are one read: the first piece is the line that is not looked at, the second one counts.
    EXPECT_EQ(cpus_in(std::string(1023, '1') + "cpu" + std::string(100, '2') + "\ncpu0 1\n"), 2U);
}

TEST_F(CpuAccounting, AnUnreadableMachineHasOneCpu)
{
    box.files.set_unreadable("/proc/stat");
    EXPECT_EQ(time_check_cpu_get_cpu_num(), 1U);
    EXPECT_BODIES();
    debug_on();
    EXPECT_EQ(time_check_cpu_get_cpu_num(), 1U);
    EXPECT_BODIES("open /proc/stat file error");
}

// ---- the machine's total ----

TEST_F(CpuAccounting, TheMachineTotalIsTheSumOfNineCounters)
{
    EXPECT_EQ(machine_total_in("cpu  1 20 300 4000 50000 600000 7000000 80000000 900000000\ncpu0 5 5 5 5 5 5 5 5 5\n"),
              987654321U);
}

TEST_F(CpuAccounting, ATenthCounterIsNotAdded)
{
    EXPECT_EQ(machine_total_in("cpu  1 1 1 1 1 1 1 1 1 1000\n"), 9U);
}

TEST_F(CpuAccounting, CountersThatTheKernelDoesNotPrintAreZero)
{
    EXPECT_EQ(machine_total_in("cpu  10 20 30 40\n"), 100U);
    EXPECT_EQ(machine_total_in("cpu\n"), 0U);
    EXPECT_EQ(machine_total_in(""), 0U);
}

TEST_F(CpuAccounting, TheMachineTotalWrapsAtThirtyTwoBits)
{
    EXPECT_EQ(machine_total_in("cpu  4294967295 2 0 0 0 0 0 0 0\n"), 1U);
    EXPECT_EQ(machine_total_in("cpu  4294967296 0 0 7 0 0 0 0 8589934592\n"), 7U); // only the low halves count
}

TEST_F(CpuAccounting, TheMachineTotalsLinesShowTheLineAsReadAndTheCounters)
{
    debug_on();
    box.files.set("/proc/stat", "cpu  1 2 3 4 5 6 7 8 9\ncpu0 1 2 3 4 5 6 7 8 9\n");
    time_check_cpu_get_total_cpu_time();
    // The line's own end is printed too, hence the empty one.
    EXPECT_BODIES("buff=cpu  1 2 3 4 5 6 7 8 9", "", "1 2 3 4 5 6 7 8 9");
}

TEST_F(CpuAccounting, AnUnreadableMachineHasATotalOfZero)
{
    debug_on();
    box.files.set_unreadable("/proc/stat");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time(), 0U);
    EXPECT_BODIES("open /proc/stat file error");
}

// ---- the process id ----

TEST_F(CpuAccounting, ThePidFilesFirstLineIsTheProcessId)
{
    load();
    debug_on();
    box.files.set(PID_FILE, "321\n777\n");
    EXPECT_EQ(time_check_cpu_get_pid(0), 321U);
    EXPECT_BODIES("file /etc/httpd.pid!");
}

TEST_F(CpuAccounting, TheProcessIdIsTheLeadingNumber)
{
    load();
    const std::vector<std::pair<std::string, uint32_t>> cases = {
        {"  42 \n", 42}, {"17x", 17}, {"", 0}, {"\n321\n", 0}, {"pid 5", 0}, {"99999999999", 2147483647U}};
    for (const auto &[text, pid] : cases) {
        box.files.set(PID_FILE, text);
        EXPECT_EQ(time_check_cpu_get_pid(0), pid) << text;
    }
}

TEST_F(CpuAccounting, OfAPidFilesLineTheFirst127CharactersCount)
{
    load();
    box.files.set(PID_FILE, std::string(126, ' ') + "34\n");
    EXPECT_EQ(time_check_cpu_get_pid(0), 3U);
}

TEST_F(CpuAccounting, AMissingPidFileIsProcessZero)
{
    load();
    debug_on();
    box.files.set_missing(PID_FILE);
    EXPECT_EQ(time_check_cpu_get_pid(0), 0U);
    EXPECT_BODIES("file /etc/httpd.pid!", "open /etc/httpd.pid fail!");
}

// ---- fields ----

TEST_F(CpuAccounting, FieldsAreSeparatedBySingleBlanks)
{
    const char line[] = "a bb  d";
    EXPECT_EQ(time_check_cpu_get_items(line, 0), line);
    EXPECT_EQ(time_check_cpu_get_items(line, 1), line);
    EXPECT_STREQ(time_check_cpu_get_items(line, 2), "bb  d");
    EXPECT_STREQ(time_check_cpu_get_items(line, 3), " d"); // empty, between two blanks
    EXPECT_STREQ(time_check_cpu_get_items(line, 4), "d");
}

TEST_F(CpuAccounting, AFieldBeyondTheLastIsTheLinesEnd)
{
    const char line[] = "a b c d";
    EXPECT_STREQ(time_check_cpu_get_items(line, 3), "c d");
    EXPECT_EQ(time_check_cpu_get_items(line, 9), line + 7);
    EXPECT_STREQ(time_check_cpu_get_items("", 2), "");
}

TEST_F(CpuAccounting, TabsSeparateNothing)
{
    EXPECT_STREQ(time_check_cpu_get_items("a\tb c", 2), "c");
}

TEST_F(CpuAccounting, NoLineHasNoFields)
{
    EXPECT_EQ(time_check_cpu_get_items(nullptr, 1), nullptr);
    EXPECT_EQ(time_check_cpu_get_items(nullptr, 14), nullptr);
}

// ---- a process's total ----

TEST_F(CpuAccounting, AProcessTotalAddsItsOwnAndItsReapedChildrensTimes)
{
    process_times("(httpd)", 1, 20, 300, 4000);
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 4321U);
}

TEST_F(CpuAccounting, ProcessZeroIsNotLookedFor)
{
    debug_on();
    const uint64_t opens = box.faults.made("open");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(0), 0U);
    EXPECT_EQ(box.faults.made("open"), opens);
    EXPECT_BODIES();
}

TEST_F(CpuAccounting, AProcessThatIsGoneHasATotalOfZero)
{
    debug_on();
    box.files.set_missing("/proc/321/stat");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 0U);
    EXPECT_BODIES("open /proc/321/stat file error");
}

TEST_F(CpuAccounting, AProcessNameWithABlankShiftsTheFields)
{
    // Fields 14 to 17 are now cmajflt, utime, stime and cutime.
    process_times("(my httpd)", 1, 20, 300, 4000);
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 321U);
}

TEST_F(CpuAccounting, AShortProcessLineHasATotalOfZero)
{
    box.files.set("/proc/321/stat", "321 (httpd) S 1 321 321\n");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 0U);
    box.files.set("/proc/321/stat", "");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 0U);
    box.files.set("/proc/321/stat", "321 (httpd) S 1 321 321 0 -1 4194304 120 0 0 0 8 5\n");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 13U);
}

TEST_F(CpuAccounting, OfAProcessLineTheFirst1023CharactersCount)
{
    box.files.set("/proc/321/stat", "321 (" + std::string(1100, 'x') + ") S 1 321 321 0 -1 0 0 0 0 0 1 2 3 4\n");
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 0U);
}

TEST_F(CpuAccounting, AProcessTotalWrapsAtThirtyTwoBits)
{
    process_times("(httpd)", 4294967295, 4, 0, 0);
    EXPECT_EQ(time_check_cpu_get_total_cpu_time_by_pid(PID), 3U);
}

TEST_F(CpuAccounting, AProcessTotalsLinesShowTheLineTheRestAndTheCounters)
{
    debug_on();
    process_times("(httpd)", 1, 2, 3, 4);
    time_check_cpu_get_total_cpu_time_by_pid(PID);
    EXPECT_BODIES("buff=321 (httpd) S 1 321 321 0 -1 4194304 120 0 0 0 1 2 3 4 20 0 1 0 120", "",
                  "value=1 2 3 4 20 0 1 0 120", "", "1 2 3 4");
}

// ---- the pause ----

TEST_F(CpuAccounting, ThePauseIsASelectWithoutDescriptors)
{
    const uint64_t selects = box.faults.made("select");
    EXPECT_EQ(velto_usleep(100000), 0);
    EXPECT_EQ(velto_usleep(2500000), 0);
    EXPECT_EQ(box.faults.made("select"), selects + 2);
    box.faults.fail("select", 1, 4);
    EXPECT_EQ(velto_usleep(1), -1);
}

// ---- a sample ----

TEST_F(CpuAccounting, TheShareIsTheProcessesPartOfAllThatTheMachineDid)
{
    load();
    machine_total(1000);
    process_total(100);
    in_the_interval([this] {
        machine_total(1040);
        process_total(110);
    });
    sample();
    EXPECT_EQ(measured(), "25.0");
}

TEST_F(CpuAccounting, ASampleTakesAHundredMilliseconds)
{
    load();
    machine_total(1000);
    process_total(100);
    box.at(0.1, [this] { // at the same moment the world changes first
        machine_total(1010);
        process_total(105);
    });
    box.at(0.100001, [this] {
        machine_total(1010);
        process_total(110);
    });
    sample();
    EXPECT_EQ(measured(), "50.0");
}

TEST_F(CpuAccounting, AProcessThatEndsInTheIntervalMeasuresZero)
{
    load();
    machine_total(1000);
    process_total(100);
    in_the_interval([this] {
        machine_total(1010);
        box.files.set_missing("/proc/321/stat");
        box.files.remove("/proc/321/stat");
    });
    sample();
    EXPECT_EQ(measured(), "0.0");
}

TEST_F(CpuAccounting, AProcessTotalThatWrapsInTheIntervalMeasuresZero)
{
    load();
    machine_total(1000);
    process_total(4294967290U);
    in_the_interval([this] {
        machine_total(1010);
        box.files.set("/proc/321/stat", "321 (httpd) S 1 1 1 0 -1 0 0 0 0 0 4294967300 0 0 0\n");
    });
    sample();
    EXPECT_EQ(measured(), "0.0");
}

TEST_F(CpuAccounting, AMachineTotalThatWrapsInTheIntervalMeasuresZero)
{
    load();
    machine_total(4294967290U);
    process_total(100);
    in_the_interval([this] {
        box.files.set("/proc/stat", "cpu  4294967300 0 0 0 0 0 0 0 0\ncpu0 0\n");
        process_total(110);
    });
    sample();
    EXPECT_EQ(measured(), "0.0");
}

TEST_F(CpuAccounting, AMachineThatDidNothingMeasuresZero)
{
    load();
    machine_total(1000);
    process_total(100);
    in_the_interval([this] { process_total(110); });
    sample();
    EXPECT_EQ(measured(), "0.0");
}

TEST_F(CpuAccounting, AnUnreadableMachineMeasuresZero)
{
    load();
    process_total(100);
    box.files.set_unreadable("/proc/stat");
    in_the_interval([this] { process_total(110); });
    sample();
    EXPECT_EQ(measured(), "0.0");
}

TEST_F(CpuAccounting, WithoutPidFileNothingIsMeasured)
{
    load();
    box.files.set_missing(PID_FILE);
    box.files.remove(PID_FILE);
    machine_total(1000);
    process_total(100);
    in_the_interval([this] {
        machine_total(1010);
        process_total(110);
    });
    sample();
    EXPECT_EQ(measured(), "0.0");
    EXPECT_TRUE(has_body("EXE_PID:\t0!"));
}

TEST_F(CpuAccounting, ThePidFileIsReadOncePerSample)
{
    // The file changes between the two readings; the process that was measured first is measured again.
    load();
    machine_total(1000);
    process_total(100);
    in_the_interval([this] {
        machine_total(1010);
        process_total(101);
        box.files.set(PID_FILE, "400\n");
        box.files.set("/proc/400/stat", "400 (other) S 1 1 1 0 -1 0 0 0 0 0 1000 0 0 0\n");
    });
    sample();
    EXPECT_EQ(measured(), "10.0");
    EXPECT_TRUE(has_body("EXE_PID:\t321!"));
}

TEST_F(CpuAccounting, AReusedProcessIdIsMeasuredAsItStands)
{
    // The pid file points at a foreign process: it is measured, and under its limit nothing comes of it.
    load();
    machine_total(1000);
    box.files.set("/proc/321/stat", "321 (other) S 1 1 1 0 -1 0 0 0 0 0 10 0 0 0\n");
    in_the_interval([this] {
        machine_total(1010);
        box.files.set("/proc/321/stat", "321 (other) S 1 1 1 0 -1 0 0 0 0 0 12 0 0 0\n");
    });
    sample();
    EXPECT_EQ(measured(), "20.0");
    EXPECT_ACTS();
}

TEST_F(CpuAccounting, ASampleReadsTheMachineTwiceThePidFileOnceAndTheProcessTwice)
{
    load();
    machine_total(1000);
    process_total(100);
    const uint64_t opens = box.faults.made("open");
    time_check_cpu();
    EXPECT_EQ(box.faults.made("open"), opens + 5);
}

TEST_F(CpuAccounting, AnIdleTickReadsNothingAndDoesNotWait)
{
    load();
    machine_total(1000);
    process_total(100);
    time_check_cpu(); // tick 1 samples, tick 2 does not
    const uint64_t opens = box.faults.made("open");
    const uint64_t selects = box.faults.made("select");
    time_check_cpu();
    EXPECT_EQ(box.faults.made("open"), opens);
    EXPECT_EQ(box.faults.made("select"), selects);
}

TEST_F(CpuAccounting, ASampleGivesOneWhetherARowIsDueOrNot)
{
    load();
    EXPECT_EQ(time_check_cpu_get_cpu(), 1); // no tick has made a row due
    sample();
    EXPECT_EQ(time_check_cpu_get_cpu(), 1); // and now one is
    EXPECT_EQ(time_check_cpu_get_check_results(), 1);
}

TEST_F(CpuAccounting, ARowThatIsNotDueShowsAShareOfZero)
{
    load();
    busy(50);
    sample();
    EXPECT_EQ(measured(), "50.0");
    sample(); // tick 2 does not sample
    EXPECT_EQ(measured(), "0.0");
}

// ---- the verdict ----

TEST_F(CpuAccounting, ALimitThatIsReachedExactlyIsOver)
{
    load();
    busy(90);
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=90.0,cpu_max=90.0"));
    EXPECT_TRUE(is_over());
}

TEST_F(CpuAccounting, BelowTheLimitIsNotOver)
{
    load();
    busy(89);
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=89.0,cpu_max=90.0"));
    EXPECT_FALSE(is_over());
}

TEST_F(CpuAccounting, OnFourCpusAQuarterOfTheMachineIsTheWholeOfOne)
{
    box.files.set("/proc/stat", "cpu  0\ncpu0 0\ncpu1 0\ncpu2 0\ncpu3 0\n");
    load();
    busy(25);
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=25.0,cpu_max=22.5"));
    EXPECT_TRUE(is_over());
}

TEST_F(CpuAccounting, WithoutCpusNothingIsOver)
{
    box.files.set("/proc/stat", "cpu  0\n");
    load();
    busy(100);
    sample();
    EXPECT_TRUE(has_body("(httpd)cpu=100.0,cpu_max=inf"));
    EXPECT_FALSE(is_over());
}

TEST_F(CpuAccounting, ARowThatIsNotDueHasNoVerdict)
{
    load();
    busy(100);
    sample();
    EXPECT_TRUE(is_over());
    sample();
    EXPECT_FALSE(has_line("cpu_max"));
    EXPECT_FALSE(is_over());
}

// ---- the excuse ----

uint32_t asked;
int32_t answer;

int32_t excuse(uint32_t index, struct time_check_cpu *table)
{
    asked++;
    EXPECT_EQ(index, 0U);
    EXPECT_STREQ(table->exe_info[0].exe_name, "httpd");
    EXPECT_EQ(table->user_exe_num, 1U);
    return answer;
}

TEST_F(CpuAccounting, TheHookExcusesAnOverLimitSampleByReturningOne)
{
    exe_info[0].func = excuse;
    load();
    busy(100);
    answer = 1;
    sample();
    EXPECT_EQ(asked, 1U);
    EXPECT_FALSE(is_over());
}

TEST_F(CpuAccounting, AnyOtherAnswerOfTheHookExcusesNothing)
{
    for (const int32_t no : {0, 2, -1}) {
        exe_info[0].func = excuse;
        load();
        busy(100);
        answer = no;
        sample();
        EXPECT_TRUE(is_over()) << no;
    }
}

TEST_F(CpuAccounting, TheHookIsAskedOnlyForADueRowThatIsOver)
{
    exe_info[0].func = excuse;
    load();
    busy(50);
    sample(); // due, not over
    sample(); // not due
    EXPECT_EQ(asked, 0U);
}

} // namespace
