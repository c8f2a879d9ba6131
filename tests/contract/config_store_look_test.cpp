// Whether the plain-Linux ground's store knows, without comparing, that what it holds is committed.
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"

namespace
{

class StoreLook : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(SetValue("a", "1"), 0);
        ASSERT_NE(CommitCfm(), 0);
    }

    // As another program sees it, which has not opened the store.
    static bool is_noted()
    {
        config_store_close();
        const bool noted = config_store_is_noted();
        config_store_close();
        return noted;
    }
    static void note()
    {
        config_store_close();
        config_store_note();
    }

    StoreFolders folders;
};

TEST_F(StoreLook, FindsACommitNoted)
{
    EXPECT_TRUE(is_noted());
    EXPECT_TRUE(is_noted()) << "a look changes nothing";
}

TEST_F(StoreLook, FindsWhatAStartFilledTheStoreWithNoted)
{
    folders.restart();
    EXPECT_EQ(value_of("a"), "1");
    EXPECT_TRUE(is_noted());
}

TEST_F(StoreLook, KnowsNothingAfterAChange)
{
    SetValue("a", "2");
    EXPECT_FALSE(is_noted());
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_TRUE(is_noted());
    config_store_unset("a");
    EXPECT_FALSE(is_noted());
}

TEST_F(StoreLook, KnowsNothingOfAnotherFile)
{
    SetValue("a", "2");
    ASSERT_NE(CommitCfm(), 0);
    std::filesystem::rename(folders.conf() / "config.txt.previous", folders.committed());
    EXPECT_FALSE(is_noted());
    note();
    EXPECT_FALSE(is_noted()) << "the file that was committed is gone";
    std::filesystem::remove(folders.committed());
    EXPECT_FALSE(is_noted());
}

TEST_F(StoreLook, KnowsNothingOfAStoreThatWasMadeAnew)
{
    folders.restart();
    EXPECT_FALSE(is_noted());
    note();
    EXPECT_FALSE(is_noted());
}

TEST_F(StoreLook, KeepsWhatWasFoundEqual)
{
    SetValue("wan1_isonln", "1"); // published, and in no commit
    EXPECT_FALSE(is_noted());
    note();
    EXPECT_TRUE(is_noted());
    SetValue("wan1_isonln", "0");
    EXPECT_FALSE(is_noted());
}

TEST_F(StoreLook, DoesNotKeepWhatChangedWhileItWasCompared)
{
    SetValue("wan1_isonln", "1");
    EXPECT_FALSE(is_noted());
    SetValue("a", "2");
    note();
    EXPECT_FALSE(is_noted());
}

TEST_F(StoreLook, DoesNotKeepWhatWasCommittedWhileItWasCompared)
{
    SetValue("a", "2");
    EXPECT_FALSE(is_noted());
    ASSERT_NE(CommitCfm(), 0);
    SetValue("a", "3");
    note();
    EXPECT_FALSE(is_noted());
}

// Nobody waits for a commit that waits for a disk.
TEST_F(StoreLook, DoesNotKeepAnythingWhileSomebodyCommits)
{
    SetValue("wan1_isonln", "1");
    EXPECT_FALSE(is_noted());
    config_store_close();
    int at_work[2];
    ASSERT_EQ(pipe(at_work), 0);
    const pid_t other = fork();
    if (other == 0) {
        const int fd = open((folders.run() / "config.state").c_str(), O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_start = 2; // what a commit holds
        lock.l_len = 1;
        const char done = fcntl(fd, F_SETLK, &lock) == 0 ? 1 : 0;
        write(at_work[1], &done, 1);
        pause();
    }
    char is_locked = 0;
    ASSERT_EQ(read(at_work[0], &is_locked, 1), 1);
    ASSERT_EQ(is_locked, 1);
    note();
    EXPECT_FALSE(is_noted());
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    note();
    EXPECT_TRUE(is_noted());
}

} // namespace
