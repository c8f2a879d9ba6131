#include "platform/linux/bus.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/linux/deadline.h"
#include "platform/linux/kernel_file.h"
#include "platform/linux/printable.h"
#include "platform/linux/run_directory.h"

constexpr int64_t ROOM_TIMEOUT_MS = 2000;

static char fault[RUN_FAULT_MAX]; // of the run directory

const char *bus_result_text(bus_result result)
{
    switch (result) {
    case BUS_DONE:
        return "done";
    case BUS_NOTHING:
        return "no message is waiting";
    case BUS_BAD_NAME:
        return "not a name for the bus";
    case BUS_TOO_LONG:
        return "the text is too long";
    case BUS_FOREIGN_SENDER:
        return "another user's message";
    case BUS_HELD:
        return "another process holds the name";
    case BUS_NO_HOLDER:
        return "no process holds the name";
    case BUS_NO_ROOM:
        return "the receiver's queue stayed full";
    case BUS_RUN_DIRECTORY:
        return run_directory_fault(fault);
    case BUS_SYSTEM_ERROR:
        return strerror(errno);
    }
    return "";
}

// ---- names ----

// A name becomes a file name, so nothing that could leave the run directory, and no dot: the lock's suffix has one.
static bool is_bus_name(const char *name)
{
    const size_t length = strlen(name);
    return length > 0 && length <= BUS_NAME_MAX &&
           strspn(name, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-") == length;
}

static bus_result address_of(const char *name, sockaddr_un *address)
{
    if (!is_bus_name(name))
        return BUS_BAD_NAME;
    *address = {};
    address->sun_family = AF_UNIX;
    const int length = snprintf(address->sun_path, sizeof address->sun_path, "%s/bus.%s", run_directory(), name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof address->sun_path) {
        errno = ENAMETOOLONG;
        return BUS_SYSTEM_ERROR;
    }
    return BUS_DONE;
}

static const sockaddr *generic(const sockaddr_un *address)
{
    return reinterpret_cast<const sockaddr *>(address); // NOLINT(*-reinterpret-cast): how the socket calls are made
}

static int datagram_socket()
{
    return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

typedef char lock_path[sizeof sockaddr_un::sun_path + sizeof ".lock"];

static void name_lock(const char *socket_path, lock_path &path)
{
    snprintf(path, sizeof path, "%s.lock", socket_path);
}

// The lock, and not the socket's file, tells whether a holder lives: the kernel frees it however the holder ends, and
// two processes that find the same dead holder cannot both get it (decision 0021).
static bus_result take_lock(const char *socket_path, int *lock)
{
    lock_path path;
    name_lock(socket_path, path);
    *lock = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (*lock < 0)
        return BUS_SYSTEM_ERROR;
    if (flock(*lock, LOCK_EX | LOCK_NB) == 0)
        return BUS_DONE;
    const bus_result result = errno == EWOULDBLOCK ? BUS_HELD : BUS_SYSTEM_ERROR;
    close(*lock);
    return result;
}

static int bound_socket(const sockaddr_un *address)
{
    const int socket = datagram_socket();
    if (socket < 0)
        return -1;
    const int on = 1;
    unlink(address->sun_path);
    if (setsockopt(socket, SOL_SOCKET, SO_PASSCRED, &on, sizeof on) == 0 &&
        bind(socket, generic(address), sizeof *address) == 0)
        return socket;
    const int kept_errno = errno;
    close(socket);
    errno = kept_errno;
    return -1;
}

// Binds the socket behind the lock, which is taken first unless it is held. The end is as before when that fails.
static bus_result bind_name(const sockaddr_un *address, bool has_lock, bus_end *end)
{
    bus_end fresh = *end;
    if (!make_run_directory())
        return BUS_RUN_DIRECTORY;
    const bus_result result = has_lock ? BUS_DONE : take_lock(address->sun_path, &fresh.lock);
    if (result != BUS_DONE)
        return result;
    fresh.socket = bound_socket(address);
    if (fresh.socket >= 0) {
        *end = fresh;
        return BUS_DONE;
    }
    const int kept_errno = errno;
    if (!has_lock)
        close(fresh.lock);
    errno = kept_errno;
    return BUS_SYSTEM_ERROR;
}

bus_result bus_open(const char *name, bus_end *end)
{
    sockaddr_un address;
    const bus_result named = address_of(name, &address);
    return named == BUS_DONE ? bind_name(&address, false, end) : named;
}

static bool lock_stands(const bus_end *end, const char *socket_path)
{
    lock_path path;
    name_lock(socket_path, path);
    return still_stands(end->lock, path);
}

bool bus_stands(const char *name, const bus_end *end)
{
    sockaddr_un address;
    return address_of(name, &address) != BUS_DONE || (lock_stands(end, address.sun_path) && is_there(address.sun_path));
}

bus_result bus_open_anew(const char *name, bus_end *end)
{
    sockaddr_un address;
    bus_result result = address_of(name, &address);
    if (result != BUS_DONE)
        return result;
    const bus_end old = *end;
    const bool has_lock = lock_stands(end, address.sun_path);
    result = bind_name(&address, has_lock, end);
    if (result == BUS_DONE) {
        close(old.socket);
        if (!has_lock)
            close(old.lock);
    }
    return result;
}

void bus_leave(const bus_end *end)
{
    sockaddr_un address = {};
    socklen_t length = sizeof address;
    sockaddr *const generic_address = reinterpret_cast<sockaddr *>(&address); // NOLINT(*-reinterpret-cast)
    if (getsockname(end->socket, generic_address, &length) == 0)
        unlink(address.sun_path);
}

void bus_close(bus_end *end)
{
    bus_leave(end);
    close(end->socket);
    close(end->lock); // last: only then may another process take the name
}

// ---- posting ----

// The process's one socket for posting, to any name and from any thread; -1: none has been needed. A child of fork may
// use it too: the kernel takes the sender's identity from who sends, not from who opened.
static std::atomic<int> kept_posting_socket = -1;

static bus_result result_of_send_error()
{
    if (errno == EACCES) // it may not be entered
        return BUS_RUN_DIRECTORY;
    return errno == ENOENT || errno == ECONNREFUSED || errno == ECONNRESET ? BUS_NO_HOLDER : BUS_SYSTEM_ERROR;
}

// The kernel queues only some ten datagrams a socket. Only a connected socket tells by poll when the peer has room.
static bus_result send_when_there_is_room(int socket, const char *text, size_t length)
{
    const int64_t deadline = monotonic_ms() + ROOM_TIMEOUT_MS;
    for (;;) {
        if (send(socket, text, length, MSG_NOSIGNAL) >= 0)
            return BUS_DONE;
        if (errno != EAGAIN && errno != ENOBUFS && errno != EINTR)
            return result_of_send_error();
        const int64_t left_ms = deadline - monotonic_ms();
        if (left_ms <= 0)
            return BUS_NO_ROOM;
        const timespec timeout = timespec_of_ms(left_ms);
        pollfd writable = {.fd = socket, .events = POLLOUT, .revents = 0};
        ppoll(&writable, 1, &timeout, nullptr);
    }
}

static bus_result post_when_there_is_room(const sockaddr_un *address, const char *text, size_t length)
{
    const int socket = datagram_socket();
    if (socket < 0)
        return BUS_SYSTEM_ERROR;
    const bus_result result = connect(socket, generic(address), sizeof *address) == 0
                                  ? send_when_there_is_room(socket, text, length)
                                  : result_of_send_error();
    const int kept_errno = errno;
    close(socket);
    errno = kept_errno;
    return result;
}

// -1: none can be had.
static int posting_socket()
{
    int known = kept_posting_socket.load();
    if (known >= 0)
        return known;
    const int socket = datagram_socket();
    if (socket < 0 || kept_posting_socket.compare_exchange_strong(known, socket))
        return socket;
    close(socket); // another thread was first
    return known;
}

bus_result bus_post(const char *to, const char *text)
{
    sockaddr_un address;
    const bus_result named = address_of(to, &address);
    if (named != BUS_DONE)
        return named;
    const size_t length = strlen(text);
    if (length > BUS_TEXT_MAX)
        return BUS_TOO_LONG;
    const int socket = posting_socket();
    if (socket < 0)
        return BUS_SYSTEM_ERROR;
    if (sendto(socket, text, length, MSG_NOSIGNAL, generic(&address), sizeof address) >= 0)
        return BUS_DONE;
    const bool may_have_room_later = errno == EAGAIN || errno == ENOBUFS || errno == EINTR;
    return may_have_room_later ? post_when_there_is_room(&address, text, length) : result_of_send_error();
}

// ---- receiving ----

static const ucred *credentials_of(msghdr *header)
{
    for (cmsghdr *item = CMSG_FIRSTHDR(header); item != nullptr; item = CMSG_NXTHDR(header, item))
        if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_CREDENTIALS)
            return static_cast<const ucred *>(static_cast<const void *>(CMSG_DATA(item)));
    return nullptr;
}

void bus_name_sender(pid_t sender, char (&name)[48])
{
    char path[32];
    char program[24];
    snprintf(path, sizeof path, "/proc/%d/comm", sender);
    if (read_first_line(path, program, sizeof program)) {
        make_printable(program, strlen(program)); // a process names itself
        snprintf(name, sizeof name, "%s[%d]", program, sender);
    } else {
        snprintf(name, sizeof name, "pid %d", sender);
    }
}

bus_result bus_receive(const bus_end *end, bus_message *message)
{
    // Room for the credentials alone: descriptors that ride along have nowhere to go, and the kernel closes them.
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    iovec text = {.iov_base = message->text, .iov_len = BUS_TEXT_MAX};
    msghdr header = {};
    header.msg_iov = &text;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;

    ssize_t length = 0;
    do
        length = recvmsg(end->socket, &header, MSG_CMSG_CLOEXEC);
    while (length < 0 && errno == EINTR);
    if (length < 0)
        return errno == EAGAIN ? BUS_NOTHING : BUS_SYSTEM_ERROR;
    message->text[length] = '\0';

    const ucred *credentials = credentials_of(&header);
    if (credentials == nullptr || (credentials->uid != 0 && credentials->uid != geteuid()))
        return BUS_FOREIGN_SENDER;
    message->sender = credentials->pid;
    return (header.msg_flags & MSG_TRUNC) != 0 ? BUS_TOO_LONG : BUS_DONE;
}
