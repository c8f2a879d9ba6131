// The daemon's end of the bus: messages are handed over inside sleep, on the main thread.
#include "platform/message_bus.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/bus.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"

using namespace std::chrono_literals;

namespace
{

std::vector<std::string> handed_over;
std::thread::id handed_over_on;
std::chrono::steady_clock::time_point handed_over_at;

int take(const char * /*sender*/, const char *text)
{
    handed_over.emplace_back(text);
    handed_over_on = std::this_thread::get_id();
    handed_over_at = std::chrono::steady_clock::now();
    return 0;
}

class MessageBus : public testing::Test
{
protected:
    MessageBus()
    {
        setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
    }

    TemporaryFolder folder;
};

TEST_F(MessageBus, MessagesAreHandedOverInOrderInsideSleepWhichStillLastsItsTime)
{
    in_own_process([] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        for (const char *text : {"one", "two", "three"})
            ASSERT_EQ(bus_post("time_check", text), BUS_DONE);
        EXPECT_TRUE(handed_over.empty());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(sleep(1), 0U);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 990ms);
        EXPECT_EQ(handed_over, (std::vector<std::string>{"one", "two", "three"}));
        EXPECT_EQ(handed_over_on, std::this_thread::get_id());
    });
}

TEST_F(MessageBus, MessageIsHandedOverAtOnce)
{
    in_own_process([] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        std::chrono::steady_clock::time_point posted;
        std::thread poster([&] {
            std::this_thread::sleep_for(200ms);
            posted = std::chrono::steady_clock::now();
            bus_post("time_check", "now");
        });
        sleep(2);
        poster.join();
        ASSERT_EQ(handed_over.size(), 1U);
        EXPECT_LT(handed_over_at - posted, 1s) << "not before the sleep was over";
    });
}

TEST_F(MessageBus, SystemSleepHandsNothingOver)
{
    in_own_process([] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        ASSERT_EQ(bus_post("time_check", "later"), BUS_DONE);
        EXPECT_GE(time_taken([] { system_sleep(1); }), 990ms);
        EXPECT_TRUE(handed_over.empty());
        sleep(1);
        EXPECT_EQ(handed_over.size(), 1U);
    });
}

TEST_F(MessageBus, OtherThreadsOnlySleep)
{
    in_own_process([] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        ASSERT_EQ(bus_post("time_check", "later"), BUS_DONE);
        std::thread other([] { EXPECT_GE(time_taken([] { sleep(1); }), 990ms); });
        other.join();
        EXPECT_TRUE(handed_over.empty());
    });
}

TEST_F(MessageBus, SleepWithoutANameOnlySleeps)
{
    in_own_process([] { EXPECT_GE(time_taken([] { sleep(1); }), 990ms); });
}

int take_slowly(const char *sender, const char *text)
{
    std::this_thread::sleep_for(20ms);
    return take(sender, text);
}

TEST_F(MessageBus, FloodDoesNotHoldUpTheTicks)
{
    in_own_process([] {
        alarm(60); // a sleep that never ends would
        ASSERT_NE(RegMsgHandle("time_check", "*", take_slowly), 0);
        Child flood([] {
            for (;;)
                bus_post("time_check", "again");
        });
        ASSERT_TRUE(comes_true([] {
            sleep(1);
            return !handed_over.empty();
        }));
        const auto taken = time_taken([] { sleep(1); }); // the queue is full all the while
        EXPECT_GE(taken, 990ms);
        EXPECT_LT(taken, 5s);
        flood.kill_now();
    });
}

TEST_F(MessageBus, NameThatIsHeldAndForeignFiltersAreRefused)
{
    in_own_process([] {
        EXPECT_EQ(RegMsgHandle("time_check", "op=*", take), 0);
        EXPECT_EQ(RegMsgHandle("time_check", "*", nullptr), 0);
        Child holder([] {
            bus_end end;
            bus_open("time_check", &end);
            pause();
        });
        ASSERT_TRUE(comes_true([] { return bus_post("time_check", "there?") == BUS_DONE; }));
        const std::string lines = error_lines_of([] { EXPECT_EQ(RegMsgHandle("time_check", "*", take), 0); });
        EXPECT_NE(lines.find("bus: cannot take the name time_check: another process holds the name"), std::string::npos)
            << lines;
        holder.kill_now();
        holder.wait();
        EXPECT_NE(RegMsgHandle("time_check", "*", take), 0);
        EXPECT_EQ(RegMsgHandle("second", "*", take), 0) << "a process holds one name";
    });
}

} // namespace
