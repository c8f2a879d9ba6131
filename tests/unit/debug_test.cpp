// The debug module and the five kinds of log lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_debug.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_log.h"
#include "time_check/time_check_module.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace
{

class Debug : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        init_time_check_module_entries();
        box.log.clear();
    }

    static int32_t ask(uint32_t debug_id, uint32_t op = 0)
    {
        TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
        msg.op = op;
        msg.debug_id = debug_id;
        return time_check_debug_msg_handle(&msg);
    }
};

// ---- switches ----

TEST_F(Debug, AllSwitchesAreOffAtStart)
{
    EXPECT_EQ(debug_tag, 0);
    EXPECT_THAT(_DEBUG_LIST_, Each(0U));
}

TEST_F(Debug, InitTurnsTheModulesSwitchesOff)
{
    for (uint32_t &on : _DEBUG_LIST_)
        on = 1;
    init_time_check_module_entries();
    EXPECT_THAT(_DEBUG_LIST_, Each(0U));
}

TEST_F(Debug, ARequestTogglesTheModulesSwitchAndTheMasterSwitch)
{
    EXPECT_EQ(ask(1), 1);
    EXPECT_EQ(debug_tag, 1);
    for (uint32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++)
        EXPECT_EQ(_DEBUG_LIST_[id], id == 1 ? 1U : 0U) << id;
    EXPECT_THAT(box.log.lines(), ElementsAre("___56____debug_tag: 0_____", "___63____debug_tag: 1_____"));

    box.log.clear();
    EXPECT_EQ(ask(1), 1);
    EXPECT_EQ(debug_tag, 0);
    EXPECT_THAT(_DEBUG_LIST_, Each(0U));
    EXPECT_THAT(box.log.lines(), ElementsAre("___56____debug_tag: 1_____", "___63____debug_tag: 0_____"));
}

TEST_F(Debug, EveryModuleHasItsSwitch)
{
    for (uint32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++) {
        EXPECT_EQ(set_time_check_debug_info(id), 1);
        for (uint32_t other = 0; other < TIME_CHECK_MAX_MODULE_NUM; other++)
            EXPECT_EQ(_DEBUG_LIST_[other], other <= id ? 1U : 0U);
    }
}

TEST_F(Debug, RequestsForTwoModulesLeaveTheMasterSwitchWhereItWas)
{
    ask(1);
    ask(2);
    EXPECT_EQ(debug_tag, 0);
    EXPECT_EQ(_DEBUG_LIST_[1], 1U);
    EXPECT_EQ(_DEBUG_LIST_[2], 1U);
}

TEST_F(Debug, AnyValueButZeroTogglesToZero)
{
    debug_tag = 5;
    _DEBUG_LIST_[4] = 7;
    EXPECT_EQ(set_time_check_debug_info(4), 1);
    EXPECT_EQ(debug_tag, 0);
    EXPECT_EQ(_DEBUG_LIST_[4], 0U);
    EXPECT_THAT(box.log.lines(), ElementsAre("___56____debug_tag: 5_____", "___63____debug_tag: 0_____"));
}

