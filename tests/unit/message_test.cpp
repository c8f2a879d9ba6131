// Control messages: from the text to the handler.
#include <array>
#include <cstring>
#include <malloc.h>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/message_world.h"
#include "tests/support/router_test.h"
#include "time_check/time_check.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// Each of the first ten modules gets a probe in front of its own handler; a probe's number is its module's id.
class Message : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        init_time_check_module_entries();
        probes_[0] = probe<0>(0, 0);
        probes_[1] = probe<1>(1, 1);
        probes_[2] = probe<2>(2, 2);
        probes_[3] = probe<3>(3, 3);
        probes_[4] = probe<4>(4, 4);
        probes_[5] = probe<5>(5, 5);
        probes_[6] = probe<6>(6, 6);
        probes_[7] = probe<7>(7, 7);
        probes_[8] = probe<8>(8, 8);
        probes_[9] = probe<9>(9, 9);
        register_time_check_module_msg_opses(probes_, PROBES);
        unknown_name_ = line_of_unknown_names();
    }

    int send(const std::string &text)
    {
        return send_text(text.c_str());
    }

    int send_text(const char *text)
    {
        dispatches.clear();
        box.log.clear();
        return TimeCheckMsgHandle("somebody", text);
    }

    // The one message that was dispatched, all zero (and a failure) when it was not one.
    static dispatched only_one()
    {
        EXPECT_EQ(dispatches.size(), 1U);
        return dispatches.size() == 1 ? dispatches.front() : dispatched{-1, {}};
    }

    // The first line that the decoder printed, which comes before any of a handler's.
    std::string first_body() const
    {
        const auto bodies = box.log.bodies();
        return bodies.empty() ? "" : bodies.front();
    }

    std::string unknown_name_; // the line of one

private:
    static constexpr int PROBES = 10;
    time_check_msg_ops probes_[PROBES] = {};
};

// ---- the module ----

TEST_F(Message, ANameAndAnOpReachTheModule)
{
    EXPECT_EQ(send("time_check_led?op=2"), 0);
    const dispatched one = only_one();
    EXPECT_EQ(one.handler, TIME_CHECK_LED);
    EXPECT_EQ(one.msg.op, 2U);
    EXPECT_EQ(first_body(), "found msg id:{name:time_check_led,id: 4}");
}

TEST_F(Message, ANumberMeansTheSameAsTheName)
{
    send("1?op=6");
    const dispatched one = only_one();
    EXPECT_EQ(one.handler, TIME_CHECK_REBOOT);
    EXPECT_EQ(one.msg.op, 6U);
    EXPECT_EQ(first_body(), "key = op,value = 6"); // a number is not looked up
}

TEST_F(Message, ABareModuleGetsAnEmptyMessage)
{
    send("3");
    const dispatched one = only_one();
    EXPECT_EQ(one.handler, TIME_CHECK_WIFI);
    EXPECT_EQ(one.msg.op, 0U);
    EXPECT_EQ(one.msg.debug_id, 0U);
    EXPECT_EQ(one.msg.relate_module_id, 0U);
    EXPECT_STREQ(one.msg.string_info, "");
}

TEST_F(Message, EachNumberReachesItsModule)
{
    for (int id = 0; id < 10; id++) {
        send(std::to_string(id) + "?op=16"); // taken by no handler that goes by its bits
        EXPECT_THAT(probes_run(), IsEmpty()) << id;
        send(std::to_string(id));
        EXPECT_THAT(probes_run(), ElementsAre(id));
    }
}

TEST_F(Message, TheLeadingNumberOfTheModuleCounts)
{
    send("1abc?op=1");
    EXPECT_EQ(only_one().handler, TIME_CHECK_REBOOT);
    send("04");
    EXPECT_EQ(only_one().handler, TIME_CHECK_LED);
}

TEST_F(Message, ANumberOfNoModuleIsDroppedWithoutALine)
{
    const std::string first = std::to_string(TIME_CHECK_MAX_MODULE_NUM);
    for (const char *text : {first.c_str(), "99", "99?op=1", "99999999999", "2147483648", "4294967297"}) {
        EXPECT_EQ(send(text), 0);
        EXPECT_THAT(dispatches, IsEmpty()) << text;
        EXPECT_THAT(box.log.bodies(), testing::Not(testing::Contains(testing::HasSubstr("module_id")))) << text;
    }
    send("99?op=1");
    EXPECT_THAT(box.log.bodies(), ElementsAre("key = op,value = 1")); // decoded all the same
}

