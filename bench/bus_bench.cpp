// What a message costs from one process to another and back, and a thousand of them in a row, in turn with bare
// datagrams and with calls through a private dbus-daemon (its address in DBUS_SESSION_BUS_ADDRESS). In a run directory
// of its own.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <dbus/dbus.h>

#include "bench/alternate.h"
#include "platform/linux/bus.h"
#include "platform/message_bus.h"

namespace
{

constexpr char TEXT[] = "time_check_power?op=2,string_info=bench"; // what travels is like a control message
constexpr char COUNTED[] = "not answered";
constexpr int BURST = 1000;
constexpr bench::pace ROUND_TRIPS = {15, 500, 1};
constexpr bench::pace BURSTS = {9, 5, 1};

[[noreturn]] void fail(const char *what)
{
    std::perror(what);
    std::exit(1); // NOLINT(concurrency-mt-unsafe)
}

// Otherwise the scheduler may put the two processes of one way on one processor and those of the other on two, where
// waking takes several times as long. Those that are started later stay there too.
void stay_on_one_processor()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0)
        fail("sched_setaffinity");
}

// A process that answers, and that ends with this one.
void start(void (*serve)())
{
    const pid_t child = fork();
    if (child < 0)
        fail("fork");
    if (child > 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve();
    _exit(1);
}

// ---- the bus ----

bus_end own_end;

int answer(const char * /*sender*/, const char *text)
{
    if (strcmp(text, COUNTED) != 0)
        bus_post("bench", text);
    return 0;
}

void serve_bus()
{
    RegMsgHandle("echo", "*", answer);
    for (;;)
        sleep(3600);
}

void post(const char *text)
{
    if (bus_post("echo", text) != BUS_DONE)
        fail("bus_post");
}

void bus_round_trip()
{
    static bus_message message;
    post(TEXT);
    while (bus_receive(&own_end, &message) == BUS_NOTHING) {
        pollfd readable = {.fd = own_end.socket, .events = POLLIN, .revents = 0};
        poll(&readable, 1, -1);
    }
}

void bus_burst()
{
    for (int i = 0; i < BURST; i++)
        post(COUNTED);
    bus_round_trip();
}

// ---- datagrams ----

int own_socket;

sockaddr_un address_of(const char *name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const char *folder = getenv("TIME_CHECK_RUN_DIR"); // NOLINT(concurrency-mt-unsafe)
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/bare.%s", folder == nullptr ? "/tmp" : folder, name);
    return address;
}

const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address); // NOLINT(*-reinterpret-cast): how the socket calls are made
}

int bound_socket(const char *name)
{
    const sockaddr_un address = address_of(name);
    const int end = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(address.sun_path);
    if (end < 0 || bind(end, generic(&address), sizeof address) != 0)
        fail("bind");
    return end;
}

void send_bare(int end, const char *to, const char *text, size_t length)
{
    const sockaddr_un address = address_of(to);
    if (sendto(end, text, length, 0, generic(&address), sizeof address) < 0)
        fail("sendto");
}

void serve_bare()
{
    const int end = bound_socket("echo");
    std::array<char, 4096> text;
    for (;;) {
        const ssize_t length = recv(end, text.data(), text.size(), 0);
        if (length > 0 && static_cast<size_t>(length) != strlen(COUNTED))
            send_bare(end, "bench", text.data(), static_cast<size_t>(length));
    }
}

void bare_round_trip()
{
    std::array<char, 4096> text;
    send_bare(own_socket, "echo", TEXT, strlen(TEXT));
    if (recv(own_socket, text.data(), text.size(), 0) < 0)
        fail("recv");
}

void bare_burst()
{
    for (int i = 0; i < BURST; i++)
        send_bare(own_socket, "echo", COUNTED, strlen(COUNTED));
    bare_round_trip();
}

// ---- D-Bus ----

constexpr char DBUS_NAME[] = "time.check.bench";
DBusConnection *own_connection;

DBusConnection *connection()
{
    DBusConnection *const made = dbus_bus_get_private(DBUS_BUS_SESSION, nullptr);
    if (made == nullptr)
        fail("no D-Bus");
    dbus_connection_set_exit_on_disconnect(made, FALSE);
    return made;
}

void serve_dbus()
{
    DBusConnection *const bus = connection();
    dbus_bus_request_name(bus, DBUS_NAME, 0, nullptr);
    while (dbus_connection_read_write(bus, -1)) {
        while (DBusMessage *const call = dbus_connection_pop_message(bus)) {
            if (dbus_message_get_type(call) == DBUS_MESSAGE_TYPE_METHOD_CALL && !dbus_message_get_no_reply(call)) {
                DBusMessage *const reply = dbus_message_new_method_return(call);
                dbus_connection_send(bus, reply, nullptr);
                dbus_connection_flush(bus);
                dbus_message_unref(reply);
            }
            dbus_message_unref(call);
        }
    }
}

DBusMessage *new_call()
{
    const char *text = TEXT;
    DBusMessage *const call = dbus_message_new_method_call(DBUS_NAME, "/", DBUS_NAME, "Post");
    dbus_message_append_args(call, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    return call;
}

void dbus_round_trip()
{
    DBusMessage *const call = new_call();
    DBusMessage *const reply = dbus_connection_send_with_reply_and_block(own_connection, call, -1, nullptr);
    if (reply == nullptr)
        fail("D-Bus call");
    dbus_message_unref(reply);
    dbus_message_unref(call);
}

void dbus_burst()
{
    for (int i = 0; i < BURST; i++) {
        DBusMessage *const call = new_call();
        dbus_message_set_no_reply(call, TRUE);
        dbus_connection_send(own_connection, call, nullptr);
        dbus_message_unref(call);
    }
    dbus_round_trip();
}

void wait_for_servers()
{
    while (bus_post("echo", COUNTED) == BUS_NO_HOLDER)
        usleep(1000);
    const sockaddr_un address = address_of("echo");
    while (sendto(own_socket, COUNTED, strlen(COUNTED), 0, generic(&address), sizeof address) < 0)
        usleep(1000);
    while (!dbus_bus_name_has_owner(own_connection, DBUS_NAME, nullptr))
        usleep(1000);
}

} // namespace

int main()
{
    stay_on_one_processor();
    start(serve_bus);
    start(serve_bare);
    start(serve_dbus);
    if (bus_open("bench", &own_end) != BUS_DONE)
        fail("bus_open");
    own_socket = bound_socket("bench");
    own_connection = connection();
    wait_for_servers();

    const bench::way bus = {"message", bus_round_trip, {}};
    bench::alternate("message round trip", bus, {"bare datagram", bare_round_trip, {}}, ROUND_TRIPS);
    bench::alternate("message round trip", bus, {"D-Bus call", dbus_round_trip, {}}, ROUND_TRIPS);
    const bench::way messages = {"messages", bus_burst, {}};
    bench::alternate("1000 messages one way", messages, {"bare datagrams", bare_burst, {}}, BURSTS);
    bench::alternate("1000 messages one way", messages, {"D-Bus calls", dbus_burst, {}}, BURSTS);
    bus_close(&own_end);
    dbus_connection_close(own_connection);
    dbus_connection_unref(own_connection);
}