TEST_F(Debug, NoModuleChangesNothing)
{
    for (const uint32_t id : {uint32_t{TIME_CHECK_MAX_MODULE_NUM}, 99U, 0xffffffffU}) {
        EXPECT_EQ(ask(id), 0);
        EXPECT_EQ(set_time_check_debug_info(id), 0);
    }
    EXPECT_EQ(debug_tag, 0);
    EXPECT_THAT(_DEBUG_LIST_, Each(0U));
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(Debug, TheOpIsNotLookedAt)
{
    EXPECT_EQ(ask(5, 2), 1);
    EXPECT_EQ(_DEBUG_LIST_[5], 1U);
}

TEST_F(Debug, IdZeroListsTheRegistryFirst)
{
    EXPECT_EQ(ask(0), 1);
    const auto &log = box.log.lines();
    ASSERT_EQ(log.size(), 3U * TIME_CHECK_MAX_MODULE_NUM + 2); // three lines a module, and the two of the switch
    EXPECT_EQ(log[0], "id:0");
    EXPECT_EQ(log[29], "ops_module:time_check_wl_guest,");
    EXPECT_EQ(log[log.size() - 2], "___56____debug_tag: 0_____");
    EXPECT_EQ(log[log.size() - 1], "___63____debug_tag: 1_____");
    EXPECT_EQ(_DEBUG_LIST_[0], 1U);
}

TEST_F(Debug, OtherIdsDoNotListTheRegistry)
{
    ask(3);
    EXPECT_EQ(box.log.lines().size(), 2U);
}

TEST_F(Debug, AMessageReachesTheSwitches)
{
    TimeCheckMsgHandle("somebody", "time_check_debug?op=1,debug_id=5");
    EXPECT_EQ(_DEBUG_LIST_[5], 1U);
    EXPECT_EQ(debug_tag, 1);
    TimeCheckMsgHandle("somebody", "time_check_debug");
    EXPECT_EQ(_DEBUG_LIST_[0], 1U);
    EXPECT_EQ(debug_tag, 0);
    EXPECT_THAT(box.log.lines(), testing::Contains("name:time_check_reboot"));
}

TEST_F(Debug, TheAnswerComesFromTheMasterSwitchAlone)
{
    EXPECT_EQ(get_time_check_debug_info(1), 0);
    _DEBUG_LIST_[1] = 1;
    EXPECT_EQ(get_time_check_debug_info(1), 0);
    _DEBUG_LIST_[1] = 0;
    debug_tag = 1;
    for (uint32_t id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++)
        EXPECT_EQ(get_time_check_debug_info(id), 1);
    EXPECT_EQ(get_time_check_debug_info(TIME_CHECK_MAX_MODULE_NUM), 0);
    EXPECT_EQ(get_time_check_debug_info(0xffffffff), 0);
    debug_tag = 2; // on is 1 exactly
    EXPECT_EQ(get_time_check_debug_info(1), 0);
}

// ---- line kinds ----

// Prints with the daemon's macros from here, so that the function's name is known.
void error_line()
{
    char text[] = "x";
    LOG_ERROR("body %s %d\n", text, 5);
}

void info_line()
{
    LOG_INFO("\t\t body:%d\n", 5);
}

void debug_line(int module)
{
    LOG_DEBUG(module, "body %d\n", 5);
}

void trace_line(DEBUG_LEVEL level)
{
    LOG_TRACE(level, "body %d\n", 5);
}

// Looked at byte by byte, on the terminal that the router shows its log on: its list of lines has no line ends.
class LineKind : public Debug
{
protected:
    template <typename Function>
    std::string printed(Function print)
    {
        testing::internal::CaptureStdout();
        box.log.show(true);
        print();
        box.log.show(false);
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(LineKind, ErrorLinesAreRedAndAlwaysPrinted)
{
    EXPECT_THAT(printed(error_line), MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>error_line\\([0-9]+\\)\\]:"
                                                  "\033\\[mbody x 5\n"));
}

TEST_F(LineKind, InfoLinesAreGreenAndAlwaysPrinted)
{
    EXPECT_THAT(printed(info_line), MatchesRegex("\033\\[1;32m\\[TIMER_CHECK >>info_line\\([0-9]+\\)\\]:"
                                                 "\033\\[m\t\t body:5\n"));
}

TEST_F(LineKind, DebugLinesAreGreenAndPrintedWithTheirModulesSwitchAt1)
{
    EXPECT_EQ(printed([] { debug_line(5); }), "");
    _DEBUG_LIST_[5] = 1;
    EXPECT_THAT(printed([] { debug_line(5); }),
                MatchesRegex("\033\\[1;32m\\[TIMER_CHECK_DEBUG >>debug_line\\([0-9]+\\)\\]:"
                             "\033\\[mbody 5\n"));
    EXPECT_EQ(printed([] { debug_line(4); }), "");
    _DEBUG_LIST_[5] = 2;
    EXPECT_EQ(printed([] { debug_line(5); }), "");
}

TEST_F(LineKind, TraceLinesCarryTheirLevelsColour)
{
    box.store.set("time_check_debug", "on");
    EXPECT_THAT(printed([] { trace_line(DEBUG_NONE); }),
                MatchesRegex("\033\\[0;33m\\[time_check:trace_line:[0-9]+\\] \033\\[0mbody 5\n\033\\[0m"));
    EXPECT_THAT(printed([] { trace_line(DEBUG_INFO); }),
                MatchesRegex("\033\\[0;33m\\[time_check:trace_line:[0-9]+\\] \033\\[0;32mbody 5\n\033\\[0m"));
    EXPECT_THAT(printed([] { trace_line(DEBUG_ERROR); }),
                MatchesRegex("\033\\[0;33m\\[time_check:trace_line:[0-9]+\\] \033\\[0;31mbody 5\n\033\\[0m"));
    EXPECT_THAT(printed([] { trace_line(DEBUG_MAX_LEVEL); }),
                MatchesRegex("\033\\[0;33m\\[time_check:trace_line:[0-9]+\\] \033\\[0;33mbody 5\n\033\\[0m"));
}

TEST_F(LineKind, TraceLinesWaitForTheStoresSwitchErrorsDoNot)
{
    EXPECT_EQ(printed([] { trace_line(DEBUG_INFO); }), "");
    EXPECT_NE(printed([] { trace_line(DEBUG_ERROR); }), "");
    for (const char *value : {"", "off", "1", "ON", "onx", "on and on and on"}) {
        box.store.set("time_check_debug", value);
        EXPECT_EQ(printed([] { trace_line(DEBUG_INFO); }), "") << value;
    }
    box.store.set("time_check_debug", "on");
    EXPECT_NE(printed([] { trace_line(DEBUG_INFO); }), "");
    box.store.set("time_check_debug", "off"); // looked at anew for each line
    EXPECT_EQ(printed([] { trace_line(DEBUG_INFO); }), "");
}

} // namespace
