// The store, and the note of the last restart, when a process that works on them is killed: before instructions that
// are spread evenly over all that it carries out, from the first to the last. Whoever comes next finds the old contents
// or the new, all of them, and nobody's lock (decision 0224).
//
// TIME_CHECK_KILLS=N in the environment: how many kills there are, over all operations together (300);
// TIME_CHECK_SEED=S: where in the first stretch they begin, so that another S gives others.
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/config_store.h"
#include "platform/linux/last_restart.h"
#include "platform/linux/store/text.h"
#include "tests/contract/config_store_folders.h"
#include "tests/lab/instruction_kill.h"

namespace
{

namespace fs = std::filesystem;

size_t number_of(const char *variable, size_t otherwise)
{
    const char *const text = getenv(variable);
    return text == nullptr ? otherwise : strtoul(text, nullptr, 10);
}

// ---- settings ----

using Settings = std::map<std::string, std::string>;

const Settings COMMITTED = {{"a", "1"}, {"count", "1"}, {"filler", std::string(60, 'f')}, {"z", "1"}};

// As cfm list shows them.
std::string list_of(const Settings &settings)
{
    std::string text;
    for (const auto &[key, value] : settings)
        text += key + "=" + value + "\n";
    return text;
}

// As a committed file has them.
std::string file_of(const Settings &settings)
{
    std::string text;
    store_text_writer writer;
    store_text_begin(&writer, append_piece, &text);
    for (const auto &[key, value] : settings)
        store_text_setting(&writer, key.data(), key.size(), value.data(), value.size());
    store_text_finish(&writer);
    return text;
}

Settings with(Settings settings, const Settings &changes)
{
    for (const auto &[key, value] : changes)
        settings[key] = value;
    return settings;
}

// ---- operations ----

enum Scene { RUNNING, STARTED }; // with a running store, or with what a restart leaves

const Settings IMPORTED = {{"a", "6"}, {"imported", "6"}, {"count", "6"}};
constexpr char UNKNOWN[] = "(unknown)";

std::unique_ptr<journal_ring> ring_with(const char *reason)
{
    auto ring = std::make_unique<journal_ring>();
    journal_ring_make(ring.get(), "a boot");
    journal_record record = {};
    record.kind = JOURNAL_REBOOT;
    record.who = STATUS_REBOOT;
    snprintf(record.text, sizeof record.text, "%s", reason);
    uint32_t newest = 0;
    journal_ring_write(ring.get(), &newest, &record);
    return ring;
}

std::string take_reason(const fs::path &run)
{
    const int dir = journal_folder(run.c_str());
    journal_record why;
    last_restart_take(dir, false, true, &why);
    close(dir);
    return why.kind == JOURNAL_REBOOT ? why.text : UNKNOWN;
}

void get_value()
{
    std::array<char, 8> value = {};
    GetValue("count", value.data(), value.size());
}

void import_values()
{
    const std::string text = list_of(IMPORTED);
    const int fd = memfd_create("settings", MFD_CLOEXEC);
    if (pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()))
        config_store_import(fd, "the settings");
    close(fd);
}

struct Operation {
    const char *name;
    Scene scene;
    Settings changes; // of the running store
    bool commits;
    std::string old_reason; // of the last restart: what is told when nothing of the operation was done,
    std::string new_reason; // and when all of it was
    void (*act)(const fs::path &run, journal_ring *ring);
};

const std::array OPERATIONS = {
    Operation{"get", RUNNING, {}, false, "old", "old", [](const fs::path &, journal_ring *) { get_value(); }},
    Operation{"set",
              RUNNING,
              {{"count", "2"}},
              false,
              "old",
              "old",
              [](const fs::path &, journal_ring *) { SetValue("count", "2"); }},
    Operation{"import", RUNNING, IMPORTED, false, "old", "old",
              [](const fs::path &, journal_ring *) { import_values(); }},
    Operation{"commit", RUNNING, {}, true, "old", "old", [](const fs::path &, journal_ring *) { CommitCfm(); }},
    Operation{"restart",
              RUNNING,
              {},
              false,
              "old",
              "new",
              [](const fs::path &, journal_ring *ring) { last_restart_save(ring, 1); }},
    Operation{"start",
              STARTED,
              {},
              false,
              "old",
              UNKNOWN,
              [](const fs::path &run, journal_ring *) {
                  config_store_open();
                  take_reason(run);
                  get_value();
              }},
};

// ---- kills ----

// What is wrong, told by the process that looks; "" when nothing is.
struct Report {
    bool is_new; // all of the operation was done
    std::array<char, 1000> complaint;
};

