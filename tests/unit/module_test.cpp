// The registry: who takes the messages of which module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/message_world.h"
#include "tests/support/router_test.h"
#include "time_check/time_check_dispatch.h"
#include "time_check/time_check_ids.h"
#include "time_check/time_check_module.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Registry : public RouterTest
{
protected:
    void SetUp() override
    {
        RouterTest::SetUp();
        init_time_check_module_entries();
        box.log.clear();
        box.journal.clear();
    }

    static void dispatch(int module, uint32_t op)
    {
        dispatches.clear();
        TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
        msg.op = op;
        handle_time_check_module_msg(module, &msg);
    }

    // The listing's line of handlers of module `id`.
    std::string handlers_of(int id)
    {
        box.log.clear();
        show_time_check_all_module_entries();
        const std::string line = box.log.lines().at(static_cast<size_t>(id) * 3 + 2);
        box.log.clear();
        return line;
    }
};

using EarlyRegistry = RouterTest;

// ---- the list ----

// The nodes behind a head, in the order of one kind of links.
std::vector<const list_node *> nodes(const list_node &head, list_node *list_node::*link)
{
    std::vector<const list_node *> found;
    for (const list_node *node = head.*link; node != &head; node = node->*link)
        found.push_back(node);
    return found;
}

// A list, empty at first, and nodes to put into it.
class ListNode : public RouterTest
{
protected:
    ListNode()
    {
        INIT_LIST_HEAD(&head);
    }
    list_node head;
    list_node a;
    list_node b;
    list_node c;
};

TEST_F(ListNode, AnEmptyHeadPointsAtItself)
{
    EXPECT_EQ(head.next, &head);
    EXPECT_EQ(head.prev, &head);
}

TEST_F(ListNode, AppendInsertsDirectlyAfterThePosition)
{
    list_append(&a, &head);
    list_append(&b, &head); // after the head: in front
    list_append(&c, &b);
    EXPECT_THAT(nodes(head, &list_node::next), ElementsAre(&b, &c, &a));
    EXPECT_THAT(nodes(head, &list_node::prev), ElementsAre(&a, &c, &b));
}

TEST_F(ListNode, DeleteLinksTheNeighboursAndLeavesTheNodesOwnLinks)
{
    list_append(&a, &head);
    list_append(&b, &a);
    list_append(&c, &b);
    list_del(&b);
    EXPECT_THAT(nodes(head, &list_node::next), ElementsAre(&a, &c));
    EXPECT_THAT(nodes(head, &list_node::prev), ElementsAre(&c, &a));
    EXPECT_EQ(b.next, &c);
    EXPECT_EQ(b.prev, &a);
}

TEST_F(ListNode, DeletingBetweenTwoNodesLinksThemToEachOther)
{
    list_node one;
    list_node two;
    __list_del(&one, &two);
    EXPECT_EQ(one.next, &two);
    EXPECT_EQ(two.prev, &one);
}

// ---- the listing ----

TEST_F(Registry, ListingNamesTheModulesAndTheirOwnHandlers)
{
    show_time_check_all_module_entries();
    ASSERT_EQ(box.log.lines().size(), 3U * TIME_CHECK_MAX_MODULE_NUM);
    const Lines first_ten(box.log.lines().begin(), box.log.lines().begin() + 30);
    EXPECT_THAT(first_ten,
                ElementsAre("id:0", "name:time_check_debug", "ops_module:time_check_debug,", "id:1",
                            "name:time_check_reboot", "ops_module:time_check_reboot,", "id:2", "name:time_check_power",
                            "ops_module:time_check_power,", "id:3", "name:time_check_wifi",
                            "ops_module:time_check_wifi,", "id:4", "name:time_check_led", "ops_module:time_check_led,",
                            "id:5", "name:time_check_cpu", "ops_module:time_check_cpu,", "id:6",
                            "name:time_check_daemon", "ops_module:time_check_daemon,", "id:7",
                            "name:time_check_wifi_connect", "ops_module:time_check_wifi_connect,", "id:8",
                            "name:time_check_ap_connect", "ops_module:time_check_ap_connect,", "id:9",
                            "name:time_check_wl_guest", "ops_module:time_check_wl_guest,"));
}

TEST_F(Registry, ListingShowsNoHandlersOnceTheCountIsDownToZero)
{
    const time_check_msg_ops nobody = probe<1>(5, 3);
    unregister_time_check_module_msg_ops(&nobody); // removes none, counts one less
    EXPECT_EQ(handlers_of(3), "ops_module:");
}

