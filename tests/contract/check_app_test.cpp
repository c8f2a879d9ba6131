// Finding processes by exactly their name, however odd.
#include "platform/system.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/name_watch.h"
#include "tests/contract/contract_support.h"

namespace
{

bool is_found(const std::string &name)
{
    return check_app(name.c_str()) == 1;
}

// A process that calls itself `name`.
class Named : public Child
{
public:
    explicit Named(const std::string &name)
        : Child([&] {
              prctl(PR_SET_NAME, name.c_str());
              for (;;)
                  pause();
          })
    {
    }
};

TEST(CheckApp, FindsARunningProcessByItsName)
{
    EXPECT_FALSE(is_found("dhttpd_of_test"));
    Named process("dhttpd_of_test");
    EXPECT_TRUE(comes_true([] { return is_found("dhttpd_of_test"); }));
    process.kill_now();
    process.wait();
    EXPECT_FALSE(is_found("dhttpd_of_test"));
}

TEST(CheckApp, PartOfANameIsNotTheName)
{
    Named process("udhcpc_test");
    ASSERT_TRUE(comes_true([] { return is_found("udhcpc_test"); }));
    EXPECT_FALSE(is_found("udhcpc_tes"));
    EXPECT_FALSE(is_found("udhcpc_test2"));
    EXPECT_FALSE(is_found("UDHCPC_TEST"));
    EXPECT_FALSE(is_found(""));
    EXPECT_EQ(check_app(nullptr), 0);
}

TEST(CheckApp, NamesMayHoldBlanksAndBrackets)
{
    for (const char *name : {"two words", "a) R 1 (b", "(bracketed)", ")", ") Z 1", "15 characters !"}) {
        Named process(name);
        EXPECT_TRUE(comes_true([&] { return is_found(name); })) << name;
    }
}

TEST(CheckApp, ProcessThatEndedButWasNotReapedDoesNotRun)
{
    Child process([] { prctl(PR_SET_NAME, "unreaped_test"); });
    EXPECT_TRUE(comes_true(
        [&] { return text_of("/proc/" + std::to_string(process.pid()) + "/stat").find(") Z ") != std::string::npos; }));
    EXPECT_FALSE(is_found("unreaped_test"));
}

TEST(CheckApp, NameLongerThanTheKernelKeepsIsComparedWhole)
{
    const TemporaryFolder folder;
    const std::string name = "a_very_long_program_name";
    const std::string path = folder.path() / name;
    std::filesystem::create_symlink("/bin/sleep", path);
    Child process([&] { execl(path.c_str(), path.c_str(), "60", nullptr); });
    EXPECT_TRUE(comes_true([&] { return is_found(name); }));
    EXPECT_FALSE(is_found("a_very_long_program_game"));
    EXPECT_FALSE(is_found("a_very_long_program_name2"));
    EXPECT_TRUE(is_found("a_very_long_pro")) << "this is all that the kernel knows";
}

// After a few looks that found nothing new, all of /proc is not read at every look.
void look_until_quiet(const std::string &name)
{
    for (int i = 0; i < 20; i++)
        ASSERT_FALSE(is_found(name));
}

TEST(CheckApp, NewProcessIsFoundByTheNextLook)
{
    look_until_quiet("late_test");
    Named process("late_test");
    EXPECT_TRUE(
        comes_true([&] { return text_of("/proc/" + std::to_string(process.pid()) + "/comm") == "late_test\n"; }));
    EXPECT_TRUE(is_found("late_test"));
}

TEST(CheckApp, OldProcessThatTakesTheNameIsFoundWithinSixtyLooks)
{
    prctl(PR_SET_NAME, "another_name");
    look_until_quiet("renamed_test");
    prctl(PR_SET_NAME, "renamed_test");
    int looks = 1;
    while (!is_found("renamed_test") && looks < 60)
        looks++;
    EXPECT_LT(looks, 60);
    EXPECT_TRUE(is_found("renamed_test")) << "found once, it is looked for every time";
    prctl(PR_SET_NAME, "another_name");
    EXPECT_FALSE(is_found("renamed_test"));
}

// The kernel tells nobody in a user namespace of its own which names processes take.
TEST(CheckApp, OldProcessIsFoundWithinSixtyLooksThoughTheKernelTellsNoNames)
{
    in_own_process([] {
        if (unshare(CLONE_NEWUSER) != 0)
            GTEST_SKIP() << "no user namespaces";
        prctl(PR_SET_NAME, "another_name");
        look_until_quiet("untold_test");
        prctl(PR_SET_NAME, "untold_test");
        int looks = 1;
        while (!is_found("untold_test") && looks < 60)
            looks++;
        EXPECT_LT(looks, 60);
        EXPECT_TRUE(is_found("untold_test"));
    });
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

TEST(CheckApp, OldProcessThatTakesTheNameIsFoundByTheNextLookIfTheKernelTellsNames)
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

TEST(CheckApp, ShellThatBecomesTheProgramLateIsFoundByTheNextLookIfTheKernelTellsNames)
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

TEST(CheckApp, NameTakenInAFloodOfNamesIsFoundByTheNextLookIfTheKernelTellsNames)
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

TEST(CheckApp, SuccessorOfAProcessIsFound)
{
    {
        Named process("successor_test");
        ASSERT_TRUE(comes_true([] { return is_found("successor_test"); }));
        EXPECT_TRUE(is_found("successor_test"));
        process.kill_now();
    }
    EXPECT_FALSE(is_found("successor_test"));
    Named successor("successor_test");
    EXPECT_TRUE(comes_true([] { return is_found("successor_test"); }));
    prctl(PR_SET_NAME, "successor_test");
    successor.kill_now();
    successor.wait();
    EXPECT_TRUE(is_found("successor_test")) << "another process has the name still";
}

TEST(CheckApp, MoreNamesThanAreRememberedAreAllFound)
{
    for (const char *name : {"first_test", "second_test", "third_test", "fourth_test", "fifth_test", "sixth_test"}) {
        look_until_quiet(name);
        prctl(PR_SET_NAME, name);
        EXPECT_TRUE(comes_true([&] { return is_found(name); })) << name;
    }
    EXPECT_FALSE(is_found("first_test"));
}

TEST(CheckApp, ChildOfALookerLooksForItself)
{
    look_until_quiet("forked_test");
    in_own_process([] {
        look_until_quiet("forked_test");
        prctl(PR_SET_NAME, "forked_test");
        EXPECT_TRUE(comes_true([] { return is_found("forked_test"); }));
    });
}

TEST(CheckApp, AnotherNameIsLookedForAfresh)
{
    prctl(PR_SET_NAME, "present_test");
    look_until_quiet("absent_test");
    EXPECT_TRUE(is_found("present_test"));
    EXPECT_FALSE(is_found("absent_test"));
}

} // namespace