class StoreOfTheKilledAtAnInstruction : public testing::TestWithParam<size_t>
{
protected:
    void SetUp() override
    {
        report_ = static_cast<Report *>(
            mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        ASSERT_NE(report_, MAP_FAILED);
        prepare();
    }
    void TearDown() override
    {
        munmap(report_, sizeof(Report));
    }

    void act() const
    {
        operation_.act(folders_.run(), ring_.get());
    }

    void restore() const
    {
        for (const fs::path &folder : {folders_.conf(), folders_.run()}) {
            fs::remove_all(folder);
            fs::copy(folder.string() + ".scene", folder, fs::copy_options::recursive);
            fs::permissions(folder, fs::perms::owner_all);
        }
    }

    // By a process of its own, for the store that it opens stays open. `is_done`: nothing was killed. Whether
    // all is new.
    bool judge(const std::string &when, bool is_done)
    {
        *report_ = {};
        const pid_t child = fork();
        if (child == 0) {
            look(is_done);
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << when << ": who looked did not come to the end";
        EXPECT_STREQ(report_->complaint.data(), "") << when;
        return report_->is_new;
    }

    const Operation &operation_ = OPERATIONS.at(GetParam());

private:
    // Two generations, the running store one change ahead of them, and the note of a restart.
    void prepare()
    {
        fs::create_directory(folders_.conf());
        write_file(folders_.conf() / "config.txt.previous", file_of({{"a", "0"}}));
        write_file(folders_.committed(), file_of(COMMITTED));
        last_restart_save(ring_with("old").get(), 1);
        if (operation_.scene == STARTED) {
            fs::create_directory(folders_.run());
        } else {
            const pid_t child = fork();
            if (child == 0)
                _exit(SetValue("running", "1") == 1 ? 0 : 1);
            int status = -1;
            waitpid(child, &status, 0);
            ASSERT_EQ(status, 0);
            before_["running"] = "1";
        }
        after_ = with(before_, operation_.changes);
        for (const fs::path &folder : {folders_.conf(), folders_.run()})
            fs::copy(folder, folder.string() + ".scene", fs::copy_options::recursive);
    }

    void look(bool is_done) const
    {
        testing::internal::CaptureStderr();
        const std::string committed = read_file(folders_.committed());
        report_->is_new = committed == file_of(operation_.commits ? after_ : COMMITTED);
        if (committed != file_of(operation_.commits ? after_ : COMMITTED) &&
            (is_done || committed != file_of(COMMITTED)))
            complain("the committed file holds", committed);
        if (!config_store_open())
            complain("the store cannot be opened", "");
        const std::string running = listed("");
        if (running != list_of(after_) && (is_done || running != list_of(before_)))
            complain("the running store holds", running);
        report_->is_new = report_->is_new && running == list_of(after_);
        const std::string reason = take_reason(folders_.run());
        if (reason != operation_.new_reason && (is_done || reason != operation_.old_reason))
            complain("the last restart is said to be", reason);
        report_->is_new = report_->is_new && reason == operation_.new_reason;
        look_for_locks(running == list_of(after_) ? after_ : before_);
        const std::string lines = testing::internal::GetCapturedStderr();
        if (lines.find("did not let go") != std::string::npos)
            complain("a lock is left", lines);
    }

    // The next user is hindered by nothing, and nothing else is lost by what it does.
    void look_for_locks(const Settings &running) const
    {
        if (SetValue("judge", "1") != 1 || CommitCfm() == 0)
            complain("the next user can set and commit nothing", "");
        const std::string found = read_file(folders_.committed());
        if (found != file_of(with(running, {{"judge", "1"}})))
            complain("the next commit left", found);
    }

    void complain(const std::string &what, const std::string &found) const
    {
        (what + ": " + found).copy(report_->complaint.data(), report_->complaint.size() - 1);
    }

    StoreFolders folders_;
    std::unique_ptr<journal_ring> ring_ = ring_with("new");
    Report *report_ = nullptr;
    Settings before_ = COMMITTED;
    Settings after_;
};

TEST_P(StoreOfTheKilledAtAnInstruction, HasTheOldOrTheNewContentsAndNoLock)
{
    restore();
    const Course course = course_of([this] { act(); });
    ASSERT_GT(course.at.size(), 1000U);
    judge("without a kill", true);

    // Evenly spread, and none at the same place for another seed: parts of the golden section.
    const double first = std::fmod(0.618033988749895 * static_cast<double>(number_of("TIME_CHECK_SEED", 1)), 1.0);
    const size_t kills = number_of("TIME_CHECK_KILLS", 300) / OPERATIONS.size();
    size_t exact = 0;
    size_t done = 0;
    for (size_t i = 0; i < kills && !HasFailure(); i++) {
        const double part = (static_cast<double>(i) + first) / static_cast<double>(kills);
        const auto number = static_cast<size_t>(part * static_cast<double>(course.at.size()));
        restore();
        const Killed killed = kill_at(course, number, [this] { act(); });
        exact += killed.is_exact ? 1 : 0;
        done += judge("killed before instruction " + std::to_string(number), killed.has_ended) ? 1 : 0;
    }
    std::printf("%s: %zu kills over %zu instructions and %zu system calls, %zu of them exact; old %zu, new %zu\n",
                operation_.name, kills, course.at.size(), course.calls.size(), exact, kills - done, done);
    EXPECT_TRUE(operation_.name == std::string("get") || done < kills) << "no kill came before it was done";
    EXPECT_GE(exact * 10, kills * 9) << "the operation does not take the same way each time";
}

std::string name_of(const testing::TestParamInfo<size_t> &tested)
{
    return OPERATIONS.at(tested.param).name;
}

INSTANTIATE_TEST_SUITE_P(Of, StoreOfTheKilledAtAnInstruction, testing::Range<size_t>(0, OPERATIONS.size()), name_of);

} // namespace
