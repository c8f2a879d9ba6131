// The daemon's end of the bus: messages are handed over inside sleep, on the main thread.
#include "platform/message_bus.h"

#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/bus.h"
#include "platform/linux/store/state.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"

using namespace std::chrono_literals;

// The main loop's wait for messages, which a test may cut short: a minute of sleeps is over at once then.
static bool waits_are_over_at_once;

extern "C" int ppoll(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *mask)
{
    static constexpr timespec NOTHING = {};
    timespec left = waits_are_over_at_once ? NOTHING : *timeout; // the kernel changes it
    return static_cast<int>(syscall(SYS_ppoll, descriptors, count, &left, mask, 8));
}

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
        setenv("TIME_CHECK_RUN_DIR", run().c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", (folder.path() / "conf").c_str(), 1);
    }
    ~MessageBus() override
    {
        waits_are_over_at_once = false;
    }
    std::filesystem::path run() const
    {
        return folder.path() / "run";
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
        sleep(5);
        poster.join();
        ASSERT_EQ(handed_over.size(), 1U);
        EXPECT_LT(handed_over_at - posted, 4s) << "not before the sleep was over";
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

// ---- what happens to the run directory ----

void sleep_for_a_minute()
{
    waits_are_over_at_once = true;
    for (int second = 0; second < 60; second++)
        sleep(1);
    waits_are_over_at_once = false;
}

TEST_F(MessageBus, NameIsTakenAgainWithinAMinuteWhenItsSocketWasRemoved)
{
    in_own_process([&] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        for (const char *const removed : {"bus.time_check", "bus.time_check.lock", ""}) {
            std::filesystem::remove_all(run() / removed);
            const std::string lines = error_lines_of(sleep_for_a_minute);
            EXPECT_NE(lines.find("bus: the name's socket was removed: bound again"), std::string::npos) << lines;
            EXPECT_EQ(bus_post("time_check", removed), BUS_DONE);
            sleep(1);
            ASSERT_FALSE(handed_over.empty());
            EXPECT_EQ(handed_over.back(), removed);
            EXPECT_EQ(error_lines_of(sleep_for_a_minute), "");
            bus_end second = {};
            EXPECT_EQ(bus_open("time_check", &second), BUS_HELD);
        }
    });
}

TEST_F(MessageBus, MessagesThatWaitedAtARemovedSocketAreHandedOver)
{
    in_own_process([&] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        waits_are_over_at_once = true;
        for (int second = 0; second < 59; second++)
            sleep(1);
        ASSERT_EQ(bus_post("time_check", "first"), BUS_DONE);
        ASSERT_EQ(bus_post("time_check", "second"), BUS_DONE);
        std::filesystem::remove_all(run());
        error_lines_of([] { sleep(1); });
        EXPECT_EQ(handed_over, (std::vector<std::string>{"first", "second"}));
    });
}

TEST_F(MessageBus, NameThatAnotherTookMeanwhileIsLeftToHim)
{
    in_own_process([&] {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        std::filesystem::remove_all(run());
        bus_end other = {};
        ASSERT_EQ(bus_open("time_check", &other), BUS_DONE);
        const std::string lines = error_lines_of(sleep_for_a_minute);
        EXPECT_NE(lines.find("bus: the name's socket was removed: another process holds the name"), std::string::npos)
            << lines;
        EXPECT_EQ(bus_post("time_check", "to the other"), BUS_DONE);
        bus_message message;
        EXPECT_EQ(bus_receive(&other, &message), BUS_DONE);
        bus_close(&other);
        error_lines_of(sleep_for_a_minute);
        EXPECT_EQ(bus_post("time_check", "to us"), BUS_DONE);
        sleep(1);
        EXPECT_EQ(handed_over, std::vector<std::string>{"to us"});
    });
}

TEST_F(MessageBus, NameIsNotTakenBeforeTheStoreCanBeOpened)
{
    Child holder([] {
        store_state_open();
        store_take(STORE_OPEN_LOCK);
        bus_end end = {};
        bus_open("holder", &end);
        pause();
    });
    ASSERT_TRUE(comes_true([] { return bus_post("holder", "there?") == BUS_DONE; }));
    const std::filesystem::path log = folder.path() / "log";
    Child daemon([&] {
        if (freopen(log.c_str(), "w", stderr) == nullptr || RegMsgHandle("time_check", "*", take) == 0)
            _exit(1);
        pause();
    });
    const std::string line = "store: waiting until it can be opened\n";
    ASSERT_TRUE(comes_true([&] { return text_of(log).find(line) != std::string::npos; }));
    EXPECT_NE(text_of(log).find("is opening it and did not let go"), std::string::npos) << text_of(log);
    std::this_thread::sleep_for(3s); // an attempt or two more
    EXPECT_EQ(bus_post("time_check", "there?"), BUS_NO_HOLDER);
    EXPECT_EQ(text_of(log).find(line), text_of(log).rfind(line)) << text_of(log);
    holder.kill_now();
    EXPECT_TRUE(comes_true([] { return bus_post("time_check", "there?") == BUS_DONE; })) << text_of(log);
}

} // namespace
