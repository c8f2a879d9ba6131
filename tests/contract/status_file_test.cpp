// The status page is a file that others read while the daemon writes it, and after it has died in the middle of that.
#include "platform/common/status_file.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/linux/status_file.h"
#include "platform/system.h"
#include "tests/contract/contract_support.h"
#include "tests/contract/own_process.h"

namespace fs = std::filesystem;

namespace
{

// A sanitizer's reader takes a tenth of that; the daemon's loop publishes once a second.
constexpr std::chrono::microseconds PAUSE{500};

class StatusFile : public testing::Test
{
protected:
    StatusFile()
    {
        setenv("TIME_CHECK_RUN_DIR", run().c_str(), 1);
        unsetenv("TIME_CHECK_GROUP");
        fs::create_directory(run());
        fs::permissions(run(), fs::perms::owner_all);
    }

    std::string run() const
    {
        return (folder.path() / "run").string();
    }
    std::string file() const
    {
        return run() + "/status";
    }

    status_fault read()
    {
        return status_read(file().c_str(), &reading);
    }

    // The file with these bytes in the place of its own.
    status_fault read_changed(size_t place, const std::string &bytes)
    {
        std::string text = text_of(file());
        text.replace(place, bytes.size(), bytes);
        const std::string changed = (folder.path() / "changed").string();
        write_text(changed, text);
        return status_read(changed.c_str(), &reading);
    }