TEST_F(Registry, ListingLeavesOutHandlersOfNoModule)
{
    time_check_msg_ops stranger = probe<1>(99, 3);
    ASSERT_EQ(register_time_check_module_msg_ops(&stranger), 1);
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_wifi,");
}

TEST_F(Registry, InitRunsTheModulesInIdOrder)
{
    // Each module prints as it loads; the reboot module's lines come before those of power saving.
    box.log.clear();
    init_time_check_module_entries();
    const auto &log = box.log.lines();
    const auto first_of = [&log](const std::string &function) {
        return std::find_if(log.begin(), log.end(),
                            [&](const std::string &line) { return line.find(">>" + function) != std::string::npos; }) -
               log.begin();
    };
    const auto reboot = first_of("time_check_reboot_info_printf");
    const auto power = first_of("time_check_power_info_printf");
    EXPECT_LT(reboot, power);
    EXPECT_LT(power, static_cast<ptrdiff_t>(log.size()));
}

TEST_F(Registry, InitPrintsItsDebugLineOnlyWithSwitchZeroOn)
{
    init_time_check_module_entries();
    EXPECT_THAT(box.log.bodies(), testing::Not(testing::Contains("init module entries.")));
    _DEBUG_LIST_[0] = 1;
    init_time_check_module_entries();
    EXPECT_THAT(box.log.bodies(), testing::Contains("init module entries."));
}

TEST_F(Registry, InitEmptiesTheListsFirst)
{
    time_check_msg_ops other = probe<1>(3, 3);
    register_time_check_module_msg_ops(&other);
    init_time_check_module_entries();
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), IsEmpty());
}

// ---- names ----

TEST_F(Registry, FindsEachModuleByItsExactName)
{
    const std::vector<std::string> names = {"time_check_debug",   "time_check_reboot",       "time_check_power",
                                            "time_check_wifi",    "time_check_led",          "time_check_cpu",
                                            "time_check_daemon",  "time_check_wifi_connect", "time_check_ap_connect",
                                            "time_check_wl_guest"};
    for (size_t id = 0; id < names.size(); id++)
        EXPECT_EQ(find_time_check_module_id_by_name(names[id].c_str()), static_cast<int>(id)) << names[id];
}

TEST_F(Registry, FoundLineGivesNameAndIdInTheirWidths)
{
    find_time_check_module_id_by_name("time_check_led");
    EXPECT_THAT(box.log.bodies(), ElementsAre("found msg id:{name:time_check_led,id: 4}"));
    EXPECT_THAT(box.log.lines().front(),
                testing::MatchesRegex("\033\\[1;31m\\[TIMER_CHECK >>find_time_check_module_id_by_name\\([0-9]+\\)\\]:"
                                      "\033\\[mfound msg id:\\{name:time_check_led,id: 4\\}"));
}

TEST_F(Registry, UnknownNamesGiveMinusOneAndALineThatNamesTheLastModule)
{
    const std::string line = line_of_unknown_names();
    for (const char *name : {"time_check_", "time_check_led ", " time_check_led", "time_check_ledx", "TIME_CHECK_LED",
                             "time_check_le", "led", ""}) {
        box.log.clear();
        EXPECT_EQ(find_time_check_module_id_by_name(name), -1) << name;
        EXPECT_THAT(box.log.bodies(), ElementsAre(line)) << name;
    }
}

// ---- registration ----

TEST_F(Registry, AnotherHandlerOfTheSameModuleGoesInFront)
{
    time_check_msg_ops first = probe<1>(3, 3);
    time_check_msg_ops second = probe<2>(3, 3);
    EXPECT_EQ(register_time_check_module_msg_ops(&first), 1);
    EXPECT_EQ(register_time_check_module_msg_ops(&second), 1);
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(2, 1));
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_wifi,time_check_wifi,time_check_wifi,");
}

TEST_F(Registry, AListenerGoesSecondBehindTheModulesOwnHandler)
{
    time_check_msg_ops own = probe<1>(3, 3);
    time_check_msg_ops cpu = probe<2>(5, 3);
    time_check_msg_ops daemon = probe<3>(6, 3);
    register_time_check_module_msg_ops(&own);
    register_time_check_module_msg_ops(&cpu);
    register_time_check_module_msg_ops(&daemon);
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(1, 3, 2));
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_wifi,time_check_daemon,time_check_cpu,time_check_wifi,");
}

