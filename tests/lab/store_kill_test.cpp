// The store among processes that are killed or stopped at any moment. Real processes, real time; only children of the
// test are killed, by their number.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/store/change.h"
#include "platform/linux/store/environment.h"
#include "platform/linux/store/state.h"
#include "platform/linux/store/text.h"
#include "tests/contract/config_store_folders.h"

namespace
{

constexpr int KILLS = 1000;
constexpr size_t PROCESSES = 3; // at work at a time

// ---- the processes that are killed ----

int number_in(MDB_txn *transaction)
{
    std::string name = "pair.a";
    MDB_val key = {name.size(), name.data()};
    MDB_val value = {};
    if (mdb_get(transaction, STORE_DATABASE, &key, &value) != 0)
        return 0;
    return std::atoi(std::string(static_cast<const char *>(value.mv_data), value.mv_size).c_str());
}

// Counts both halves of a pair on, in one transaction, and a padding that moves pages about.
int count_on(MDB_txn *transaction, void * /*context*/)
{
    const int number = number_in(transaction) + 1;
    const std::string text = std::to_string(number);
    const std::string padding(static_cast<size_t>(number % 7) * 1500, 'p');
    int rc = store_put(transaction, "pair.a", text.c_str());
    if (rc == 0)
        rc = store_put(transaction, "padding", padding.c_str());
    return rc == 0 ? store_put(transaction, "pair.b", text.c_str()) : rc;
}

[[noreturn]] void write_for_ever()
{
    for (;;) {
        store_change_by(count_on, nullptr);
        usleep(20); // so that the test's own writes come through soon
    }
}

[[noreturn]] void commit_for_ever()
{
    for (;;) {
        store_change_by(count_on, nullptr);
        CommitCfm();
    }
}

[[noreturn]] void read_for_ever()
{
    std::array<char, 16> value = {};
    for (;;)
        GetValue("pair.a", value.data(), value.size());
}

pid_t start(const std::function<void()> &act)
{
    const pid_t child = fork();
    if (child == 0) {
        act();
        _exit(0);
    }
    return child;
}

pid_t start_cfm(std::vector<std::string> words)
{
    words.insert(words.begin(), "cfm");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return start([&] { execv(CFM_PROGRAM, arguments.data()); });
}

pid_t start_one(unsigned kind)
{
    switch (kind) {
    case 0:
        return start(write_for_ever);
    case 1:
        return start(commit_for_ever);
    default:
        return start(read_for_ever);
    }
}

void kill_child(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// ---- what must hold whenever one was killed ----

// The number that both halves of the pair have in a text; -1 when they differ or one is missing.
int number_of_pair(const std::string &text)
{
    std::istringstream lines(text);
    std::string a = "none";
    std::string b = "none too";
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("pair.a=", 0) == 0)
            a = line.substr(7);
        if (line.rfind("pair.b=", 0) == 0)
            b = line.substr(7);
    }
    return a == b ? std::atoi(a.c_str()) : -1;
}

// The running store is readable, whole, no older than before, and writable.
void look_at_running_store(int &number)
{
    const std::string text = listed("pair.");
    const int now = number_of_pair(text);
    ASSERT_GE(now, number) << text;
    number = now;
    ASSERT_EQ(SetValue("test", std::to_string(rand()).c_str()), 1);
}

// The committed file is whole and no older than before.
void look_at_committed_file(const std::filesystem::path &path, int &number)
{
    const std::string text = read_file(path);
    const char *damage = store_text_damage(text.data(), text.size());
    ASSERT_EQ(damage, nullptr) << damage << ":\n" << text;
    const int now = number_of_pair(text);
    ASSERT_GE(now, number);
    number = now;
}

unsigned below(std::mt19937 &random, unsigned limit)
{
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(random);
}

class StoreOfTheKilled : public testing::Test
{
protected:
    void TearDown() override
    {
        for (const pid_t child : children)
            kill_child(child);
    }

