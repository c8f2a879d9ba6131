// What turning the name servers leaves of /etc/resolv.conf: owner, mode, links and mounts are real ones here.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "time_check/wan_surf_probe.h"

namespace
{

constexpr char PATH[] = "/etc/resolv.conf";
constexpr char NEW_PATH[] = "/etc/resolv.conf.time_check";
constexpr char OLD_TEXT[] = "# by hand\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n";
constexpr char NEW_TEXT[] = "# by hand\nnameserver 10.0.0.2\nnameserver 10.0.0.1\n";

void write_text(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
}

std::string text_of(const std::string &path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

struct stat status_of(const char *path)
{
    struct stat status = {};
    EXPECT_EQ(lstat(path, &status), 0) << path;
    return status;
}

// root keeps its ids, and so may give files away; an ordinary user is root over its own id alone.
class OwnMounts : public testing::Environment
{
    void SetUp() override
    {
        const std::string user = std::to_string(geteuid());
        const std::string group = std::to_string(getegid());
        const bool is_root = geteuid() == 0;
        ASSERT_EQ(unshare(is_root ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS), 0) << strerror(errno);
        if (!is_root) {
            write_text("/proc/self/setgroups", "deny");
            write_text("/proc/self/uid_map", "0 " + user + " 1");
            write_text("/proc/self/gid_map", "0 " + group + " 1");
        }
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << strerror(errno);
    }
};

class ResolvConf : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mount("none", "/etc", "tmpfs", 0, nullptr), 0) << strerror(errno);
        write_text(PATH, OLD_TEXT);
    }
    void TearDown() override
    {
        umount2(PATH, MNT_DETACH);
        EXPECT_EQ(umount2("/etc", MNT_DETACH), 0);
    }
};

TEST_F(ResolvConf, KeepsModeAndOwnerUnderAnyUmask)
{
    constexpr gid_t ADM = 4;
    for (const mode_t mode : {0644, 0640, 0664, 0600}) {
        write_text(PATH, OLD_TEXT);
        ASSERT_EQ(chmod(PATH, mode), 0);
        const gid_t group = chown(PATH, 0, ADM) == 0 ? ADM : 0;
        const mode_t own_umask = umask(077);
        adjust_resolv_conf_sequence();
        umask(own_umask);
        EXPECT_EQ(text_of(PATH), NEW_TEXT);
        EXPECT_EQ(status_of(PATH).st_mode, S_IFREG | mode);
        EXPECT_EQ(status_of(PATH).st_gid, group);
    }
}

TEST_F(ResolvConf, IsNotTouchedWhenNothingChanges)
{
    write_text(PATH, "# by hand\nnameserver 10.0.0.1\n");
    const struct stat before = status_of(PATH);
    adjust_resolv_conf_sequence();
    const struct stat after = status_of(PATH);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

TEST_F(ResolvConf, IsNeverWrittenThroughALinkInTheNewFilesPlace)
{
    write_text("/etc/victim", "precious\n");
    ASSERT_EQ(symlink("/etc/victim", NEW_PATH), 0);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(text_of("/etc/victim"), "precious\n");
    EXPECT_TRUE(S_ISREG(status_of(PATH).st_mode));
    EXPECT_EQ(text_of(PATH), NEW_TEXT);
    EXPECT_NE(access(NEW_PATH, F_OK), 0);
}

TEST_F(ResolvConf, StaysALinkToTheSameFile)
{
    ASSERT_EQ(rename(PATH, "/etc/real"), 0);
    ASSERT_EQ(chmod("/etc/real", 0640), 0);
    ASSERT_EQ(symlink("real", PATH), 0);
    const ino_t file = status_of("/etc/real").st_ino;
    adjust_resolv_conf_sequence();
    EXPECT_TRUE(S_ISLNK(status_of(PATH).st_mode));
    EXPECT_EQ(status_of("/etc/real").st_ino, file);
    EXPECT_EQ(status_of("/etc/real").st_mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(text_of(PATH), NEW_TEXT);
}

TEST_F(ResolvConf, IsOverwrittenInPlaceWhereItIsMounted)
{
    write_text("/etc/real", OLD_TEXT);
    ASSERT_EQ(mount("/etc/real", PATH, nullptr, MS_BIND, nullptr), 0) << strerror(errno);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(text_of("/etc/real"), NEW_TEXT);
    EXPECT_NE(access(NEW_PATH, F_OK), 0);
}

TEST_F(ResolvConf, TooLargeIsLeftAsItIs)
{
    const std::string text = std::string(OLD_TEXT) + std::string(4800, '#') + "\nnameserver 10.0.0.3\noptions rotate\n";
    write_text(PATH, text);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(text_of(PATH), text);
}

// Each as it was found, after two turns: the second must not take the first one's text for the original.
class ResolvConfPutBack : public ResolvConf
{
protected:
    void turn_twice()
    {
        adjust_resolv_conf_sequence();
        adjust_resolv_conf_sequence();
        EXPECT_EQ(text_of(PATH), "# by hand\nnameserver 10.0.0.3\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n");
    }
    static constexpr char FOUND[] = "# by hand\nnameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3";
};

TEST_F(ResolvConfPutBack, AFile)
{
    write_text(PATH, FOUND);
    turn_twice();
    take_probe_back(false);
    EXPECT_EQ(text_of(PATH), FOUND);
    EXPECT_NE(access(NEW_PATH, F_OK), 0);
    take_probe_back(false);
    EXPECT_EQ(text_of(PATH), FOUND);
}

TEST_F(ResolvConfPutBack, WhereALinkLeads)
{
    write_text("/etc/real", FOUND);
    ASSERT_EQ(unlink(PATH), 0);
    ASSERT_EQ(symlink("real", PATH), 0);
    turn_twice();
    take_probe_back(false);
    EXPECT_EQ(text_of("/etc/real"), FOUND);
    EXPECT_TRUE(S_ISLNK(status_of(PATH).st_mode));
}

TEST_F(ResolvConfPutBack, NotWhenSomebodyElseHasWrittenIt)
{
    write_text(PATH, FOUND);
    turn_twice();
    write_text("/etc/others", "nameserver 10.0.0.7\nnameserver 10.0.0.8\n");
    ASSERT_EQ(rename("/etc/others", PATH), 0);
    write_text(NEW_PATH, "left by a daemon that was killed");
    const struct stat before = status_of(PATH);
    take_probe_back(false);
    EXPECT_EQ(status_of(PATH).st_ino, before.st_ino);
    EXPECT_EQ(text_of(PATH), "nameserver 10.0.0.7\nnameserver 10.0.0.8\n");
    EXPECT_NE(access(NEW_PATH, F_OK), 0);
}

TEST_F(ResolvConfPutBack, AsSomebodyElseHasWrittenItBeforeTheLastTurn)
{
    write_text(PATH, FOUND);
    turn_twice();
    write_text(PATH, OLD_TEXT);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(text_of(PATH), NEW_TEXT);
    take_probe_back(false);
    EXPECT_EQ(text_of(PATH), OLD_TEXT);
}

TEST_F(ResolvConfPutBack, AndNeverTurnedAgainAtTheEnd)
{
    write_text(PATH, FOUND);
    take_probe_back(true);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(text_of(PATH), FOUND);
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new OwnMounts); // the library deletes it
    return RUN_ALL_TESTS();
}
