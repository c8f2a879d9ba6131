// The plain-Linux ground's store between the threads of one process.
#include <atomic>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"

namespace
{

class StoreThreads : public testing::Test
{
protected:
    StoreFolders folders;
};

TEST_F(StoreThreads, ReadWholeValuesWhileAnotherProcessWrites)
{
    const std::string first(3000, 'a');
    const std::string second(5000, 'b');
    SetValue("key", first.c_str());
    std::atomic<bool> done = false;
    std::atomic<int> torn = 0;
    const auto look = [&] {
        while (!done) {
            const std::string value = value_of("key");
            torn += value == first || value == second ? 0 : 1;
        }
    };
    const pid_t writer = fork();
    if (writer == 0) {
        for (int i = 0; i < 2000; i++)
            SetValue("key", i % 2 == 0 ? second.c_str() : first.c_str());
        _exit(0);
    }
    std::thread one(look);
    std::thread other(look);
    waitpid(writer, nullptr, 0);
    done = true;
    one.join();
    other.join();
    EXPECT_EQ(torn, 0);
}

TEST_F(StoreThreads, OfOneProcessWriteInTurn)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; i++)
                EXPECT_EQ(SetValue(("key" + std::to_string(t)).c_str(), std::to_string(i).c_str()), 1);
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(listed(""), "key0=49\nkey1=49\nkey2=49\nkey3=49\n");
}

TEST_F(StoreThreads, MoreThreadsThanReaderPlacesMayComeAndGo)
{
    SetValue("key", "1");
    for (int i = 0; i < 300; i++)
        std::thread([i] { EXPECT_EQ(value_of("key"), "1") << i; }).join();
}

} // namespace