    StoreFolders folders;
    std::vector<pid_t> children;
};

TEST_F(StoreOfTheKilled, StaysReadableCompleteAndWritableAndTheFileOldOrNew)
{
    std::mt19937 random(std::random_device{}());
    ASSERT_EQ(store_change_by(count_on, nullptr), 0);
    ASSERT_NE(CommitCfm(), 0);
    int running = 1;
    int committed = 1;
    for (unsigned i = 0; i < PROCESSES; i++)
        children.push_back(start_one(i));
    for (int kills = 0; kills < KILLS; kills++) {
        usleep(below(random, 6000));
        pid_t &child = children[below(random, PROCESSES)];
        kill_child(child);
        ASSERT_NO_FATAL_FAILURE(look_at_running_store(running)) << "after " << kills << " kills";
        ASSERT_NO_FATAL_FAILURE(look_at_committed_file(folders.committed(), committed))
            << "after " << kills << " kills";
        child = start_one(below(random, 3));
    }
    EXPECT_GT(running, KILLS / 10) << "the processes did not get to work";
    EXPECT_GT(committed, KILLS / 100) << "the processes did not get to commit";

    for (const pid_t child : children)
        kill_child(child);
    children.clear();
    EXPECT_NE(CommitCfm(), 0);
    folders.restart();
    const std::string text = listed("pair.");
    EXPECT_GE(number_of_pair(text), committed);
}

TEST_F(StoreOfTheKilled, HoldsTheOldOrTheNewValueOfAKilledCfm)
{
    std::mt19937 random(std::random_device{}());
    std::string before = "0";
    std::string committed_before = "0";
    int taken = 0;
    const auto began = std::chrono::steady_clock::now();
    waitpid(start_cfm({"set", "count", "0"}), nullptr, 0);
    const auto one_run =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - began);
    const auto longest = static_cast<unsigned>(2 * one_run.count());
    ASSERT_NE(CommitCfm(), 0);
    for (int i = 1; i <= KILLS / 2; i++) {
        const pid_t setter = start_cfm({"set", "count", std::to_string(i)});
        usleep(below(random, longest));
        kill_child(setter);
        // A setter killed just before it makes its change known has made it all the same: a later one finds that out.
        const std::string now = value_of("count");
        ASSERT_TRUE(std::stoi(before) <= std::stoi(now) && std::stoi(now) <= i)
            << now << ", was " << before << ", then set to " << i;
        taken += now == before ? 0 : 1;
        before = now;

        const pid_t committer = start_cfm({"commit"});
        usleep(below(random, longest));
        kill_child(committer);
        const std::string text = read_file(folders.committed());
        ASSERT_EQ(store_text_damage(text.data(), text.size()), nullptr) << text;
        const std::string committed = text.substr(6, text.find('\n') - 6); // "count=N"
        ASSERT_TRUE(committed == committed_before || committed == now) << committed << ", was " << committed_before;
        committed_before = committed;
    }
    EXPECT_GT(taken, 0) << "every one was killed too early";
    EXPECT_LT(taken, KILLS / 2) << "every one was killed too late";
    EXPECT_EQ(SetValue("count", "last"), 1);
    EXPECT_NE(CommitCfm(), 0);
}

// ---- stopped processes ----

// A change whose process is stopped in the middle of it.
int stop_in_change(MDB_txn * /*transaction*/, void * /*context*/)
{
    raise(SIGSTOP);
    return 0;
}

