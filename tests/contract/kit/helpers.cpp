// Other processes and files, for worlds and checks.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/message_bus.h"
#include "tests/contract/kit/kit.h"

enum { VALUE_SIZE = 4096, PATH_SIZE = 512, PROCESSES = 8, PATIENCE_MS = 20000 };

static constexpr const char *AS_ANOTHER = "--as-another-process";

struct started {
    pid_t pid;
    int output; // what it prints; -1: nothing is kept
};

static pid_t processes[PROCESSES];
static char links[PROCESSES][PATH_SIZE];
static int process_count;

long long kit_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

// ---- processes ----

// In the child, before anything else: it goes when the check goes, and prints into the pipe.
static void begin_child(const int *ends)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
}

// The kit's program with these words, under the path; pid -1: it could not be started.
static started start_kit(const char *path, const char *first, const char *second, const char *third)
{
    int ends[2];
    if (pipe(ends) != 0)
        return {-1, -1};
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        begin_child(ends);
        execl(path, path, AS_ANOTHER, first, second, third, nullptr);
        _exit(127);
    }
    close(ends[1]);
    return {pid, ends[0]};
}

// What comes until the other end closes or says no more, terminated. False: that took too long.
static bool read_all(int from, char *text, size_t size)
{
    const long long deadline = kit_ms() + PATIENCE_MS;
    size_t length = 0;
    text[0] = '\0';
    for (;;) {
        pollfd wait = {from, POLLIN, 0};
        const long long left = deadline - kit_ms();
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0)
            return false;
        char rest[256];
        const bool fits = length + 1 < size;
        const ssize_t got = read(from, fits ? text + length : rest, fits ? size - 1 - length : sizeof rest);
        if (got <= 0)
            return got == 0;
        if (fits)
            length += static_cast<size_t>(got);
        text[fits ? length : size - 1] = '\0';
    }
}

// -1 when it has not ended in time; it is ended then.
static int wait_for(pid_t pid)
{
    int status = 0;
    const timespec moment = {0, 5000000};
    for (const long long deadline = kit_ms() + PATIENCE_MS; waitpid(pid, &status, WNOHANG) == 0;
         nanosleep(&moment, nullptr))
        if (kit_ms() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return -1;
        }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

static int finish(started child, char *output, size_t size)
{
    char nobody[2];
    const bool ended =
        read_all(child.output, output != nullptr ? output : nobody, output != nullptr ? size : sizeof nobody);
    close(child.output);
    if (!ended)
        kill(child.pid, SIGKILL);
    const int status = wait_for(child.pid);
    return ended ? status : -1;
}

int kit_in_a_process(void (*act)(), char *output, size_t size)
{
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        begin_child(ends);
        act();
        fflush(nullptr);
        _exit(99); // which no check takes for right
    }
    close(ends[1]);
    return finish({pid, ends[0]}, output, size);
}

// ---- for worlds ----

static constexpr const char *OWN_PATH = "/proc/self/exe";

int kit_set_elsewhere(const char *key, const char *value)
{
    return finish(start_kit(OWN_PATH, "set", key, value), nullptr, 0);
}

int kit_get_elsewhere(const char *key, char *value, size_t size)
{
    return finish(start_kit(OWN_PATH, "get", key, nullptr), value, size);
}

// Waits until the other process says that it is there.
static int keep(started child)
{
    char said = '\0';
    pollfd wait = {child.output, POLLIN, 0};
    const bool is_there = poll(&wait, 1, PATIENCE_MS) == 1 && read(child.output, &said, 1) == 1;
    if (!is_there || process_count == PROCESSES) {
        kill(child.pid, SIGKILL);
        waitpid(child.pid, nullptr, 0);
        return -1;
    }
    processes[process_count++] = child.pid;
    return 0;
}

int kit_hold_name(const char *name)
{
    return keep(start_kit(OWN_PATH, "hold", name, nullptr));
}

static const char *temporary_folder()
{
    const char *const told = getenv("TMPDIR");
    return told == nullptr || told[0] == '\0' ? "/tmp" : told;
}

// Through a link of that name, which is then the name of the process, of its program and its first argument.
int kit_process(const char *name)
{
    char folder[PATH_SIZE];
    char own[PATH_SIZE] = "";
    if (process_count == PROCESSES || readlink(OWN_PATH, own, sizeof own - 1) <= 0)
        return -1;
    snprintf(folder, sizeof folder, "%s/kit.XXXXXX", temporary_folder());
    if (mkdtemp(folder) == nullptr)
        return -1;
    char(&link)[PATH_SIZE] = links[process_count];
    if (snprintf(link, sizeof link, "%s/%s", folder, name) >= static_cast<int>(sizeof link) || symlink(own, link) != 0)
        return -1;
    const int result = keep(start_kit(link, "wait", nullptr, nullptr));
    unlink(link);
    rmdir(folder);
    return result;
}

int kit_end_processes()
{
    while (process_count > 0) {
        const pid_t pid = processes[--process_count];
        kill(pid, SIGKILL);
        if (waitpid(pid, nullptr, 0) != pid)
            return -1;
    }
    return 0;
}

int kit_file(const char *text, char *path, size_t size)
{
    if (snprintf(path, size, "%s/kit.XXXXXX", temporary_folder()) >= static_cast<int>(size))
        return -1;
    const int file = mkstemp(path);
    if (file < 0)
        return -1;
    const bool written = write(file, text, strlen(text)) == static_cast<ssize_t>(strlen(text));
    return close(file) == 0 && written ? 0 : -1;
}

// ---- the kit's program as another process ----

static int take_nothing(const char * /*sender*/, const char * /*text*/)
{
    return 0;
}

static int set(const char *key, const char *value)
{
    return SetValue(key, value) == 1 ? 0 : 1;
}

static int get(const char *key)
{
    static char value[VALUE_SIZE];
    GetValue(key, value, sizeof value);
    return write(STDOUT_FILENO, value, strlen(value)) == static_cast<ssize_t>(strlen(value)) ? 0 : 1;
}

// Until it is killed, with who started it at the latest.
static int stay()
{
    if (write(STDOUT_FILENO, "+", 1) == 1)
        for (;;)
            pause();
    return 1;
}

void kit_be_another_process(int count, char **arguments)
{
    if (count < 3 || strcmp(arguments[1], AS_ANOTHER) != 0)
        return;
    const char *const work = arguments[2];
    if (strcmp(work, "set") == 0 && count == 5)
        exit(set(arguments[3], arguments[4]));
    if (strcmp(work, "get") == 0 && count == 4)
        exit(get(arguments[3]));
    if (strcmp(work, "hold") == 0 && count == 4)
        exit(RegMsgHandle(arguments[3], "*", take_nothing) != 0 ? stay() : 1);
    if (strcmp(work, "wait") == 0)
        exit(stay());
}
