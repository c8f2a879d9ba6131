// What the plain-Linux ground's store does with keys that are no settings but tell how the router is doing.
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"

namespace
{

class PublishedKeys : public testing::Test
{
protected:
    // A commit writes its file anew, so that another file stands there.
    ino_t committed_file() const
    {
        struct stat file = {};
        EXPECT_EQ(stat(folders.committed().c_str(), &file), 0);
        return file.st_ino;
    }
    static std::string exported()
    {
        std::string text;
        return config_store_export(append_piece, &text) ? text : "(failed)";
    }

    StoreFolders folders;
};

TEST_F(PublishedKeys, AreListedButNeitherCommittedNorExported)
{
    SetValue("a", "1");
    SetValue("wan1_isonln", "1");
    ASSERT_NE(CommitCfm(), 0);
    EXPECT_EQ(listed(""), "a=1\nwan1_isonln=1\n");
    EXPECT_EQ(read_file(folders.committed()).find("wan1"), std::string::npos);
    EXPECT_EQ(exported(), read_file(folders.committed()));
}

TEST_F(PublishedKeys, AreImported)
{
    const std::string text = "a=1\nwan1_isonln=1\n";
    const int fd = memfd_create("text", 0);
    ASSERT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    EXPECT_TRUE(config_store_import(fd, "the text"));
    close(fd);
    EXPECT_EQ(value_of("wan1_isonln"), "1");
}

TEST_F(PublishedKeys, CostNoWriteWhenTheyChange)
{
    SetValue("a", "1");
    ASSERT_NE(CommitCfm(), 0);
    const ino_t before = committed_file();
    SetValue("wan1_isonln", "1");
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(committed_file(), before);
}

// A file as it was committed when that took everything in.
TEST_F(PublishedKeys, OfACommittedFileAreLeftOut)
{
    std::filesystem::create_directory(folders.conf());
    write_file(folders.committed(), "a=1\nstoppage_flag=1\nwan1_isonln=1\n# end: 3 settings, crc32 f3b67bb2\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(listed(""), "a=1\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    const ino_t old = committed_file();
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(committed_file(), old) << "nothing has changed that is worth a write";
    SetValue("wan1_isonln", "0");
    EXPECT_NE(CommitCfm(), 0);
    const ino_t fresh = committed_file();
    EXPECT_NE(fresh, old);
    EXPECT_EQ(read_file(folders.committed()), exported());
    SetValue("wan1_isonln", "1");
    EXPECT_NE(CommitCfm(), 0);
    EXPECT_EQ(committed_file(), fresh) << "only once";
}

// Filling the store from such a file changes nothing in it.
TEST_F(PublishedKeys, AloneInACommittedFileDoNotHideTheNextChange)
{
    std::filesystem::create_directory(folders.conf());
    write_file(folders.committed(), "wan1_isonln=1\n# end: 1 settings, crc32 fdfbe42f\n");
    EXPECT_EQ(listed(""), "");
    SetValue("a", "1");
    EXPECT_NE(CommitCfm(), 0);
    folders.restart();
    EXPECT_EQ(value_of("a"), "1");
}

} // namespace