class StoreOfTheStopped : public StoreOfTheKilled
{
protected:
    // Starts a process and waits until it has stopped itself.
    pid_t start_stopped(const std::function<void()> &act)
    {
        EXPECT_EQ(SetValue("key", "1"), 1);
        const pid_t child = start(act);
        children.push_back(child);
        EXPECT_EQ(waitpid(child, nullptr, WUNTRACED), child);
        return child;
    }
    // Seconds that an act takes.
    static double seconds(const std::function<void()> &act)
    {
        const auto before = std::chrono::steady_clock::now();
        act();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
    }
    static std::string said(const std::function<void()> &act)
    {
        testing::internal::CaptureStderr();
        act();
        return testing::internal::GetCapturedStderr();
    }
    static int exit_status(pid_t child)
    {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(StoreOfTheStopped, WriterMakesOthersFailWithALineInsteadOfHanging)
{
    const pid_t writer = start_stopped([] { store_change_by(stop_in_change, nullptr); });
    double waited = 0;
    const std::string lines = said([&] { waited = seconds([] { EXPECT_EQ(SetValue("key", "2"), 0); }); });
    EXPECT_GE(waited, 1.9);
    EXPECT_LT(waited, 10);
    EXPECT_NE(lines.find("process " + std::to_string(writer) + " is writing it and did not let go within 2 s\n"),
              std::string::npos)
        << lines;
    EXPECT_NE(lines.find("store: 'key' is not set\n"), std::string::npos) << lines;

    kill(writer, SIGCONT);
    EXPECT_EQ(exit_status(writer), 0);
    children.clear();
    EXPECT_EQ(SetValue("key", "3"), 1);
}

TEST_F(StoreOfTheStopped, WriterDoesNotKeepOthersFromReading)
{
    start_stopped([] { store_change_by(stop_in_change, nullptr); });
    EXPECT_EQ(value_of("key"), "1");
    EXPECT_EQ(exit_status(start_cfm({"get", "key"})), 0);
    EXPECT_NE(CommitCfm(), 0);
}

TEST_F(StoreOfTheStopped, WriterThatIsThenKilledLeavesTheStoreWritable)
{
    kill_child(start_stopped([] { store_change_by(stop_in_change, nullptr); }));
    children.clear();
    EXPECT_EQ(SetValue("key", "2"), 1);
    EXPECT_EQ(value_of("key"), "2");
}

TEST_F(StoreOfTheStopped, OpenerKeepsOnlyNewProcessesOutAndTheySayWhy)
{
    start_stopped([] {
        store_environment();
        store_take(STORE_OPEN_LOCK);
        raise(SIGSTOP);
    });
    EXPECT_EQ(value_of("key"), "1");
    EXPECT_EQ(SetValue("key", "2"), 1);
    double waited = 0;
    waited = seconds([] { EXPECT_EQ(exit_status(start_cfm({"get", "key"})), 1); });
    EXPECT_GE(waited, 1.9);
    EXPECT_LT(waited, 10);
}

TEST_F(StoreOfTheStopped, ReaderLetsWritersFailWithALineOnceTheMapIsFull)
{
    const pid_t reader = start_stopped([] {
        store_begin_read();
        raise(SIGSTOP);
    });
    int stored = 0;
    const std::string lines = said([&] {
        while (stored < 1000 && SetValue("key", std::string(60000, static_cast<char>('a' + stored % 26)).c_str()) == 1)
            stored++;
    });
    EXPECT_LT(stored, 1000);
    EXPECT_NE(
        lines.find("store: cannot write: the change is too large, or a process that reads the store is stopped\n"),
        std::string::npos)
        << lines;
    EXPECT_EQ(value_of("key").front(), static_cast<char>('a' + (stored - 1) % 26)) << "the last value stands";
    kill_child(reader);
    children.clear();
    EXPECT_EQ(SetValue("key", "2"), 1);
}

TEST_F(StoreOfTheStopped, CommitterMakesACommitFailWithALine)
{
    start_stopped([] {
        store_environment();
        store_take(STORE_COMMIT_LOCK);
        raise(SIGSTOP);
    });
    const std::string lines = said([] { EXPECT_EQ(CommitCfm(), 0); });
    EXPECT_NE(lines.find(" is committing it and did not let go within 10 s\n"), std::string::npos) << lines;
    EXPECT_EQ(SetValue("key", "2"), 1);
}

} // namespace
