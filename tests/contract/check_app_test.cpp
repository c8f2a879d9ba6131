// Finding processes by exactly their name, however odd.
#include "platform/system.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

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
