// The plain-Linux ground's store between the threads of one process.
#include <atomic>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/store/admin.h"
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

// Calls `write` in a process of its own.
template <typename Write>
void by_another_process(Write write)
{
    const pid_t writer = fork();
    if (writer == 0) {
        write();
        _exit(0);
    }
    waitpid(writer, nullptr, 0);
}

TEST_F(StoreThreads, ReadOnWhileTheRunFolderIsRemoved)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    std::atomic<int> reads = 0;
    const auto look = [&] {
        while (!done) {
            wrong += value_of("key") == "1" ? 0 : 1;
            reads++;
        }
    };
    std::thread one(look);
    std::thread other(look);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 30; i++) {
        const int before = reads;
        while (reads < before + 100) // so that both may be in the environment that is replaced
            std::this_thread::yield();
        std::filesystem::remove_all(folders.run());
        config_store_look();
    }
    done = true;
    one.join();
    other.join();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(value_of("key"), "1");
}

TEST_F(StoreThreads, ThatReadNothingAnyMoreDoNotKeepOthersInAReplacedStore)
{
    SetValue("key", "1");
    ASSERT_NE(CommitCfm(), 0);
    std::atomic<bool> has_read = false;
    std::atomic<bool> done = false;
    std::thread idle([&] {
        EXPECT_EQ(value_of("key"), "1");
        has_read = true;
        done.wait(false);
        EXPECT_EQ(value_of("key"), "5");
    });
    while (!has_read)
        std::this_thread::yield();
    testing::internal::CaptureStderr();
    for (int i = 2; i <= 5; i++) {
        std::filesystem::remove_all(folders.run());
        config_store_look();
        EXPECT_EQ(value_of("key"), std::to_string(i - 1));
        EXPECT_EQ(SetValue("key", std::to_string(i).c_str()), 1);
        EXPECT_NE(CommitCfm(), 0) << i;
    }
    testing::internal::GetCapturedStderr();
    done = true;
    done.notify_all();
    idle.join();
}

// What was read before is served again only while nobody has written.
TEST_F(StoreThreads, SeeWhatAnotherProcessWroteAtTheNextRead)
{
    char value[8] = "x";
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(GetValue("key", value), 0);
    for (const char *const written : {"one", "two", "", "three"}) {
        by_another_process([&] { SetValue("key", written); });
        std::thread([&] { EXPECT_EQ(value_of("key"), written); }).join();
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(GetValue("key", value), 1);
            EXPECT_STREQ(value, written);
        }
    }
    by_another_process([] { config_store_unset("key"); });
    EXPECT_EQ(GetValue("key", value), 0);
    EXPECT_STREQ(value, "");
}

TEST_F(StoreThreads, RepeatedReadsCutToEachReadersRoom)
{
    SetValue("key", "0123456789");
    char wide[16];
    char narrow[4];
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(GetValue("key", narrow), 1);
        EXPECT_STREQ(narrow, "012");
        EXPECT_EQ(GetValue("key", wide), 1);
        EXPECT_STREQ(wide, "0123456789");
    }
}

TEST_F(StoreThreads, RepeatedReadsOfManyKeysKeepThemApart)
{
    const auto key = [](int i) { return "wan" + std::to_string(i) + ".key" + std::to_string(i * i); };
    for (int i = 0; i < 300; i++)
        SetValue(key(i).c_str(), std::to_string(i).c_str());
    for (int pass = 0; pass < 2; pass++)
        for (int i = 0; i < 300; i++)
            ASSERT_EQ(value_of(key(i).c_str()), std::to_string(i));
}

// Keys and values on both sides of what is remembered, more of them than that, read in and out of order.
TEST_F(StoreThreads, AnyReadsAndWritesAnswerAsAMapWould)
{
    constexpr unsigned KEYS = 80;
    std::map<std::string, std::string> expected;
    std::mt19937 random(20261121);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random()) % limit; };
    const auto key = [](unsigned i) { // "a" to "d", "aa" to "dd", ..., each eighth longer
        std::string letters;
        for (unsigned rest = i + 1; rest != 0; rest = (rest - 1) / 4)
            letters += static_cast<char>('a' + (rest - 1) % 4);
        return letters + std::string(i % 8 == 0 ? 30 + i / 8 : 0, '.');
    };
    unsigned at = 0;
    for (int step = 0; step < 20000; step++) {
        at = below(10) == 0 ? below(KEYS) : (at + 1) % (step % 4000 < 2000 ? 20 : KEYS);
        const std::string name = key(at);
        const std::string value(below(45), static_cast<char>('a' + below(26)));
        if (below(200) == 0)
            by_another_process([&] { SetValue(name.c_str(), value.c_str()); });
        else if (below(40) == 0)
            SetValue(name.c_str(), value.c_str());
        else {
            char found[64];
            const auto known = expected.find(name);
            ASSERT_EQ(GetValue(name.c_str(), found), known == expected.end() ? 0 : 1) << name << " at " << step;
            ASSERT_EQ(found, known == expected.end() ? "" : known->second) << name << " at " << step;
            continue;
        }
        expected[name] = value;
    }
}

} // namespace