    TemporaryFolder folder;
    status_reading reading = {};
};

void fill_main(uint32_t number)
{
    for (status_row &row : status_memory.main.rows)
        row.count = row.target = number;
    for (status_program &program : status_memory.main.daemon.programs)
        program.count = number;
}

// Each of those as a change, which the list has just room for.
void note_main()
{
    for (const status_row &row : status_memory.main.rows) {
        status_field_changed(&row.count, sizeof row.count);
        status_field_changed(&row.target, sizeof row.target);
    }
    for (const status_program &program : status_memory.main.daemon.programs)
        status_field_changed(&program.count, sizeof program.count);
}

// Every number of both parts becomes this one.
void fill(uint32_t number)
{
    fill_main(number);
    for (status_wan &wan : status_memory.wans.wan)
        wan.forgiven = wan.names = wan.row.count = number;
}

// The number that all are, or -1 when they differ.
int64_t number_in(const time_check_status &status)
{
    const uint32_t number = status.main.rows[0].count;
    bool is_one = true;
    for (const status_row &row : status.main.rows)
        is_one = is_one && row.count == number && row.target == number;
    for (const status_program &program : status.main.daemon.programs)
        is_one = is_one && program.count == number;
    const uint32_t wans = status.wans.wan[0].forgiven;
    for (const status_wan &wan : status.wans.wan)
        is_one = is_one && wan.forgiven == wans && wan.names == wans && wan.row.count == wans;
    return is_one ? number : -1;
}

TEST_F(StatusFile, IsReadAsItWasPublished)
{
    in_own_process([this] {
        status_file_begin();
        fill(7);
        memcpy(status_memory.wans.wan[1].interface, "eth2.3", 7);
        status_memory.main.changed = 1;
        status_publish(STATUS_PART_MAIN);
        status_publish(STATUS_PART_WANS);
        EXPECT_EQ(status_memory.main.changed, 0U);
        status_memory.main.rows[3].count = 8; // not published

        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_EQ(number_in(reading.status), 7);
        EXPECT_STREQ(reading.status.wans.wan[1].interface, "eth2.3");
        EXPECT_EQ(reading.pid, getpid());
        EXPECT_STRNE(reading.program, "");
        EXPECT_NEAR(reading.start, get_uptime(), 5);
    });
}

TEST_F(StatusFile, TellsWhetherTheWriterLives)
{
    in_own_process([this] {
        Child writer([] {
            status_file_begin();
            pause();
        });
        EXPECT_TRUE(comes_true([this] { return read() == STATUS_READ; }));
        EXPECT_TRUE(reading.is_alive);
        writer.kill_now();
        writer.wait();
        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_FALSE(reading.is_alive);
    });
}

TEST_F(StatusFile, TellsWhenTheLoopLastEndedASecond)
{
    in_own_process([this] {
        status_file_begin();
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        status_file_beat((static_cast<int64_t>(now.tv_sec) - 90) * 1000);
        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_NEAR(reading.age_ms, 90500, 2000);
        EXPECT_NEAR(reading.uptime, get_uptime() - 90, 2);
        EXPECT_NEAR(static_cast<double>(reading.calendar), static_cast<double>(time(nullptr) - 90), 2);
    });
}

TEST_F(StatusFile, IsWholeAtAnyMoment)
{
    in_own_process([this] {
        status_file_begin();
        std::atomic<bool> is_over = false;
        std::thread main_loop([&is_over] {
            for (uint32_t number = 1; !is_over; number++) {
                fill_main(number);
                if (number % 8 != 0) // now and then all of it is copied
                    note_main();
                status_publish(STATUS_PART_MAIN);
                status_file_beat(number);
                std::this_thread::sleep_for(PAUSE);
            }
        });
        std::thread reachability([&is_over] {
            for (uint32_t number = 1; !is_over; number++) {
                for (status_wan &wan : status_memory.wans.wan)
                    wan.forgiven = wan.names = wan.row.count = number;
                status_publish(STATUS_PART_WANS);
                std::this_thread::sleep_for(PAUSE);
            }
        });
        int64_t last = 0;
        for (int i = 0; i < 2000; i++) {
            ASSERT_EQ(read(), STATUS_READ);
            const int64_t number = number_in(reading.status);
            EXPECT_GE(number, last); // never mixed, and never an older second
            last = number;
        }
        is_over = true;
        main_loop.join();
        reachability.join();
    });
}

// A second's changes: some numbers, now and then more of them than the list holds, an act, or no one knows what.
void change_something()
{
    status_main *const main = &status_memory.main;
    const auto one_of = [](long most) { return static_cast<size_t>(random() % most); };
    for (size_t i = one_of(10) == 0 ? 50 : one_of(6); i > 0; i--) {
        status_program *const program = &main->cpu.programs[one_of(STATUS_PROGRAMS)];
        program->looked = random();
        status_field_changed(&program->looked, sizeof program->looked);
        program->verdict = static_cast<uint8_t>(one_of(9));
        status_field_changed(&program->verdict, sizeof program->verdict);
    }
    if (one_of(3) == 0) {
        status_row *const row = one_of(4) == 0 ? &main->stoppage_row : &main->rows[one_of(STATUS_ROWS)];
        snprintf(row->act, sizeof row->act, "act %ld", random());
        row->acted = random();
        row->acted_verdict = static_cast<uint8_t>(one_of(9));
        status_row_acted(row);
    }
    if (one_of(10) == 0) {
        main->rows[one_of(STATUS_ROWS)].since = random();
        main->changed |= STATUS_CHANGED;
    }
}

TEST_F(StatusFile, HasWhatChangedInEachOfItsCopies)
{
    in_own_process([this] {
        status_file_begin();
        int by_words = 0;
        for (int second = 0; second < 2000 && !testing::Test::HasFailure(); second++) {
            if (second % 500 == 499) {
                fs::remove(file());
                status_file_look();
            }
            change_something();
            by_words += status_memory.main.changed == STATUS_NOTED ? 1 : 0;
            if (status_memory.main.changed == 0)
                continue;
            status_publish(STATUS_PART_MAIN);
            ASSERT_EQ(read(), STATUS_READ);
            reading.status.main.changed = 0; // which is of no use to a reader
            EXPECT_EQ(memcmp(&reading.status.main, &status_memory.main, sizeof status_memory.main), 0) << second;
        }
        EXPECT_GT(by_words, 1000);
    });
}

// An act of the reachability thread is none of the main loop's part.
TEST_F(StatusFile, ActsOfOtherRowsAreNotNoted)
{
    in_own_process([] {
        status_memory.main.changed = 0;
        status_row_acted(&status_memory.wans.wan[1].row);
        EXPECT_EQ(status_memory.main.changed, 0U);
        status_row_acted(&status_memory.main.stoppage_row);
        EXPECT_EQ(status_memory.main.changed, uint32_t{STATUS_NOTED});
        EXPECT_EQ(status_noted.acted, 1U << STATUS_ROWS);
    });
}

// A thousand times, with TIME_CHECK_WALK=all.
TEST_F(StatusFile, SurvivesItsWritersDeathAtAnyMoment)
{
    const char *walk = getenv("TIME_CHECK_WALK");
    const int deaths = walk != nullptr && strcmp(walk, "all") == 0 ? 1000 : 100;
    for (int death = 0; death < deaths; death++) {
        Child writer([] {
            status_file_begin();
            for (uint32_t number = 1;; number++) {
                fill(number);
                status_publish(STATUS_PART_MAIN);
                status_publish(STATUS_PART_WANS);
            }
        });
        const auto look = [this] { return read() == STATUS_READ && reading.is_alive && number_in(reading.status) > 0; };
        ASSERT_TRUE(comes_true(look));
        usleep(static_cast<useconds_t>(random() % 3000));
        writer.kill_now();
        writer.wait();
        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_FALSE(reading.is_alive);
        EXPECT_GT(number_in(reading.status), 0) << "half a second mixed with another";
    }
}

TEST_F(StatusFile, IsReplacedByTheNextWriter)
{
    in_own_process([this] {
        Child first([] {
            status_file_begin();
            fill(1);
            status_publish(STATUS_PART_MAIN);
        });
        first.wait();
        status_file_begin();
        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_EQ(number_in(reading.status), 0);
        EXPECT_TRUE(fs::exists(file()));
        EXPECT_FALSE(fs::exists(file() + ".new"));
    });
}

TEST_F(StatusFile, IsMadeAnewWhenItWasRemoved)
{
    in_own_process([this] {
        status_file_begin();
        fs::remove(file());
        fill(3);
        status_file_look();
        ASSERT_EQ(read(), STATUS_READ);
        EXPECT_EQ(number_in(reading.status), 3);
        const auto inode = [this] {
            struct stat found = {};
            stat(file().c_str(), &found);
            return found.st_ino;
        };
        const ino_t before = inode();
        status_file_look();
        EXPECT_EQ(inode(), before);
    });
}

TEST_F(StatusFile, IsItsOwnersAlone)
{
    in_own_process([this] {
        status_file_begin();
        struct stat found = {};
        ASSERT_EQ(stat(file().c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0600U);
    });
}

TEST_F(StatusFile, MayBeReadByAGroupInAFolderOfItsOwn)
{
    in_own_process([this] {
        status_file_begin();                                         // without a group, as an earlier run left it
        setenv("TIME_CHECK_GROUP", getgrgid(getegid())->gr_name, 1); // a user may give files to his own group
        status_file_begin();
        EXPECT_FALSE(fs::exists(file()));
        const std::string shared = run() + "-status";
        struct stat found = {};
        ASSERT_EQ(stat(shared.c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0750U);
        ASSERT_EQ(stat((shared + "/status").c_str(), &found), 0);
        EXPECT_EQ(found.st_mode & 0777U, 0644U); // also where the file is of another group than the folder
        EXPECT_EQ(status_read((shared + "/status").c_str(), &reading), STATUS_READ);
    });
}

TEST_F(StatusFile, ThatCannotBeMadeIsTold)
{
    in_own_process([this] {
        fs::remove_all(run());
        EXPECT_NE(said(status_file_begin).find(file() + " cannot be written: No such file"), std::string::npos);
        status_publish(STATUS_PART_MAIN);
        status_file_beat(1);
        EXPECT_EQ(read(), STATUS_NO_PAGE);
        setenv("TIME_CHECK_GROUP", "no such group", 1);
        EXPECT_NE(said(status_file_begin).find("there is no group no such group"), std::string::npos);
    });
}

TEST_F(StatusFile, OfAnotherKindIsRefused)
{
    in_own_process([this] {
        status_file_begin();
        EXPECT_EQ(read_changed(0, ""), STATUS_READ);
        EXPECT_EQ(read_changed(0, "other"), STATUS_NOT_A_PAGE);
        const uint32_t swapped = __builtin_bswap32(STATUS_BYTE_ORDER);
        EXPECT_EQ(read_changed(offsetof(status_file, byte_order),
                               std::string(reinterpret_cast<const char *>(&swapped), sizeof swapped)),
                  STATUS_OTHER_BYTE_ORDER);
        EXPECT_EQ(read_changed(offsetof(status_file, byte_order), "abcd"), STATUS_NOT_A_PAGE);
        EXPECT_EQ(read_changed(offsetof(status_file, version), std::string(4, '\7')), STATUS_OTHER_VERSION);
        EXPECT_EQ(read_changed(offsetof(status_file, size), std::string(4, '\7')), STATUS_NOT_A_PAGE);

        const std::string text = text_of(file());
        const std::string part = (folder.path() / "part").string();
        for (const size_t length : {size_t{0}, size_t{5}, size_t{15}}) {
            write_text(part, text.substr(0, length));
            EXPECT_EQ(status_read(part.c_str(), &reading), STATUS_NOT_A_PAGE) << length;
        }
        write_text(part, text.substr(0, 400));
        EXPECT_EQ(status_read(part.c_str(), &reading), STATUS_OTHER_VERSION);
        EXPECT_EQ(status_read(run().c_str(), &reading), STATUS_NOT_A_PAGE); // a folder
        EXPECT_EQ(status_read((file() + "/x").c_str(), &reading), STATUS_NO_PAGE);
    });
}

} // namespace