TEST_F(Message, NamesThatAlmostMatchAreDropped)
{
    for (const char *text : {"time_check_ledd", "time_check_le", "Time_check_led", "time_check_led ", " time_check_led",
                             "op=1", "led", "-1", "+4", " 4"}) {
        EXPECT_EQ(send(text), 0);
        EXPECT_THAT(dispatches, IsEmpty()) << text;
        EXPECT_THAT(box.log.bodies(), ElementsAre(unknown_name_)) << text;
    }
}

TEST_F(Message, AnEmptyTextIsAnUnknownName)
{
    EXPECT_EQ(send(""), 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre(unknown_name_));
    EXPECT_THAT(dispatches, IsEmpty());
}

TEST_F(Message, NoTextIsAnInvalidParameter)
{
    EXPECT_EQ(send_text(nullptr), 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre("invalid param."));
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>parse_time_check_msg_string\\([0-9]+\\)\\]:"
                                      "\033\\[minvalid param\\."));
    EXPECT_THAT(dispatches, IsEmpty());
}

TEST_F(Message, WithoutRoomForArgumentsNothingIsWritten)
{
    int32_t id = 77;
    parse_time_check_msg_string("3", &id, nullptr);
    EXPECT_EQ(id, 77);
    EXPECT_THAT(box.log.bodies(), ElementsAre("invalid param."));
}

// ---- "?" ----

TEST_F(Message, AQuestionMarkAloneNamesNoModule)
{
    for (const char *text : {"?", "???"}) {
        EXPECT_EQ(send(text), 0);
        EXPECT_THAT(dispatches, IsEmpty()) << text;
    }
    send("?");
    EXPECT_THAT(box.log.lines(), IsEmpty());
    send("??"); // what follows the first one is an item without "="
    EXPECT_THAT(box.log.bodies(), ElementsAre("key = ?,value = "));
}

TEST_F(Message, LeadingQuestionMarksAreSkippedForTheModule)
{
    send("?4?op=2");
    EXPECT_EQ(only_one().handler, TIME_CHECK_LED);
    EXPECT_EQ(first_body(), "key = 4?op,value = 2"); // the arguments begin after the first one
    EXPECT_EQ(only_one().msg.op, 0U);
}

TEST_F(Message, ATextThatBeginsWithAQuestionMarkTakesTheNextWordAsModule)
{
    send("?op=1");
    EXPECT_THAT(dispatches, IsEmpty());
    EXPECT_THAT(box.log.bodies(), ElementsAre(unknown_name_, "key = op,value = 1"));
}

TEST_F(Message, FurtherQuestionMarksBelongToTheArguments)
{
    send("3?string_info=a?b");
    EXPECT_STREQ(only_one().msg.string_info, "a?b");
    send("3?op=1?op=2");
    EXPECT_EQ(only_one().msg.op, 1U);
}

TEST_F(Message, AModuleWithAQuestionMarkAndNothingElseIsABareModule)
{
    send("time_check_led?");
    EXPECT_EQ(only_one().handler, TIME_CHECK_LED);
    EXPECT_EQ(only_one().msg.op, 0U);
}

// ---- length ----

TEST_F(Message, ATextOf256CharactersIsTaken)
{
    const std::string text = "3?op=5," + std::string(249, 'x');
    ASSERT_EQ(text.size(), 256U);
    EXPECT_EQ(send(text), 0);
    EXPECT_EQ(only_one().msg.op, 5U);
}

TEST_F(Message, ATextOf257CharactersIsRefused)
{
    const std::string text = "3?op=5," + std::string(250, 'x');
    ASSERT_EQ(text.size(), 257U);
    EXPECT_EQ(send(text), 0);
    EXPECT_THAT(box.log.bodies(), ElementsAre("current support len:256"));
    EXPECT_THAT(dispatches, IsEmpty());
}

TEST_F(Message, A256CharacterTextThatBeginsWithAQuestionMarkFillsTheArguments)
{
    send("?" + std::string(255, 'x'));
    EXPECT_THAT(dispatches, IsEmpty());
    EXPECT_THAT(box.log.bodies(), ElementsAre(unknown_name_, "key = " + std::string(31, 'x') + ",value = "));
}

TEST_F(Message, A256CharacterModuleNameIsAnUnknownName)
{
    send(std::string(256, 'm'));
    EXPECT_THAT(box.log.bodies(), ElementsAre(unknown_name_));
}

TEST_F(Message, The127thCharacterOfTheArgumentsCountsAndThe128thDoesNot)
{
    const std::string filler = "string_info=" + std::string(110, 'x'); // 122 characters
    send("3?" + filler + ",op=5");                                     // the 5 is the 127th
    EXPECT_EQ(only_one().msg.op, 5U);
    send("3?" + filler + ",op=56"); // the 6 is the 128th
    EXPECT_EQ(only_one().msg.op, 5U);
}

