// The Linux ground's journal: what it keeps, what it hides, what a reader gets while a writer is killed, and how the
// next start knows what ended the one before.
#include "platform/common/journal.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/config_store.h"
#include "platform/linux/journal.h"
#include "platform/message_bus.h"
#include "platform/netctrl.h"
#include "platform/network.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"

namespace
{

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

std::vector<journal_record> records_in(const std::string &bytes)
{
    std::vector<journal_record> records(JOURNAL_SLOTS);
    records.resize(journal_read(bytes.data(), bytes.size(), 0, records.data(), records.size()));
    return records;
}

Texts texts_in(const fs::path &file)
{
    Texts texts;
    for (const journal_record &record : records_in(text_of(file)))
        texts.emplace_back(record.text);
    return texts;
}

int take(const char * /*sender*/, const char * /*text*/)
{
    return 0;
}

class LinuxJournal : public testing::Test
{
protected:
    LinuxJournal()
    {
        setenv("TIME_CHECK_RUN_DIR", run().c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", conf().c_str(), 1);
        setenv("TIME_CHECK_LED_DIR", (folder.path() / "leds").c_str(), 1);
        fs::create_directory(conf());
    }

    fs::path run() const
    {
        return folder.path() / "run";
    }
    fs::path conf() const
    {
        return folder.path() / "conf";
    }

    // A daemon that does this and is then killed.
    static void daemon(const std::function<void()> &body)
    {
        in_own_process([&] {
            ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
            body();
        });
    }

    // The first process of a PID namespace, which a restart ends as it does a machine; its run directory goes with it.
    void daemon_restarts_the_machine() const
    {
        in_own_process([&] {
            ASSERT_EQ(unshare(CLONE_NEWPID), 0) << strerror(errno);
            Child first([&] {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                if (RegMsgHandle("time_check", "*", take) == 0)
                    return;
                status_memory.main.acting = STATUS_REBOOT;
                status_memory.main.acting_verdict = 11;
                tpi_systool_reboot();
            });
            EXPECT_EQ(first.wait(), 128 + SIGHUP) << "what a restart in a PID namespace looks like from outside";
        });
        fs::remove_all(run());
    }

    journal_record last_start() const
    {
        const std::vector<journal_record> records = records_in(text_of(run() / "journal"));
        for (auto record = records.rbegin(); record != records.rend(); ++record)
            if (record->kind == JOURNAL_START)
                return *record;
        ADD_FAILURE() << "no start was written down";
        return {};
    }

    TemporaryFolder folder;
};

// ---- what it keeps ----

TEST_F(LinuxJournal, KeepsTheActsOfEveryCall)
{
    daemon([] {
        SetValue("wan1_check", "1");
        SetValue("", "1");
        CommitCfm();
        set_all_led(2);
        set_all_led(4);
        send_msg_to_netctrl(19, "op=9");
        doSystemCmd("true %d", 7);
        char program[] = "true";
        char word[] = "two";
        char *argv[] = {program, word, nullptr};
        _eval(argv, ">/dev/null", 0, nullptr);
        wan_lan_check("203.0.113.1", "255.255.255.0");
    });
    EXPECT_EQ(texts_in(run() / "journal"),
              (Texts{"started: first start, or after a power cut or crash", "set wan1_check=1", "set failed", "commit",
                     "leds 2", "netctrl failed 19?op=9", "command true 7", "exec true two >/dev/null",
                     "wan_lan_check 203.0.113.1 255.255.255.0"}));
    EXPECT_EQ(fs::file_size(run() / "journal"), 65536U);
    EXPECT_EQ(fs::status(run() / "journal").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(LinuxJournal, IsTheDaemonsAlone)
{
    in_own_process([] { EXPECT_EQ(SetValue("wan1_check", "1"), 1); });
    EXPECT_FALSE(fs::exists(run() / "journal"));
}

TEST_F(LinuxJournal, SaysWhoseActItWasAndWhyAndNotesItInThePage)
{
    daemon([] {
        status_memory.main.acting = STATUS_GUEST;
        status_memory.main.acting_verdict = 5;
        status_memory.main.rows[STATUS_GUEST].count = 3;
        status_memory.main.rows[STATUS_GUEST].target = 9;
        status_memory.main.changed = 0;
        SetValue("guest", "0");
        const status_row &row = status_memory.main.rows[STATUS_GUEST];
        EXPECT_STREQ(row.act, "set guest=0");
        EXPECT_EQ(row.acted_verdict, 5);
        EXPECT_GT(row.acted, 0);
        EXPECT_EQ(status_memory.main.changed, uint32_t{STATUS_NOTED});
        EXPECT_EQ(status_noted.acted, 1U << STATUS_GUEST);
        status_memory.wans.acting = STATUS_WAN2;
        status_memory.wans.acting_verdict = 7;
        std::thread([] { SetValue("wan2_check", "1"); }).join();
        EXPECT_STREQ(status_memory.wans.wan[1].row.act, "set wan2_check=1");
        EXPECT_STREQ(row.act, "set guest=0");
    });
    const std::vector<journal_record> records = records_in(text_of(run() / "journal"));
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1].who, STATUS_GUEST);
    EXPECT_EQ(records[1].verdict, 5);
    EXPECT_EQ(records[1].count, 3U);
    EXPECT_EQ(records[1].target, 9U);
    EXPECT_EQ(records[2].who, STATUS_WAN2);
    EXPECT_EQ(records[2].verdict, 7);
}

TEST_F(LinuxJournal, CountsUpWhatRepeatsUntilTheVerdictIsAnother)
{
    daemon([] {
        for (int i = 0; i < 5; i++) {
            SetValue("a", "1");
            SetValue("b", "1");
        }
        status_memory.main.acting_verdict = 9;
        SetValue("a", "1");
        status_memory.main.rows[0].since = 77;
        SetValue("a", "1");
    });
    const std::vector<journal_record> records = records_in(text_of(run() / "journal"));
    ASSERT_EQ(records.size(), 5U);
    EXPECT_EQ(records[1].times, 5);
    EXPECT_EQ(records[2].times, 5);
    EXPECT_EQ(records[3].times, 1);
    EXPECT_EQ(records[4].times, 1);
}

// ---- secrets ----

std::string shell_quoted_text(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

TEST_F(LinuxJournal, HidesSecretsHoweverTheyAreWritten)
{
    const Texts passwords = {"simple",
                             "with blank",
                             "it's",
                             "''",
                             "'\\''",
                             "-p",
                             "$(reboot)x",
                             "%s%n",
                             "a\nb",
                             "\xff\xfe",
                             "trailing'",
                             "\\",
                             "'leading",
                             std::string(255, 'x') + "'",
                             std::string(40, '\'')};
    daemon([&] {
        for (const std::string &password : passwords) {
            SetValue("wl.wisp.pppoe_password", password.c_str());
            doSystemCmd("true client -w %s &", shell_quoted_text(password).c_str());
            doSystemCmd("true client -w %s -z", shell_quoted_text(password.substr(0, 255)).c_str());
            std::string word = password;
            char program[] = "true";
            char *argv[] = {program, word.data(), nullptr};
            _eval(argv, nullptr, 0, nullptr);
            send_msg_to_netctrl(19, ("key=" + password).c_str());
            EXPECT_EQ(std::string(status_memory.main.rows[0].act).find(password), std::string::npos);
        }
        SetValue("wl.wisp.pppoe_password", "another by now");
        doSystemCmd("true -u me -p %s", "before");
    });
    for (const journal_record &record : records_in(text_of(run() / "journal"))) {
        static const Texts SHOWN = {"set wl.wisp.pppoe_password=***", "command true ***", "exec true ***",
                                    "netctrl failed 19 ***", "started: first start, or after a power cut or crash"};
        EXPECT_NE(std::find(SHOWN.begin(), SHOWN.end(), record.text), SHOWN.end()) << record.text;
    }
}

// ---- how it was ended before ----

TEST_F(LinuxJournal, TheDaemonsRestartOfTheMachineIsItsOwn)
{
    daemon_restarts_the_machine();
    EXPECT_TRUE(fs::exists(conf() / "last_restart"));
    daemon([] {});
    EXPECT_STREQ(last_start().text, "started: after the daemon's restart of the machine");
    EXPECT_EQ(last_start().who, STATUS_REBOOT);
    EXPECT_EQ(last_start().verdict, 11);
    EXPECT_FALSE(fs::exists(conf() / "last_restart"));
    EXPECT_EQ(texts_in(run() / "last_restart").back(), "reboot");
    fs::remove_all(run()); // a power cut
    daemon([] {});
    EXPECT_STREQ(last_start().text, "started: first start, or after a power cut or crash");
    EXPECT_EQ(last_start().who, STATUS_NOBODY);
}

TEST_F(LinuxJournal, TheReasonIsThereBeforeTheRestartsCommand)
{
    const fs::path seen = folder.path() / "seen";
    const std::string command = "cp '" + (conf() / "last_restart").string() + "' '" + seen.string() + "'; exit 1";
    setenv("TIME_CHECK_REBOOT_COMMAND", command.c_str(), 1);
    daemon_restarts_the_machine();
    unsetenv("TIME_CHECK_REBOOT_COMMAND");
    EXPECT_EQ(texts_in(seen).back(), "reboot");
    daemon([] {});
    EXPECT_STREQ(last_start().text, "started: after the daemon's restart of the machine");
}

TEST_F(LinuxJournal, ARestartThatIsTriedAnewIsWrittenDownAnew)
{
    daemon([&] {
        journal_save();
        journal_restart_refused();
        EXPECT_FALSE(fs::exists(conf() / "last_restart"));
        journal_save();
        EXPECT_FALSE(fs::exists(conf() / "last_restart")) << "a refused one is asked for each second";
        journal_restart_is_tried();
        journal_save();
        EXPECT_TRUE(fs::exists(conf() / "last_restart"));
    });
}

TEST_F(LinuxJournal, ADaemonThatWasKilledGoesOnInItsRing)
{
    daemon([] { set_all_led(1); });
    daemon([] { set_all_led(0); });
    EXPECT_EQ(texts_in(run() / "journal"), (Texts{"started: first start, or after a power cut or crash", "leds 1",
                                                  "started: the daemon alone, which had been killed", "leds 0"}));
}

TEST_F(LinuxJournal, AnEndInOrderIsTold)
{
    daemon([] {
        for (int i = 0; i < 300; i++)
            SetValue("number", std::to_string(i).c_str());
        journal_end("SIGTERM");
    });
    const Texts kept = texts_in(conf() / "last_restart");
    EXPECT_EQ(kept.size(), 100U);
    EXPECT_EQ(kept.back(), "ended: SIGTERM");
    EXPECT_EQ(kept[98], "set number=299");
    daemon([] { journal_end("SIGTERM"); });
    EXPECT_STREQ(last_start().text, "started: the daemon alone, after an end in order");
    fs::remove_all(run()); // and then somebody restarts the machine
    daemon([] {});
    EXPECT_STREQ(last_start().text, "started: after a restart by others");
}

TEST_F(LinuxJournal, ARunDirectoryThatOutlivesTheMachineShowsAPowerCut)
{
    daemon([] { set_all_led(1); });
    std::string bytes = text_of(run() / "journal");
    bytes[offsetof(journal_head, boot)] = '?';
    write_text(run() / "journal", bytes);
    daemon([] {});
    EXPECT_EQ(texts_in(run() / "journal"), Texts{"started: after a power cut or crash"});
}

TEST_F(LinuxJournal, GarbageIsNoJournal)
{
    for (const std::string &garbage :
         {std::string(), std::string("x"), std::string(65536, 'x'), std::string(70000, 0)}) {
        fs::remove_all(run());
        fs::create_directory(run());
        fs::permissions(run(), fs::perms::owner_all);
        write_text(run() / "journal", garbage);
        write_text(conf() / "last_restart", garbage);
        daemon([] { set_all_led(1); });
        EXPECT_EQ(texts_in(run() / "journal"),
                  (Texts{"started: first start, or after a power cut or crash", "leds 1"}));
        EXPECT_FALSE(fs::exists(conf() / "last_restart"));
    }
}

TEST_F(LinuxJournal, ARestartDoesNotWaitForAFolderThatTakesNothing)
{
    ASSERT_EQ(mount("none", conf().c_str(), "tmpfs", 0, "size=4096"), 0) << strerror(errno);
    write_text(conf() / "filling", std::string(4096, 'x'));
    EXPECT_LT(time_taken([&] { daemon_restarts_the_machine(); }), 10s);
    EXPECT_FALSE(fs::exists(conf() / "last_restart"));
    EXPECT_FALSE(fs::exists(conf() / "last_restart.new"));
    ASSERT_EQ(mount(nullptr, conf().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0) << strerror(errno);
    EXPECT_LT(time_taken([&] { daemon_restarts_the_machine(); }), 10s);
    umount(conf().c_str());
    fs::remove_all(conf());
    EXPECT_LT(time_taken([&] { daemon_restarts_the_machine(); }), 10s);
    EXPECT_FALSE(fs::exists(conf())) << "nor is it made for that";
}

// ---- the ring, under kills ----

// A record whose every part follows from its number.
journal_record numbered(uint32_t number)
{
    journal_record record = {};
    record.time = number;
    record.count = number;
    record.times = 1;
    memset(record.text, 'a' + static_cast<int>(number % 26), number % (JOURNAL_TEXT_SIZE - 1) + 1);
    return record;
}

void expect_whole(const journal_record &record)
{
    journal_record expected = numbered(record.count);
    expected.sequence = record.sequence;
    expected.check = record.check;
    EXPECT_EQ(memcmp(&record, &expected, sizeof record), 0) << "record " << record.sequence;
}

TEST(JournalRing, GivesWholeRecordsInOrderWhileWritersAreKilled)
{
    auto *const ring = static_cast<journal_ring *>(
        mmap(nullptr, sizeof(journal_ring), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    journal_ring_make(ring, "");
    std::vector<journal_record> records(JOURNAL_SLOTS);
    uint32_t last = 0;
    for (int kill = 0; kill < 300 && !testing::Test::HasFailure(); kill++) {
        Child writer([&] {
            uint32_t newest = journal_newest(ring, sizeof *ring);
            for (;;) {
                const journal_record record = numbered(newest + 1);
                journal_ring_write(ring, &newest, &record);
            }
        });
        for (int look = 0; look < 3; look++) {
            if (look == 2) {
                usleep(static_cast<useconds_t>(kill % 17) * 50);
                writer.kill_now();
                writer.wait();
            }
            const size_t found = journal_read(ring, sizeof *ring, 0, records.data(), records.size());
            for (size_t i = 0; i < found; i++) {
                expect_whole(records[i]);
                EXPECT_TRUE(i == 0 || records[i].sequence > records[i - 1].sequence);
            }
            if (look == 2) {
                EXPECT_GE(found + 2, std::min<size_t>(journal_newest(ring, sizeof *ring), JOURNAL_SLOTS));
            }
        }
        EXPECT_GE(journal_newest(ring, sizeof *ring) + 1, last) << "what was read once is lost";
        last = journal_newest(ring, sizeof *ring);
    }
    EXPECT_GT(last, static_cast<uint32_t>(JOURNAL_SLOTS)) << "the writers came round";
    munmap(ring, sizeof *ring);
}

TEST(JournalRing, GivesWhatIsNewAndNoMoreThanAskedFor)
{
    journal_ring ring;
    journal_ring_make(&ring, "");
    uint32_t newest = 0;
    for (uint32_t i = 1; i <= 600; i++) {
        const journal_record record = numbered(i);
        journal_ring_write(&ring, &newest, &record);
    }
    std::array<journal_record, JOURNAL_SLOTS> records = {};
    EXPECT_EQ(journal_read(&ring, sizeof ring, 0, records.data(), records.size()), 255U);
    EXPECT_EQ(records[0].sequence, 346U);
    EXPECT_EQ(journal_read(&ring, sizeof ring, 598, records.data(), records.size()), 2U);
    EXPECT_EQ(records[1].sequence, 600U);
    EXPECT_EQ(journal_read(&ring, sizeof ring, 600, records.data(), records.size()), 0U);
    EXPECT_EQ(journal_read(&ring, sizeof ring, 500, records.data(), 3), 3U);
    EXPECT_EQ(records[0].sequence, 501U);
    EXPECT_EQ(journal_read(&ring, sizeof ring - 1, 0, records.data(), records.size()), 0U) << "a file that is cut";
}

} // namespace
