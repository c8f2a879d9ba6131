// A power cut at any moment of a commit: a router is started from each disk that may be left.
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "tests/contract/config_store_folders.h"
#include "tests/contract/power_cut.h"

namespace
{

class PowerCut : public testing::Test
{
protected:
    void TearDown() override
    {
        recorder = {};
    }

    // Two generations on disk, and a running store with a third.
    void run_the_third()
    {
        commit("1");
        commit("2");
        change("3");
    }

    static void change(const std::string &generation)
    {
        SetValue("generation", generation.c_str());
        SetValue("filler", (generation + std::string(5000, 'f')).c_str());
    }

    static void commit(const std::string &generation)
    {
        change(generation);
        ASSERT_NE(CommitCfm(), 0);
    }

    // Commits once, and starts a router from every disk that a power cut may leave: it must have the `old` generation
    // or the new one, whole, and the new one when the commit was over.
    void cut_at_every_step(const std::string &old, const std::string &fresh)
    {
        Disks disks(folders.conf());
        testing::internal::CaptureStderr();
        recorder.is_on = true;
        const int committed = CommitCfm();
        recorder.is_on = false;
        testing::internal::GetCapturedStderr();
        ASSERT_NE(committed, 0);
        const std::vector<Step> steps = recorder.steps;
        ASSERT_GE(steps.size(), 5U);
        std::set<Disk> seen;
        for (size_t count = 0; count < steps.size(); count++)
            for (const Disk &disk : disks.after(steps, count))
                if (seen.insert(disk).second)
                    expect_generation(disk, {old, fresh}, count);
        for (const Disk &disk : disks.after(steps, steps.size()))
            expect_generation(disk, {fresh}, steps.size());
        std::printf("%zu disks after %zu calls\n", seen.size(), steps.size());
    }

    StoreFolders folders;

private:
    void expect_generation(const Disk &disk, const std::set<std::string> &allowed, size_t count) const
    {
        folders.restart();
        put(disk, folders.conf());
        testing::internal::CaptureStderr();
        const std::string found = value_of("generation");
        const std::string all = listed("");
        const bool is_committed =
            SetValue("next", "1") == 1 && CommitCfm() != 0 && SetValue("next", "2") == 1 && CommitCfm() != 0;
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(allowed.contains(found))
            << found << " after " << count << " calls, from " << text_of(disk) << lines;
        const std::string whole = "filler=" + found + std::string(5000, 'f') + "\ngeneration=" + found + "\n";
        EXPECT_EQ(all, found == "(none)" ? "" : whole) << "after " << count << " calls, from " << text_of(disk);
        EXPECT_TRUE(is_committed) << text_of(disk) << lines;
        EXPECT_EQ(value_of("generation"), found);
        folders.restart();
        EXPECT_EQ(value_of("generation"), found) << "after a commit on " << text_of(disk);
    }
};

TEST_F(PowerCut, LeavesTheOldOrTheNewSettings)
{
    run_the_third();
    cut_at_every_step("2", "3");
}

TEST_F(PowerCut, WhereADamagedFileStandsLeavesThePreviousOrTheNewSettings)
{
    run_the_third();
    write_file(folders.committed(), "generation=2\n");
    cut_at_every_step("1", "3");
}

TEST_F(PowerCut, OfAFileSystemWithoutLinksLeavesTheOldOrTheNewSettings)
{
    run_the_third();
    recorder.has_links = false;
    cut_at_every_step("2", "3");
}

TEST_F(PowerCut, OfTheFirstCommitEverLeavesNothingOrTheNewSettings)
{
    change("3");
    cut_at_every_step("(none)", "3");
}

} // namespace
