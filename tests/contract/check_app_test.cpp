// Finding processes by exactly their name, however odd.
#include "platform/system.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
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
    EXPECT_FALSE(is_found("udhcpc"));
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

} // namespace
