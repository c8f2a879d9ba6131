// The order of the name servers in /etc/resolv.conf.
#include <cerrno>

#include "tests/support/wan_world.h"
#include "time_check/wan_surf_probe.h"

using NameServers = RouterTest;

namespace
{

constexpr char PATH[] = "/etc/resolv.conf";
constexpr char NEW_PATH[] = "/etc/resolv.conf.time_check";

std::string adjusted(const std::string &text)
{
    box.files.set(PATH, text);
    adjust_resolv_conf_sequence();
    return box.files.text_of(PATH);
}

// `length` characters, line end included.
std::string long_line(size_t length)
{
    return std::string(length - 1, 'x') + "\n";
}

constexpr char SERVER_1[] = "nameserver 10.0.0.1\n";
constexpr char SERVER_2[] = "nameserver 10.0.0.2\n";
constexpr char SERVER_3[] = "nameserver 10.0.0.3\n";

} // namespace

TEST_F(NameServers, TheFirstOfThreeMovesBehindTheThird)
{
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2 + SERVER_3), std::string(SERVER_2) + SERVER_3 + SERVER_1);
}

TEST_F(NameServers, OtherLinesKeepTheirOrder)
{
    EXPECT_EQ(adjusted(std::string("# by hand\nsearch lan\n") + SERVER_1 + "options rotate\n" + SERVER_2),
              std::string("# by hand\nsearch lan\noptions rotate\n") + SERVER_2 + SERVER_1);
}