TEST_F(Message, ALongStringIsCutWithTheArguments)
{
    send("3?string_info=" + std::string(200, 'x'));
    EXPECT_EQ(std::string(only_one().msg.string_info), std::string(115, 'x'));
}

// ---- items ----

TEST_F(Message, EveryKeyHasItsField)
{
    send("3?op=1,debug_id=2,relate_module_id=19,string_info=abc");
    const dispatched one = only_one();
    EXPECT_EQ(one.msg.op, 1U);
    EXPECT_EQ(one.msg.debug_id, 2U);
    EXPECT_EQ(one.msg.relate_module_id, 19U);
    EXPECT_STREQ(one.msg.string_info, "abc");
    const auto bodies = box.log.bodies();
    ASSERT_GE(bodies.size(), 4U);
    EXPECT_EQ(bodies[0], "key = op,value = 1");
    EXPECT_EQ(bodies[1], "key = debug_id,value = 2");
    EXPECT_EQ(bodies[2], "key = relate_module_id,value = 19");
    EXPECT_EQ(bodies[3], "key = string_info,value = abc");
}

TEST_F(Message, TheKeyLineIsAnErrorLineOfTheDecoder)
{
    send("99?op=1");
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>init_time_check_module_var\\([0-9]+\\)\\]:"
                                      "\033\\[mkey = op,value = 1"));
}

TEST_F(Message, TheLaterOfTwoItemsCounts)
{
    send("3?op=6,op=7");
    EXPECT_EQ(only_one().msg.op, 7U);
}

TEST_F(Message, NothingOfAMessageIsLeftForTheNext)
{
    send("3?op=6,debug_id=3,relate_module_id=19,string_info=abc");
    send("3");
    EXPECT_EQ(only_one().msg.op, 0U);
    EXPECT_EQ(only_one().msg.debug_id, 0U);
    EXPECT_EQ(only_one().msg.relate_module_id, 0U);
    for (const char c : only_one().msg.string_info)
        EXPECT_EQ(c, '\0');
}

TEST_F(Message, AnItemWithoutEqualsHasAnEmptyValue)
{
    send("3?op=6,op");
    EXPECT_EQ(only_one().msg.op, 0U);
    EXPECT_EQ(box.log.bodies().at(1), "key = op,value = ");
}

TEST_F(Message, AnItemWithoutValueIsEmpty)
{
    send("3?op=");
    EXPECT_EQ(only_one().msg.op, 0U);
    EXPECT_EQ(first_body(), "key = op,value = ");
}

TEST_F(Message, AnItemThatBeginsWithEqualsHasAnEmptyKey)
{
    send("3?=5,op=2");
    EXPECT_EQ(first_body(), "key = ,value = 5");
    EXPECT_EQ(only_one().msg.op, 2U);
}

TEST_F(Message, TheValueBeginsAfterTheFirstEquals)
{
    send("3?string_info=a=b");
    EXPECT_STREQ(only_one().msg.string_info, "a=b");
}

TEST_F(Message, ABlankEndsTheValue)
{
    send("3?string_info=abc def,op=1");
    EXPECT_STREQ(only_one().msg.string_info, "abc");
    EXPECT_EQ(only_one().msg.op, 1U);
    send("3?string_info=abc\tdef");
    EXPECT_STREQ(only_one().msg.string_info, "abc");
}

TEST_F(Message, BlanksBeforeTheValueAreSkipped)
{
    send("3?op=  5");
    EXPECT_EQ(only_one().msg.op, 5U);
    EXPECT_EQ(first_body(), "key = op,value = 5");
}

TEST_F(Message, ABlankInTheKeyMakesItAnotherKey)
{
    send("3? op=5,op =6");
    EXPECT_EQ(only_one().msg.op, 0U);
    EXPECT_EQ(box.log.bodies().at(0), "key =  op,value = 5");
    EXPECT_EQ(box.log.bodies().at(1), "key = op ,value = 6");
}

TEST_F(Message, EmptyItemsAreSkipped)
{
    send("99?,,op=1,,,debug_id=2,");
    EXPECT_THAT(box.log.bodies(), ElementsAre("key = op,value = 1", "key = debug_id,value = 2"));
}

TEST_F(Message, ALongKeyIsCutAndItsValueStillRead)
{
    send("3?" + std::string(40, 'k') + "=5,op=2");
    EXPECT_EQ(first_body(), "key = " + std::string(31, 'k') + ",value = 5");
    EXPECT_EQ(only_one().msg.op, 2U);
}

TEST_F(Message, UnknownKeysAreIgnored)
{
    send("99?opp=1,OP=2,string=x");
    EXPECT_THAT(box.log.bodies(), ElementsAre("key = opp,value = 1", "key = OP,value = 2", "key = string,value = x"));
    EXPECT_EQ(modules_var.op, 0U);
    EXPECT_STREQ(modules_var.string_info, "");
}

