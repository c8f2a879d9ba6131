// main for tests of network and processes: the tests run in namespaces of their own, so that they may make interfaces
// and see no others. A kernel that forbids that fails the tests, rather than passing them unseen.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

constexpr const char *INSIDE = "TIME_CHECK_TEST_IS_INSIDE";

static bool only_lists(int argc, char **argv)
{
    for (int i = 1; i < argc; i++)
        if (strcmp(argv[i], "--gtest_list_tests") == 0)
            return true;
    return false;
}

static bool namespaces_are_allowed()
{
    return system("unshare --user --map-root-user --net --mount --pid --fork --mount-proc true") == 0; // NOLINT
}

static int run_inside(char **argv)
{
    if (!namespaces_are_allowed()) {
        fputs("These tests need user, network, mount and PID namespaces, which this kernel does not allow.\n", stderr);
        return 1;
    }
    setenv(INSIDE, "1", 1);
    std::vector<const char *> words = {"unshare", "--user", "--map-root-user", "--net",        "--mount",
                                       "--pid",   "--fork", "--kill-child",    "--mount-proc", "/proc/self/exe"};
    char self[4096] = "";
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return 1;
    words.back() = self;
    for (char **argument = argv + 1; *argument != nullptr; argument++)
        words.push_back(*argument);
    words.push_back(nullptr);
    execvp("unshare", const_cast<char *const *>(words.data()));
    perror("unshare");
    return 1;
}

int main(int argc, char **argv)
{
    if (getenv(INSIDE) == nullptr && !only_lists(argc, argv))
        return run_inside(argv);
    if (getenv(INSIDE) != nullptr && system("mount -t sysfs sysfs /sys && ip link set lo up") != 0) // NOLINT
        return 1;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