TEST_F(Registry, AListenerGoesInFrontWhenTheCountIsZero)
{
    const time_check_msg_ops nobody = probe<1>(5, 3);
    unregister_time_check_module_msg_ops(&nobody); // the module's own handler stays, the count is 0
    time_check_msg_ops listener = probe<2>(5, 3);
    register_time_check_module_msg_ops(&listener);
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_cpu,time_check_wifi,");
}

TEST_F(Registry, NoRecordIsRefusedWithoutALine)
{
    EXPECT_EQ(register_time_check_module_msg_ops(nullptr), -1);
    EXPECT_EQ(unregister_time_check_module_msg_ops(nullptr), -1);
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(Registry, RegisteringForNoModuleIsRefusedWithALine)
{
    for (const int id : {-1, int{TIME_CHECK_MAX_MODULE_NUM}, 255}) {
        box.log.clear();
        time_check_msg_ops record = probe<1>(3, id);
        EXPECT_EQ(register_time_check_module_msg_ops(&record), -1);
        EXPECT_THAT(box.log.bodies(), ElementsAre("invalid intent module id:" + std::to_string(id)));
        EXPECT_NE(box.log.lines().front().find(">>register_time_check_module_msg_ops("), std::string::npos);
    }
}

TEST_F(Registry, RegisteringSeveralStopsAtTheFirstFailure)
{
    time_check_msg_ops records[] = {probe<1>(3, 3), probe<2>(3, 99), probe<3>(3, 3)};
    register_time_check_module_msg_opses(records, 3);
    EXPECT_THAT(box.log.bodies(), ElementsAre("invalid intent module id:99", "register msg ops error."));
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(1));
}

TEST_F(Registry, RegisteringSeveralTakesThemInOrder)
{
    time_check_msg_ops records[] = {probe<1>(3, 3), probe<2>(3, 3)};
    register_time_check_module_msg_opses(records, 2);
    EXPECT_THAT(box.log.lines(), IsEmpty());
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(2, 1));
}

TEST_F(Registry, UnregisteringRemovesEveryHandlerOfTheModuleAndCountsOne)
{
    time_check_msg_ops own = probe<1>(3, 3);
    time_check_msg_ops one = probe<2>(5, 3);
    time_check_msg_ops two = probe<3>(5, 3);
    for (time_check_msg_ops *record : {&own, &one, &two})
        register_time_check_module_msg_ops(record);
    const time_check_msg_ops of_cpu = probe<9>(5, 3); // not itself registered: its module counts
    EXPECT_EQ(unregister_time_check_module_msg_ops(&of_cpu), 0);
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(1));
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_wifi,time_check_wifi,");

    // Four were registered and one was counted off: it takes three more until the listing is empty.
    const time_check_msg_ops nobody = probe<9>(7, 3);
    EXPECT_EQ(unregister_time_check_module_msg_ops(&nobody), 0);
    EXPECT_EQ(unregister_time_check_module_msg_ops(&nobody), 0);
    EXPECT_EQ(handlers_of(3), "ops_module:time_check_wifi,time_check_wifi,");
    EXPECT_EQ(unregister_time_check_module_msg_ops(&nobody), 0);
    EXPECT_EQ(handlers_of(3), "ops_module:");
}

TEST_F(Registry, UnregisteringFromNoModuleIsRefusedWithALine)
{
    for (const int id : {-1, int{TIME_CHECK_MAX_MODULE_NUM}}) {
        box.log.clear();
        const time_check_msg_ops record = probe<1>(3, id);
        EXPECT_EQ(unregister_time_check_module_msg_ops(&record), -1);
        EXPECT_THAT(box.log.bodies(), ElementsAre("invalid intent module id:" + std::to_string(id)));
        EXPECT_NE(box.log.lines().front().find(">>unregister_time_check_module_msg_ops("), std::string::npos);
    }
}

// ---- dispatch ----

TEST_F(Registry, OpZeroReachesEveryHandler)
{
    time_check_msg_ops picky = probe<1>(3, 3, 1U << 5);
    register_time_check_module_msg_ops(&picky);
    dispatch(3, OP_DEFAULT);
    EXPECT_THAT(probes_run(), ElementsAre(1));
}

TEST_F(Registry, AnOpReachesHandlersWithItsBitAlone)
{
    time_check_msg_ops five = probe<1>(3, 3, 1U << 5);
    register_time_check_module_msg_ops(&five);
    for (uint32_t op = 1; op < 32; op++) {
        dispatch(3, op);
        EXPECT_EQ(probes_run().size(), op == 5 ? 1U : 0U) << op;
    }
}