TEST_F(NameServers, NoneLeavesTheFileUnchanged)
{
    EXPECT_EQ(adjusted("search lan\n# none\n"), "search lan\n# none\n");
    EXPECT_EQ(adjusted("search lan"), "search lan");
    EXPECT_EQ(adjusted(""), "");
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(NameServers, OneLeavesTheFileUnchanged)
{
    EXPECT_EQ(adjusted(SERVER_1), SERVER_1);
    EXPECT_EQ(adjusted("search lan\nnameserver 10.0.0.1"), "search lan\nnameserver 10.0.0.1");
}

TEST_F(NameServers, OnlyALineThatBeginsWithTheWordIsOne)
{
    EXPECT_EQ(adjusted(std::string("# nameserver 10.0.0.9\n nameserver 10.0.0.8\n") + SERVER_1 + SERVER_2),
              std::string("# nameserver 10.0.0.9\n nameserver 10.0.0.8\n") + SERVER_2 + SERVER_1);
}

TEST_F(NameServers, AMissingFinalLineEndIsSupplied)
{
    EXPECT_EQ(adjusted(std::string(SERVER_1) + "nameserver 10.0.0.2"), std::string(SERVER_2) + SERVER_1);
    EXPECT_EQ(adjusted(std::string(SERVER_1) + "search lan"), std::string("search lan\n") + SERVER_1);
}

TEST_F(NameServers, ALongLineIsKeptWhole)
{
    for (const size_t length : {255U, 256U, 257U, 300U, 511U, 1000U})
        EXPECT_EQ(adjusted(SERVER_1 + long_line(length) + SERVER_2), long_line(length) + SERVER_2 + SERVER_1) << length;
}

TEST_F(NameServers, APieceOfALongLineIsNoNameServer)
{
    const std::string line = std::string(255, '#') + "nameserver 10.0.0.9\n";
    EXPECT_EQ(adjusted(line + SERVER_1 + SERVER_2), line + SERVER_2 + SERVER_1);
}

TEST_F(NameServers, AnOverlongNameServerLineIsMovedWhole)
{
    const std::string line = "nameserver 10.0.0.9 " + std::string(280, '#') + "\n";
    EXPECT_EQ(adjusted(line + SERVER_2), SERVER_2 + line);
}

TEST_F(NameServers, ANulByteGluesNoLines)
{
    using namespace std::string_literals;
    const std::string odd = "search lan\0 more\n"s;
    const std::string server = "nameserver 10.0.0.1\0#\n"s;
    EXPECT_EQ(adjusted(odd + server + SERVER_2), odd + SERVER_2 + server);
    EXPECT_EQ(adjusted("\0\n"s + SERVER_1 + "\0"s), "\0\n\0\n"s + SERVER_1);
}

TEST_F(NameServers, AFileOfExactly2048BytesIsKept)
{
    const std::string rest = long_line(500) + long_line(500) + long_line(500) + long_line(500 + 8) + SERVER_2;
    ASSERT_EQ(rest.size() + sizeof SERVER_1 - 1, 2048U);
    EXPECT_EQ(adjusted(SERVER_1 + rest), rest + SERVER_1);
    EXPECT_EQ(adjusted(SERVER_1 + std::string(2028, 'x')), std::string(2028, 'x') + "\n" + SERVER_1);
}

TEST_F(NameServers, ALargerFileIsReportedAndLeftAlone)
{
    for (const size_t length : {2009U, 4096U, 1000000U}) {
        const std::string text = SERVER_1 + long_line(length) + SERVER_2;
        box.log.clear();
        EXPECT_EQ(adjusted(text), text);
        EXPECT_EQ(box.log.lines(), (Lines{"adjust_resolv_conf_sequence 286: open /etc/resolv.conf fail!"}));
    }
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(NameServers, WhatChangesNothingIsNotWritten)
{
    for (const std::string text : {"", "search lan\n", "nameserver 10.0.0.1\n", "nameserver 10.0.0.1",
                                   "search lan\nnameserver 10.0.0.1\n", "nameserver 1.1.1.1\nnameserver 1.1.1.1\n"})
        EXPECT_EQ(adjusted(text), text);
    EXPECT_TRUE(box.journal.lines().empty());
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(NameServers, TheNewFileIsTheOldOnesOwnersAndAsReadable)
{
    box.files.set_permissions(PATH, 0640, 0, 4);
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
    EXPECT_EQ(box.files.permissions_of(PATH), "640 0:4");
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
    EXPECT_EQ(box.files.permissions_of(PATH), "640 0:4");
}

TEST_F(NameServers, AnOwnerThatCannotBeGivenHasTheFileOverwrittenInPlace)
{
    for (const char *call : {"fchown", "fchmod"}) {
        box.journal.clear();
        box.faults.fail(call, 1, EPERM);
        EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
        EXPECT_ACTS("unlink /etc/resolv.conf.time_check", "write /etc/resolv.conf") << call;
    }
}

TEST_F(NameServers, WhatLiesInTheNewFilesPlaceIsNotFollowed)
{
    box.files.set("/etc/victim", "text");
    box.files.set_link(NEW_PATH, "/etc/victim");
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
    EXPECT_EQ(box.files.text_of("/etc/victim"), "text");
    box.files.set("/etc/victim", "text");
    box.files.set(NEW_PATH, "left by a crash, and longer than what is written there now");
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
}

TEST_F(NameServers, AnUnreadableFileIsReportedAndLeftAlone)
{
    box.files.set_unreadable(PATH);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(box.log.lines(), (Lines{"adjust_resolv_conf_sequence 286: open /etc/resolv.conf fail!"}));
    EXPECT_TRUE(box.journal.lines().empty());
}

TEST_F(NameServers, AMissingFileIsReportedAndNotMade)
{
    box.files.remove(PATH);
    box.files.set_missing(PATH);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(box.log.lines(), (Lines{"adjust_resolv_conf_sequence 286: open /etc/resolv.conf fail!"}));
    EXPECT_FALSE(box.files.exists(PATH));
}

TEST_F(NameServers, AFileThatCannotBeReadToItsEndIsLeftAlone)
{
    box.faults.fail("read", 2, EIO);
    const std::string text = SERVER_1 + long_line(600) + SERVER_2;
    EXPECT_EQ(adjusted(text), text);
    EXPECT_EQ(box.log.lines(), (Lines{"adjust_resolv_conf_sequence 286: open /etc/resolv.conf fail!"}));
}

TEST_F(NameServers, TheNewFileTakesTheOldOnesPlaceAtOnce)
{
    adjusted(std::string(SERVER_1) + SERVER_2);
    EXPECT_EQ(box.journal.lines(),
              (Lines{"write /etc/resolv.conf.time_check", "rename /etc/resolv.conf.time_check /etc/resolv.conf"}));
    EXPECT_FALSE(box.files.exists(NEW_PATH));
}

TEST_F(NameServers, ALinkStaysOne)
{
    box.files.set_link(PATH, "/tmp/resolv.conf");
    box.files.set("/tmp/resolv.conf", std::string(SERVER_1) + SERVER_2);
    adjust_resolv_conf_sequence();
    EXPECT_ACTS("write /tmp/resolv.conf");
    EXPECT_EQ(box.files.text_of("/tmp/resolv.conf"), std::string(SERVER_2) + SERVER_1);
}

TEST_F(NameServers, AMountedFileIsOverwrittenInPlace)
{
    box.faults.fail("rename", 1, EBUSY);
    EXPECT_EQ(adjusted(std::string(SERVER_1) + "search lan\n" + SERVER_2),
              std::string("search lan\n") + SERVER_2 + SERVER_1);
    EXPECT_FALSE(box.files.exists(NEW_PATH));
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(NameServers, AFileThatGrewMeanwhileKeepsNoTail)
{
    box.files.set_link(PATH, "/tmp/resolv.conf");
    box.files.set("/tmp/resolv.conf", std::string(SERVER_1) + SERVER_2);
    box.faults.fail_when(
        "open",
        [](uint64_t nth) {
            if (nth == 2)
                box.files.set("/tmp/resolv.conf", std::string(SERVER_1) + SERVER_2 + SERVER_3);
            return false;
        },
        EIO);
    adjust_resolv_conf_sequence();
    EXPECT_EQ(box.files.text_of("/tmp/resolv.conf"), std::string(SERVER_2) + SERVER_1);
}

TEST_F(NameServers, AReadOnlyFolderHasTheFileOverwrittenInPlace)
{
    box.files.set_missing(NEW_PATH);
    box.faults.fail("open", 2, EROFS);
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_2) + SERVER_1);
    EXPECT_TRUE(box.log.lines().empty());
}

TEST_F(NameServers, AnUnwritableFileIsReported)
{
    box.files.set_missing(NEW_PATH);
    box.faults.fail("open", 2, EROFS, true);
    EXPECT_EQ(adjusted(std::string(SERVER_1) + SERVER_2), std::string(SERVER_1) + SERVER_2);
    EXPECT_EQ(box.log.lines(), (Lines{"adjust_resolv_conf_sequence 303: open /etc/resolv.conf fail!"}));
}

TEST_F(NameServers, AnyOneFaultLeavesTheOldOrTheNewFile)
{
    const std::string old_text = std::string(SERVER_1) + SERVER_2;
    const std::string new_text = std::string(SERVER_2) + SERVER_1;
    box.files.set_missing(NEW_PATH);
    for (const char *call : {"open", "read", "fstat", "unlink", "fchown", "fchmod", "write", "fsync", "ftruncate",
                             "close", "readlink", "rename"}) {
        for (unsigned nth = 1; nth <= 4; nth++) {
            box.faults.fail(call, nth, ENOSPC);
            const std::string text = adjusted(old_text);
            box.faults.clear();
            EXPECT_TRUE(text == old_text || text == new_text) << call << " " << nth << ":\n" << text;
            EXPECT_TRUE(box.open_descriptors().empty()) << call << " " << nth;
        }
    }
}
