// The bus between programs: what travels, what is refused, and who holds a name.
#include "platform/linux/bus.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/netctrl.h"
#include "tests/contract/contract_support.h"

using namespace std::chrono_literals;

namespace
{

std::string sender_of(const bus_message &message)
{
    char name[48];
    bus_name_sender(message.sender, name);
    return name;
}

class Bus : public testing::Test
{
protected:
    Bus()
    {
        setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
    }

    bus_message received(const bus_end &from)
    {
        bus_message message = {};
        pollfd readable = {.fd = from.socket, .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&readable, 1, 10000), 1) << "no message came";
        EXPECT_EQ(bus_receive(&from, &message), BUS_DONE);
        return message;
    }

    // A socket of the test's own, connected to a name.
    int connected_to(const char *name)
    {
        const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof address.sun_path, "%s/bus.%s", getenv("TIME_CHECK_RUN_DIR"), name);
        EXPECT_EQ(connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0) << strerror(errno);
        return socket;
    }

    TemporaryFolder folder;
    bus_end end = {};
};

TEST_F(Bus, MessageReachesTheHolderWithItsSender)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    ASSERT_EQ(bus_post("time_check", "time_check_reboot?op=3"), BUS_DONE);
    const bus_message message = received(end);
    EXPECT_STREQ(message.text, "time_check_reboot?op=3");
    EXPECT_EQ(sender_of(message), "contract_bus_te[" + std::to_string(getpid()) + "]");
    bus_message none;
    EXPECT_EQ(bus_receive(&end, &none), BUS_NOTHING);
}

TEST_F(Bus, SenderThatHasEndedIsNamedByItsNumber)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    Child sender([] { bus_post("time_check", "last words"); });
    ASSERT_EQ(sender.wait(), 0);
    EXPECT_EQ(sender_of(received(end)), "pid " + std::to_string(sender.pid()));
}

TEST_F(Bus, EachSenderIsNamedThoughBothPostThroughOneSocket)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    ASSERT_EQ(bus_post("time_check", "mine"), BUS_DONE);
    Child sender([] { bus_post("time_check", "the child's"); });
    ASSERT_EQ(sender.wait(), 0);
    EXPECT_EQ(received(end).sender, getpid());
    EXPECT_EQ(received(end).sender, sender.pid());
}

TEST_F(Bus, PostsOpenNothingThatStays)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    ASSERT_EQ(bus_post("time_check", "first"), BUS_DONE);
    const size_t descriptors = open_descriptors();
    while (bus_post("time_check", "until the queue is full") == BUS_DONE) {
    }
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(Bus, ThreadsThatPostAtOnceLoseNothing)
{
    constexpr int POSTS = 1000;
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    std::atomic<int> accepted = 0;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&] {
            for (int post = 0; post < POSTS; post++)
                accepted += bus_post("time_check", "text") == BUS_DONE ? 1 : 0;
        });
    for (int i = 0; i < 4 * POSTS; i++)
        received(end);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(accepted, 4 * POSTS);
}

TEST_F(Bus, RunDirectoryIsClosedToOthers)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    struct stat found = {};
    ASSERT_EQ(stat(getenv("TIME_CHECK_RUN_DIR"), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0700U);
}

TEST_F(Bus, RunDirectoryThatIsOpenToOthersIsRefused)
{
    ASSERT_EQ(mkdir(getenv("TIME_CHECK_RUN_DIR"), 0700), 0);
    ASSERT_EQ(chmod(getenv("TIME_CHECK_RUN_DIR"), 0755), 0);
    EXPECT_EQ(bus_open("time_check", &end), BUS_RUN_DIRECTORY);
    EXPECT_EQ(errno, EPERM);
    const std::string user = std::to_string(geteuid());
    EXPECT_EQ(bus_result_text(BUS_RUN_DIRECTORY), std::string("run directory ") + getenv("TIME_CHECK_RUN_DIR") +
                                                      ": user " + user + "'s directory, mode 0755; wanted: user " +
                                                      user + "'s directory, mode 0700");
}

TEST_F(Bus, TextsOfEveryLengthUpToTheLimitTravelWhole)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    for (const size_t length : {0UL, 1UL, 127UL, 128UL, 255UL, 256UL, 257UL, 4094UL, 4095UL}) {
        const std::string text(length, 'x');
        ASSERT_EQ(bus_post("time_check", text.c_str()), BUS_DONE) << length;
        EXPECT_EQ(received(end).text, text);
    }
}

TEST_F(Bus, TextBeyondTheLimitIsRefusedAtTheSender)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    EXPECT_EQ(bus_post("time_check", std::string(4096, 'x').c_str()), BUS_TOO_LONG);
    bus_message none;
    EXPECT_EQ(bus_receive(&end, &none), BUS_NOTHING);
}

TEST_F(Bus, CutDatagramIsDroppedAtTheReceiver)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    const int socket = connected_to("time_check");
    const std::string text(4096, 'x');
    ASSERT_EQ(send(socket, text.data(), text.size(), 0), 4096);
    bus_message message;
    EXPECT_EQ(bus_receive(&end, &message), BUS_TOO_LONG);
    EXPECT_EQ(sender_of(message), "contract_bus_te[" + std::to_string(getpid()) + "]");
    close(socket);
}

TEST_F(Bus, TextEndsAtItsFirstZero)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    const int socket = connected_to("time_check");
    ASSERT_EQ(send(socket, "one\0two", 7, 0), 7);
    EXPECT_STREQ(received(end).text, "one");
    close(socket);
}

