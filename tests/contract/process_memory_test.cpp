// What is remembered of processes says what a look at all of them says.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <list>
#include <random>
#include <string>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/memory/name_watch.h"
#include "platform/linux/process.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"

namespace
{

bool is_found(const std::string &name)
{
    return check_app(name.c_str()) == 1;
}

// After a few looks that found nothing new, all of /proc is not read at every look.
void look_until_quiet(const std::string &name)
{
    for (int i = 0; i < 20; i++)
        ASSERT_FALSE(is_found(name));
}

// Asked on a thread of its own, since the watch is each thread's own.
bool kernel_tells_names()
{
    NAMES_TOLD told = NAMES_UNTOLD;
    std::thread([&] { told = next_names([](const char *) {}); }).join();
    return told != NAMES_UNTOLD;
}

TEST(NameWatch, TellsAllNamesIfTheKernelDoes)
{
    if (!kernel_tells_names())
        GTEST_SKIP() << "the kernel does not tell us names";
    static std::vector<std::string> names;
    static const auto take = [](const char *name) { names.emplace_back(name); };
    EXPECT_TRUE(comes_true([] {
        names.clear();
        prctl(PR_SET_NAME, "fifteen_letters_and_more");
        return next_names(take) == NAMES_COMPLETE;
    }));
    EXPECT_EQ(std::count(names.begin(), names.end(), "fifteen_letters"), 1);
}

TEST(ProcessMemory, OldProcessThatTakesTheNameIsFoundByTheNextLookIfTheKernelTellsNames)
{
    if (!kernel_tells_names())
        GTEST_SKIP() << "the kernel does not tell us names";
    prctl(PR_SET_NAME, "another_name");
    for (int round = 0; round < 5; round++) {
        look_until_quiet("renamed_test");
        prctl(PR_SET_NAME, "renamed_test");
        ASSERT_TRUE(is_found("renamed_test")) << "round " << round;
        prctl(PR_SET_NAME, "another_name");
    }
}

TEST(ProcessMemory, ShellThatBecomesTheProgramLateIsFoundByTheNextLookIfTheKernelTellsNames)
{
    if (!kernel_tells_names())
        GTEST_SKIP() << "the kernel does not tell us names";
    const TemporaryFolder folder;
    const std::string program = folder.path() / "exec_test";
    const std::string signal = folder.path() / "now";
    std::filesystem::create_symlink("/bin/sleep", program);
    const std::string script = "until [ -e " + signal + " ]; do :; done; exec " + program + " 60";
    Child shell([&] { execl("/bin/sh", "sh", "-c", script.c_str(), nullptr); });
    look_until_quiet("exec_test");
    write_text(signal, "");
    EXPECT_TRUE(comes_true([&] { return text_of("/proc/" + std::to_string(shell.pid()) + "/comm") == "exec_test\n"; }));
    EXPECT_TRUE(is_found("exec_test"));
    shell.kill_now();
}

TEST(ProcessMemory, NameTakenInAFloodOfNamesIsFoundByTheNextLookIfTheKernelTellsNames)
{
    if (!kernel_tells_names())
        GTEST_SKIP() << "the kernel does not tell us names";
    for (int others : {0, 1, 20, 300}) {
        prctl(PR_SET_NAME, "another_name");
        look_until_quiet("flooded_test");
        for (int i = 0; i < others; i++)
            Child([] {
                for (int name = 0; name < 10; name++)
                    prctl(PR_SET_NAME, "another_name");
            }).wait();
        prctl(PR_SET_NAME, "flooded_test");
        EXPECT_TRUE(is_found("flooded_test")) << others;
    }
}

// ---- the memory and the plain look ----

const char *const NAMES[] = {"first_act", "second_act", "third_act"};

// A process that takes the name it is told to, or becomes a program of the name.
class Actor
{
public:
    Actor(const std::filesystem::path &programs, const char *name)
        : programs_(programs), child_([this, name] { act(name); })
    {
        wait_for(name);
    }
    ~Actor()
    {
        close(orders_.ends[1]);
        close(orders_.ends[0]);
        child_.kill_now();
        child_.wait();
    }
    Actor(const Actor &) = delete;
    Actor &operator=(const Actor &) = delete;

    void order(char what, size_t name)
    {
        const char text[] = {what, static_cast<char>(name)};
        ASSERT_EQ(write(orders_.ends[1], text, sizeof text), 2);
        wait_for(NAMES[name]);
        is_program_ = is_program_ || what == 'e';
    }

    bool takes_orders() const
    {
        return !is_program_;
    }

private:
    struct Pipe {
        Pipe()
        {
            EXPECT_EQ(pipe(ends), 0);
        }
        int ends[2];
    };

    void act(const char *first)
    {
        prctl(PR_SET_NAME, first);
        char text[2];
        while (read(orders_.ends[0], text, sizeof text) == 2) {
            const char *const name = NAMES[static_cast<size_t>(text[1])];
            if (text[0] == 'e')
                execl((programs_ / name).c_str(), name, "600", nullptr);
            prctl(PR_SET_NAME, name);
        }
    }

    void wait_for(const std::string &name)
    {
        const std::string comm = "/proc/" + std::to_string(child_.pid()) + "/comm";
        ASSERT_TRUE(comes_true([&] { return text_of(comm) == name + "\n"; }));
    }

    std::filesystem::path programs_;
    Pipe orders_;
    Child child_;
    bool is_program_ = false;
};

void expect_agreement(const std::string &after)
{
    for (const char *name : NAMES)
        EXPECT_EQ(is_found(name), find_process(name) != NO_PROCESS) << name << " after " << after;
}

// Where the kernel tells no names, an old process that takes another may be found late.
TEST(ProcessMemory, AgreesWithALookAtAllProcessesOverBirthsDeathsAndExecs)
{
    const TemporaryFolder folder;
    for (const char *name : NAMES)
        std::filesystem::create_symlink("/bin/sleep", folder.path() / name);
    const bool all_is_told = kernel_tells_names();
    std::mt19937 random(20);
    std::list<Actor> actors;
    for (int step = 0; step < 150; step++) {
        const size_t name = random() % std::size(NAMES);
        const unsigned what = random() % 8;
        const std::string after = "step " + std::to_string(step) + ", " + std::to_string(what) + " " + NAMES[name];
        if (actors.empty() || (what < 2 && actors.size() < 3))
            actors.emplace_back(folder.path(), NAMES[name]);
        else if (what < 5)
            actors.pop_front();
        else if (all_is_told && actors.back().takes_orders())
            actors.back().order(what == 5 ? 'r' : 'e', name);
        expect_agreement(after);
    }
}

} // namespace