TEST_F(Registry, OnlyTheLowFiveBitsOfTheOpAreTested)
{
    time_check_msg_ops five = probe<1>(3, 3, 1U << 5);
    time_check_msg_ops top = probe<2>(3, 3, 1U << 31);
    register_time_check_module_msg_ops(&five);
    register_time_check_module_msg_ops(&top);
    dispatch(3, 37);
    EXPECT_THAT(probes_run(), ElementsAre(1));
    dispatch(3, 0xffffffffU);
    EXPECT_THAT(probes_run(), ElementsAre(2));
    dispatch(3, 32); // bit 0, and not op 0
    EXPECT_THAT(probes_run(), IsEmpty());
}

TEST_F(Registry, ARecordWithoutBitsTakesEveryOp)
{
    time_check_msg_ops all = probe<1>(3, 3, 0);
    register_time_check_module_msg_ops(&all);
    for (const uint32_t op : {0U, 1U, 16U, 31U, 37U, 0xffffffffU}) {
        dispatch(3, op);
        EXPECT_THAT(probes_run(), ElementsAre(1)) << op;
    }
}

TEST_F(Registry, ARecordWithoutHandlerIsPassedOver)
{
    time_check_msg_ops behind = probe<1>(3, 3);
    time_check_msg_ops empty = probe<2>(3, 3);
    empty.ops = nullptr;
    register_time_check_module_msg_ops(&behind);
    register_time_check_module_msg_ops(&empty);
    dispatch(3, 1);
    EXPECT_THAT(probes_run(), ElementsAre(1));
}

TEST_F(Registry, TheModulesOwnHandlersTakeOpsZeroToFifteen)
{
    for (const uint32_t op : {0U, 1U, 15U}) {
        box.log.clear();
        dispatch(TIME_CHECK_REBOOT, op);
        EXPECT_THAT(box.log.bodies(), testing::Contains("SYS_SCHED_REBOOT mode function to be added...")) << op;
    }
    box.log.clear();
    dispatch(TIME_CHECK_REBOOT, 16);
    EXPECT_THAT(box.log.lines(), IsEmpty());
}

TEST_F(Registry, DispatchToNoModuleIsALineAndNothingElse)
{
    for (const int id : {-1, int{TIME_CHECK_MAX_MODULE_NUM}, 99}) {
        box.log.clear();
        dispatch(id, 0);
        EXPECT_THAT(box.log.bodies(), ElementsAre("invalid module_id[" + std::to_string(id) + "]"));
    }
    EXPECT_THAT(box.journal.lines(), IsEmpty());
}

// RegMsgHandle comes before the registry is filled, and a ground may have a message by then.
TEST_F(EarlyRegistry, KnowsNoModuleBeforeItIsFilled)
{
    for (int id = 0; id < TIME_CHECK_MAX_MODULE_NUM; id++) {
        box.log.clear();
        TimeCheckMsgHandle("pid 1", (std::to_string(id) + "?op=1").c_str());
        EXPECT_TRUE(has_body("not found module entry:" + std::to_string(id)));
    }
    time_check_msg_ops record = {}; // of module 0
    EXPECT_EQ(register_time_check_module_msg_ops(&record), -1);
    EXPECT_EQ(unregister_time_check_module_msg_ops(&record), -1);
    box.log.clear();
    show_time_check_all_module_entries();
    EXPECT_TRUE(box.log.lines().empty());
    init_time_check_module_entries();
    EXPECT_EQ(register_time_check_module_msg_ops(&record), 1);
}

TEST_F(Registry, DispatchPrintsItsDebugLineOnlyWithSwitchZeroOn)
{
    TIME_CHECK_MODULES_COMMON_STRUCT msg = {};
    msg.op = 16;
    handle_time_check_module_msg(TIME_CHECK_LED, &msg);
    EXPECT_THAT(box.log.lines(), IsEmpty());
    _DEBUG_LIST_[1] = 1; // another module's switch
    handle_time_check_module_msg(TIME_CHECK_LED, &msg);
    EXPECT_THAT(box.log.lines(), IsEmpty());
    _DEBUG_LIST_[0] = 1;
    handle_time_check_module_msg(TIME_CHECK_LED, &msg);
    EXPECT_THAT(box.log.bodies(), ElementsAre("start handle module[ 4,time_check_led]'s msg,op=16."));
}

} // namespace