TEST_F(Message, NumbersAreTheLeadingIntegerSaturatingAt32Bits)
{
    send("3?op=5x,debug_id=abc,relate_module_id=99999999999");
    EXPECT_EQ(only_one().msg.op, 5U);
    EXPECT_EQ(only_one().msg.debug_id, 0U);
    EXPECT_EQ(only_one().msg.relate_module_id, 2147483647U);
    send("99?op=-1");
    EXPECT_EQ(modules_var.op, 0xffffffffU);
}

// ---- the table of keys ----

TEST_F(Message, TheTableHasItsFiveRows)
{
    EXPECT_STREQ(var_table[0].var, "op");
    EXPECT_EQ(var_table[0].value, &modules_var.op);
    EXPECT_EQ(var_table[0].type, VAR_TYPE_NUM);
    EXPECT_STREQ(var_table[1].var, "debug_id");
    EXPECT_EQ(var_table[1].value, &modules_var.debug_id);
    EXPECT_EQ(var_table[1].type, VAR_TYPE_NUM);
    EXPECT_STREQ(var_table[2].var, "relate_module_id");
    EXPECT_EQ(var_table[2].value, &modules_var.relate_module_id);
    EXPECT_EQ(var_table[2].type, VAR_TYPE_NUM);
    EXPECT_STREQ(var_table[3].var, "string_info");
    EXPECT_EQ(var_table[3].value, modules_var.string_info);
    EXPECT_EQ(var_table[3].type, VAR_TYPE_STR);
    EXPECT_EQ(var_table[4].var, nullptr);
    EXPECT_EQ(var_table[4].value, nullptr);
    EXPECT_EQ(var_table[4].type, VAR_TYPE_NONE);
}

// The variable as its bytes lie in memory, which on either byte order begins with what was stored.
static std::array<uint8_t, 4> bytes_of_op()
{
    std::array<uint8_t, 4> bytes = {};
    memcpy(bytes.data(), &modules_var.op, sizeof bytes);
    return bytes;
}

TEST_F(Message, ABoolIsTheLowEightBits)
{
    var_table[0].type = VAR_TYPE_BOOL;
    modules_var.op = 0xaaaaaaaa;
    set_time_check_module_var("op", "511");
    EXPECT_THAT(bytes_of_op(), ElementsAre(0xff, 0xaa, 0xaa, 0xaa));
    set_time_check_module_var("op", "256");
    EXPECT_THAT(bytes_of_op(), ElementsAre(0x00, 0xaa, 0xaa, 0xaa));
}

TEST_F(Message, AShortIsTheLowSixteenBits)
{
    var_table[0].type = VAR_TYPE_SHORT;
    modules_var.op = 0xaaaaaaaa;
    set_time_check_module_var("op", "65539");
    int16_t stored = 0;
    memcpy(&stored, &modules_var.op, sizeof stored);
    EXPECT_EQ(stored, 3);
    EXPECT_EQ(bytes_of_op()[2], 0xaa);
    EXPECT_EQ(bytes_of_op()[3], 0xaa);
}

TEST_F(Message, AnotherTypeIsALineAndStoresNothing)
{
    modules_var.op = 7;
    for (const int type : {0, 5, 99}) {
        box.log.clear();
        memcpy(&var_table[0].type, &type, sizeof type);
        set_time_check_module_var("op", "5");
        EXPECT_THAT(box.log.bodies(), ElementsAre("invalid var type:" + std::to_string(type)));
        EXPECT_EQ(modules_var.op, 7U);
    }
}

TEST_F(Message, EveryRowOfAKeyIsFilled)
{
    var_table[1].var = "op";
    set_time_check_module_var("op", "5");
    EXPECT_EQ(modules_var.op, 5U);
    EXPECT_EQ(modules_var.debug_id, 5U);
}

// ---- many ----

TEST_F(Message, AHundredThousandMessagesAllArriveInOrder)
{
    box.log.keep(false);
    uint32_t arrived = 0;
    size_t held = 0;
    for (uint32_t i = 0; i < 100000; i++) {
        send("99?debug_id=" + std::to_string(i)); // decoded, and no module's business
        arrived += modules_var.debug_id == i ? 1 : 0;
        if (i == 1000)
            held = mallinfo2().uordblks;
    }
    EXPECT_EQ(arrived, 100000U);
    EXPECT_LE(mallinfo2().uordblks, held + 1000); // nothing grows

    box.log.keep(true);
    send("time_check_led?op=2");
    EXPECT_EQ(only_one().handler, TIME_CHECK_LED);
}

} // namespace
