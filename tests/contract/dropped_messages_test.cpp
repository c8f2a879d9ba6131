// Messages that are dropped: a few are told, the rest by their number. The test has a clock of its own, so that a
// minute passes at once.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/message_bus.h"
#include "tests/contract/contract_support.h"

static time_t passed_s;

extern "C" int __wrap_clock_gettime(clockid_t clock, timespec *now); // NOLINT(bugprone-reserved-identifier)
int __wrap_clock_gettime(clockid_t clock, timespec *now)             // NOLINT(bugprone-reserved-identifier)
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    now->tv_sec += passed_s;
    return result;
}

namespace
{

int handled;

int count(const char * /*sender*/, const char * /*text*/)
{
    handled++;
    return 0;
}

void send_all(int socket, const std::string &text, int times)
{
    for (int i = 0; i < times; i++) {
        while (send(socket, text.data(), text.size(), MSG_DONTWAIT) < 0) // the queue is short
            sleep(1);
    }
    sleep(1);
}

int socket_to_daemon()
{
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s/bus.time_check", getenv("TIME_CHECK_RUN_DIR"));
    EXPECT_EQ(connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0); // NOLINT
    return socket;
}

TEST(DroppedMessages, AreToldOneByOneAFewTimesAMinuteAndThenByTheirNumber)
{
    const TemporaryFolder folder;
    setenv("TIME_CHECK_RUN_DIR", (folder.path() / "run").c_str(), 1);
    in_own_process([] {
        ASSERT_NE(RegMsgHandle("time_check", "*", count), 0);
        const int socket = socket_to_daemon();
        const std::string over_long(5000, 'x');
        const std::string flood = error_lines_of([&] { send_all(socket, over_long, 25); });
        EXPECT_EQ(std::count(flood.begin(), flood.end(), '\n'), 5) << flood;
        EXPECT_NE(flood.find("of contract_droppe["), std::string::npos) << flood;

        const std::string later = error_lines_of([&] {
            send_all(socket, "a message", 3);
            passed_s += 61;
            sleep(1);
        });
        EXPECT_EQ(later, "contract_dropped_messages_test: bus: 20 more such messages dropped\n");
        EXPECT_EQ(handled, 3) << "messages that can be served are";

        const std::string next = error_lines_of([&] { send_all(socket, over_long, 1); });
        EXPECT_NE(next.find("bus: over-long message of"), std::string::npos) << "a new minute: " << next;
        passed_s += 61;
        EXPECT_EQ(error_lines_of([] { sleep(1); }), "") << "one was told, there is nothing to count";
        close(socket);
    });
}

} // namespace
