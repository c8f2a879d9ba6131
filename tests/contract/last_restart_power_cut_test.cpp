// A power cut at any moment in which last_restart is written or taken: the next start says whose the restart was, or
// that it cannot know, and never whose it was not.
#include "platform/linux/last_restart.h"

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/contract/config_store_folders.h"
#include "tests/contract/power_cut.h"

namespace
{

using Reasons = std::set<std::string>;
constexpr char UNKNOWN[] = "(unknown)";

class LastRestartPowerCut : public testing::Test
{
protected:
    LastRestartPowerCut()
    {
        std::filesystem::create_directories(folders.conf());
        std::filesystem::create_directories(folders.run());
        journal_ring_make(ring.get(), "a boot");
    }
    ~LastRestartPowerCut() override
    {
        recorder = {};
    }

    // A restart of the machine whose reason is the text.
    void save(const char *text)
    {
        journal_record record = {};
        record.kind = JOURNAL_REBOOT;
        record.who = STATUS_REBOOT;
        snprintf(record.text, sizeof record.text, "%s", text);
        journal_ring_write(ring.get(), &newest, &record);
        last_restart_save(ring.get(), newest);
    }

    // What the start after a power cut says.
    std::string take() const
    {
        const int run_dir = journal_folder(folders.run().c_str());
        journal_record why;
        const std::string said = last_restart_take(run_dir, false, true, &why);
        close(run_dir);
        EXPECT_EQ(said == "after the daemon's restart of the machine", why.kind == JOURNAL_REBOOT) << said;
        return why.kind == JOURNAL_REBOOT ? why.text : UNKNOWN;
    }

    template <typename Act>
    std::vector<Step> recorded(Act act)
    {
        recorder.is_on = true;
        act();
        recorder.is_on = false;
        return recorder.steps;
    }

    // Of each disk that may be left: the reason that the next start tells.
    Reasons told(const std::set<Disk> &disks) const
    {
        Reasons reasons;
        for (const Disk &disk : disks) {
            put(disk, folders.conf());
            reasons.insert(take());
        }
        return reasons;
    }

    Reasons told_in_the_middle(Disks *disks, const std::vector<Step> &steps) const
    {
        Reasons reasons;
        for (size_t count = 0; count < steps.size(); count++)
            reasons.merge(told(disks->after(steps, count)));
        return reasons;
    }

    StoreFolders folders;

private:
    std::unique_ptr<journal_ring> ring = std::make_unique<journal_ring>();
    uint32_t newest = 0;
};

TEST_F(LastRestartPowerCut, WhileItIsWrittenLeavesNoneOrTheWhole)
{
    Disks disks(folders.conf());
    const std::vector<Step> steps = recorded([this] { save("new"); });
    ASSERT_GE(steps.size(), 4U);
    EXPECT_EQ(told_in_the_middle(&disks, steps), (Reasons{UNKNOWN, "new"}));
    EXPECT_EQ(told(disks.after(steps, steps.size())), Reasons{"new"});
}

TEST_F(LastRestartPowerCut, WhileItIsWrittenOverAnOlderOneLeavesEither)
{
    save("old");
    Disks disks(folders.conf());
    const std::vector<Step> steps = recorded([this] { save("new"); });
    EXPECT_EQ(told_in_the_middle(&disks, steps), (Reasons{"old", "new"}));
    EXPECT_EQ(told(disks.after(steps, steps.size())), Reasons{"new"});
}

TEST_F(LastRestartPowerCut, AfterTheNextStartHasTakenItIsNotTakenForThatRestart)
{
    save("old");
    Disks disks(folders.conf());
    const std::vector<Step> steps = recorded([this] { take(); });
    EXPECT_EQ(told(disks.after(steps, steps.size())), Reasons{UNKNOWN});
}

} // namespace
