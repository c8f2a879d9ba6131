// A change of the time zone counts from the main loop's next second on, however it is made. /etc is the test's own.
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/zone_watch.h"
#include "platform/message_bus.h"
#include "tests/contract/contract_support.h"

namespace fs = std::filesystem;

namespace
{

constexpr const char *LOCALTIME = "/etc/localtime";

// The clock of a summer day's noon in UTC, as the daemon reads it.
int hour()
{
    const time_t noon = 1780315200;
    tm local = {};
    localtime_r(&noon, &local);
    return local.tm_hour;
}

// A zone file without changes of the clock, as large and as old as any other of them.
void write_zone(const fs::path &file, int hours_east)
{
    std::string text = "TZif";
    text.append(16, '\0');
    const auto number = [&text](uint32_t value) {
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift);
    };
    for (const uint32_t count : {0U, 0U, 0U, 0U, 1U, 4U}) // one kind of local time, four letters of names
        number(count);
    number(static_cast<uint32_t>(hours_east * 3600));
    text.append(2, '\0'); // no summer time, the first name
    text += std::string("LMT", 4);
    write_text(file, text);
    const timespec times[] = {{.tv_sec = 1767225600, .tv_nsec = 0}, {.tv_sec = 1767225600, .tv_nsec = 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

class Zone : public testing::Test
{
protected:
    void SetUp() override
    {
        unsetenv("TZ");
        setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
        ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, nullptr), 0);
        ASSERT_EQ(mount("tmpfs", "/var", "tmpfs", 0, nullptr), 0);
        fs::create_directories("/var/zones");
        for (int i = 1; i <= 9; i++)
            write_zone(zone(i), i);
    }

    static std::string zone(int hours_east)
    {
        return "/var/zones/" + std::to_string(hours_east);
    }

    // As the daemon begins: it has read its zone and slept.
    static void begin()
    {
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        hour();
        sleep(1);
    }

    static int take(const char * /*sender*/, const char * /*text*/)
    {
        return 0;
    }

    static void expect_from_next_second(int expected)
    {
        sleep(1);
        EXPECT_EQ(hour(), expected);
    }

    TemporaryFolder folder;
};

TEST_F(Zone, FileRenamedOverItCounts)
{
    in_own_process([] {
        write_zone(LOCALTIME, 1);
        begin();
        EXPECT_EQ(hour(), 13);
        write_zone("/etc/new", 9);
        fs::rename("/etc/new", LOCALTIME);
        EXPECT_EQ(hour(), 13) << "not while a tick goes on";
        expect_from_next_second(21);
        write_zone("/etc/new", 2);
        fs::rename("/etc/new", LOCALTIME);
        expect_from_next_second(14);
    });
}

// Same number, size and time of change: the C library by itself takes it for what it has read.
TEST_F(Zone, FileRewrittenInItsPlaceCounts)
{
    in_own_process([] {
        write_zone(LOCALTIME, 1);
        begin();
        for (const int hours : {9, 2, 3}) {
            write_zone(LOCALTIME, hours);
            expect_from_next_second(12 + hours);
        }
    });
}

TEST_F(Zone, LinkThatPointsElsewhereCounts)
{
    in_own_process([] {
        fs::create_symlink(zone(1), LOCALTIME);
        begin();
        EXPECT_EQ(hour(), 13);
        fs::create_symlink(zone(9), "/etc/new");
        fs::rename("/etc/new", LOCALTIME);
        expect_from_next_second(21);
        fs::remove(LOCALTIME);
        fs::create_symlink(zone(2), LOCALTIME);
        expect_from_next_second(14);
        write_zone("/var/zones/new", 5); // and what the link leads to now
        fs::rename("/var/zones/new", zone(2));
        expect_from_next_second(17);
    });
}

TEST_F(Zone, EveryLinkOfAChainCounts)
{
    in_own_process([] {
        fs::create_directories("/var/etc");
        fs::create_symlink("../var/etc/localtime", LOCALTIME);
        fs::create_symlink("current", "/var/etc/localtime");
        fs::create_symlink("../zones/1", "/var/etc/current");
        begin();
        EXPECT_EQ(hour(), 13);
        fs::create_symlink("../zones/9", "/var/etc/new");
        fs::rename("/var/etc/new", "/var/etc/current");
        expect_from_next_second(21);
        fs::create_symlink("/var/zones/2", "/var/etc/new");
        fs::rename("/var/etc/new", "/var/etc/localtime");
        expect_from_next_second(14);
        write_zone(zone(2), 4);
        expect_from_next_second(16);
    });
}

TEST_F(Zone, FileThatComesWhereNoneWasCounts)
{
    in_own_process([] {
        begin();
        EXPECT_EQ(hour(), 12);
        write_zone(LOCALTIME, 9);
        expect_from_next_second(21);
        fs::remove(LOCALTIME);
        expect_from_next_second(12);
        fs::create_symlink("/var/to_come", LOCALTIME);
        expect_from_next_second(12);
        write_zone("/var/to_come", 3);
        expect_from_next_second(15);
    });
}

TEST_F(Zone, ChangeBeforeTheFirstSleepCounts)
{
    in_own_process([] {
        write_zone(LOCALTIME, 1);
        ASSERT_NE(RegMsgHandle("time_check", "*", take), 0);
        EXPECT_EQ(hour(), 13);
        write_zone(LOCALTIME, 9);
        expect_from_next_second(21);
    });
}

TEST_F(Zone, ZoneOfTheEnvironmentStays)
{
    in_own_process([] {
        setenv("TZ", LOCALTIME, 1);
        write_zone(LOCALTIME, 1);
        begin();
        write_zone("/etc/new", 9);
        fs::rename("/etc/new", LOCALTIME);
        expect_from_next_second(13);
        setenv("TZ", "LMT-5", 1);
        expect_from_next_second(13);
    });
}

// How often the calling thread was woken, or gave way, in three sleeps of a second.
long wakes_in_three_sleeps()
{
    rusage before = {};
    rusage after = {};
    getrusage(RUSAGE_THREAD, &before);
    for (int i = 0; i < 3; i++)
        sleep(1);
    getrusage(RUSAGE_THREAD, &after);
    return after.ru_nvcsw - before.ru_nvcsw;
}

// What the sleeping thread spends a second, while somebody else writes into /etc without a pause.
TEST_F(Zone, OtherFilesOfTheFolderDoNotWakeTheSleep)
{
    in_own_process([] {
        write_zone(LOCALTIME, 1);
        begin();
        Child busy([] {
            for (;;)
                write_text("/etc/resolv.conf", "nameserver 192.0.2.1\n");
        });
        ASSERT_TRUE(comes_true([] { return fs::exists("/etc/resolv.conf"); }));
        EXPECT_LE(wakes_in_three_sleeps(), 3 + 3);
        write_zone(LOCALTIME, 9);
        expect_from_next_second(21);
    });
}

// Where there is no zone file its folder is watched, but one change in a second wakes as much as thousands.
TEST_F(Zone, WaitingForAnAbsentFileWakesTheSleepOnceASecondAtMost)
{
    in_own_process([] {
        begin();
        Child busy([] {
            for (int i = 0;; i++) {
                write_text("/etc/new", "nameserver 192.0.2.1\n");
                fs::rename("/etc/new", "/etc/resolv.conf");
            }
        });
        ASSERT_TRUE(comes_true([] { return fs::exists("/etc/resolv.conf"); }));
        EXPECT_LE(wakes_in_three_sleeps(), 10 * 3); // making the watch anew waits inside the kernel
    });
}

TEST_F(Zone, WhereNobodyTellsItIsReadOnceAMinute)
{
    const char *const limit = "/proc/sys/user/max_inotify_instances"; // of the test's own namespace
    const std::string as_it_was = text_of(limit);
    write_text(limit, "0");
    in_own_process([] {
        write_zone(LOCALTIME, 1);
        begin();
        EXPECT_EQ(zone_changes(), -1);
        write_zone(LOCALTIME, 9);
        for (int i = 1; i < 60; i++)
            zone_slept(false);
        EXPECT_EQ(hour(), 13);
        zone_slept(false);
        EXPECT_EQ(hour(), 21);
    });
    write_text(limit, as_it_was);
}

TEST_F(Zone, LinkIntoAFolderThatDoesNotExistYetIsReadOnceAMinute)
{
    in_own_process([] {
        fs::create_symlink("/var/later/zone", LOCALTIME);
        begin();
        fs::create_directories("/var/later");
        write_zone("/var/later/zone", 9);
        sleep(1);
        for (int i = 0; i < 60; i++)
            zone_slept(false);
        EXPECT_EQ(hour(), 21);
        write_zone("/var/later/zone", 2);
        expect_from_next_second(14);
    });
}

// Links that go round, and one that is too long to be followed, are no zone: UTC holds.
TEST_F(Zone, LinksThatLeadNowhereDoNoHarm)
{
    in_own_process([] {
        fs::create_symlink("localtime", LOCALTIME);
        begin();
        EXPECT_EQ(hour(), 12);
        fs::remove(LOCALTIME);
        fs::create_symlink("/var/" + std::string(1000, 'x'), LOCALTIME);
        expect_from_next_second(12);
        fs::remove(LOCALTIME);
        write_zone(LOCALTIME, 9);
        expect_from_next_second(21);
    });
}

TEST_F(Zone, FollowingItHoldsOneDescriptor)
{
    in_own_process([] {
        fs::create_symlink(zone(1), LOCALTIME);
        begin();
        const size_t open_before = open_descriptors();
        for (int i = 0; i < 3; i++) {
            write_zone(zone(1), 2 + i);
            sleep(1);
        }
        EXPECT_EQ(open_descriptors(), open_before);
    });
}

} // namespace