TEST_F(Bus, NameIsHeldByOneProcessAtATime)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    Child second([] {
        bus_end other;
        _exit(bus_open("time_check", &other));
    });
    EXPECT_EQ(second.wait(), BUS_HELD);
    ASSERT_EQ(bus_post("time_check", "still here"), BUS_DONE);
    EXPECT_STREQ(received(end).text, "still here");

    bus_close(&end);
    Child third([] {
        bus_end other;
        _exit(bus_open("time_check", &other));
    });
    EXPECT_EQ(third.wait(), BUS_DONE);
}

TEST_F(Bus, NameOfADeadHolderIsFree)
{
    Child holder([] {
        bus_end dying;
        _exit(bus_open("time_check", &dying)); // leaves its socket's file behind
    });
    ASSERT_EQ(holder.wait(), BUS_DONE);
    EXPECT_EQ(bus_post("time_check", "anyone?"), BUS_NO_HOLDER);
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    ASSERT_EQ(bus_post("time_check", "hello"), BUS_DONE);
    EXPECT_STREQ(received(end).text, "hello");
}

TEST_F(Bus, PostingToANameThatNobodyHoldsSaysSo)
{
    EXPECT_EQ(bus_post("netctrl", "19?op=9"), BUS_NO_HOLDER);
    EXPECT_STREQ(bus_result_text(BUS_NO_HOLDER), "no process holds the name");
}

TEST_F(Bus, StrangeNamesAreRefused)
{
    for (const char *name :
         {"", "a/b", "../time_check", ".", "a.lock", "a b", "n\xc3\xa9", "123456789012345678901234567890123"}) {
        EXPECT_EQ(bus_open(name, &end), BUS_BAD_NAME) << name;
        EXPECT_EQ(bus_post(name, "text"), BUS_BAD_NAME) << name;
    }
    EXPECT_EQ(bus_open("12345678901234567890123456789012", &end), BUS_DONE);
}

TEST_F(Bus, SenderFailsWhenTheQueueStaysFull)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    bus_result result = BUS_DONE;
    int accepted = 0;
    const auto taken = time_taken([&] {
        while ((result = bus_post("time_check", "text")) == BUS_DONE)
            accepted++;
    });
    EXPECT_EQ(result, BUS_NO_ROOM);
    EXPECT_GE(taken, 1900ms);
    EXPECT_LT(taken, 20s);
    bus_message message;
    for (int i = 0; i < accepted; i++)
        EXPECT_EQ(bus_receive(&end, &message), BUS_DONE);
    EXPECT_EQ(bus_receive(&end, &message), BUS_NOTHING);
}

TEST_F(Bus, FloodLosesNothingThatWasAcceptedAndNothingGrows)
{
    constexpr int FLOOD = 100000;
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    Child sender([] {
        for (int i = 0; i < FLOOD; i++)
            if (bus_post("time_check", std::to_string(i).c_str()) != BUS_DONE)
                _exit(1);
    });
    EXPECT_STREQ(received(end).text, "0");
    const size_t descriptors = open_descriptors();
    const size_t heap = mallinfo2().uordblks;
    for (int i = 1; i < FLOOD; i++)
        ASSERT_EQ(atoi(received(end).text), i);
    EXPECT_EQ(sender.wait(), 0);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_LE(mallinfo2().uordblks, heap);
}

TEST_F(Bus, DescriptorsThatRideAlongAreClosed)
{
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const int socket = connected_to("time_check");
    char text[] = "with a present";
    iovec data = {.iov_base = text, .iov_len = strlen(text)};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr *item = CMSG_FIRSTHDR(&message);
    item->cmsg_level = SOL_SOCKET;
    item->cmsg_type = SCM_RIGHTS;
    item->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(item), &ends[1], sizeof(int));

    const size_t descriptors = open_descriptors();
    ASSERT_EQ(sendmsg(socket, &message, 0), 14);
    EXPECT_STREQ(received(end).text, "with a present");
    EXPECT_EQ(open_descriptors(), descriptors);
    close(ends[1]);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0) << "somebody still holds the pipe's other end";
    close(ends[0]);
    close(socket);
}

TEST_F(Bus, MessageOfAnotherUserIsDropped)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "NOT TESTED: only root can send as another user";
    ASSERT_EQ(bus_open("time_check", &end), BUS_DONE);
    const int socket = connected_to("time_check"); // opened before the rights are given up: the folder is closed
    Child foreigner([&] {
        constexpr uid_t NOBODY = 65534;
        _exit(setuid(NOBODY) == 0 && send(socket, "let me in", 9, 0) == 9 ? 0 : 1);
    });
    ASSERT_EQ(foreigner.wait(), 0);
    bus_message message;
    EXPECT_EQ(bus_receive(&end, &message), BUS_FOREIGN_SENDER);
    EXPECT_EQ(bus_receive(&end, &message), BUS_NOTHING);
    close(socket);
}

TEST_F(Bus, MessageToNetctrlCarriesItsModule)
{
    ASSERT_EQ(bus_open("netctrl", &end), BUS_DONE);
    EXPECT_EQ(send_msg_to_netctrl(19, "op=9"), 0);
    EXPECT_STREQ(received(end).text, "19?op=9");
}

TEST_F(Bus, MessageToAnAbsentNetctrlFailsWithALine)
{
    const std::string lines = error_lines_of([] { EXPECT_EQ(send_msg_to_netctrl(35, "op=8"), -1); });
    EXPECT_NE(lines.find("bus: cannot post \"35?op=8\" to netctrl: no process holds the name\n"), std::string::npos)
        << lines;
    EXPECT_EQ(send_msg_to_netctrl(35, std::string(4096, 'x').c_str()), -1);
}

} // namespace
