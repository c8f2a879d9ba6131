// Commands and programs, all started by one runner (decision 0022).
#include "platform/system.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/common/journal.h"
#include "platform/linux/command.h"
#include "platform/linux/deadline.h"
#include "platform/linux/ground_log.h"
#include "platform/linux/ledger.h"
#include "platform/linux/program.h"
#include "platform/linux/store_setting.h"
#include "platform/linux/watched.h"

constexpr size_t COMMAND_SIZE = 4096;
constexpr int DEFAULT_DEADLINE_S = 60;
constexpr int64_t KILL_TIMEOUT_MS = 2000; // for the end of a killed program; only the kernel can hold it longer
constexpr int NOT_RUN = -1;

static std::atomic<int> logged_run_error; // of the latest command that could not be run

// ---- starting ----

struct program {
    const char *path; // looked up in PATH
    char *const *argv;
    int output;     // what becomes standard output; -1: the caller's
    int errors;     // the same of standard error
    bool is_waited; // whether it ends with the daemon, also with one that is killed
};

static void default_signals()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++)
        sigaction(number, &action, nullptr);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

static void close_inherited_descriptors()
{
    constexpr int FIRST = STDERR_FILENO + 1;
    constexpr int LAST_WITHOUT_CLOSE_RANGE = 1023; // kernels before 5.9
#ifdef SYS_close_range
    if (syscall(SYS_close_range, FIRST, UINT_MAX, 0) == 0)
        return;
#endif
    for (int fd = FIRST; fd <= LAST_WITHOUT_CLOSE_RANGE; fd++)
        close(fd);
}

// A command is not held up, or ended, by a log whose reader has stopped or gone: then it prints to nowhere.
static void leave_unread_output(int nowhere)
{
    pollfd outputs[] = {{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0},
                        {.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0}};
    const timespec at_once = {};
    ppoll(outputs, 2, &at_once, nullptr);
    for (const pollfd &output : outputs)
        if (output.revents != POLLOUT)
            dup2(nowhere, output.fd);
}

// Runs between vfork and exec, in the parent's memory: system calls only.
[[noreturn]] static void become(const program *program, volatile int *error)
{
    setpgid(0, 0);
    if (program->is_waited) {
        ledger_command *const command = ledger_own_command();
        command->uptime = get_uptime();
        command->pid = getpid();
    }
    const int empty = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (empty >= 0)
        dup2(empty, STDIN_FILENO);
    else
        close(STDIN_FILENO);
    if (program->output >= 0)
        dup2(program->output, STDOUT_FILENO);
    if (program->errors >= 0)
        dup2(program->errors, STDERR_FILENO);
    leave_unread_output(STDIN_FILENO);
    close_inherited_descriptors();
    default_signals();
    execvp(program->path, program->argv);
    *error = errno;
    _exit(127);
}

// The process id, or -1 with errno set. Signals wait meanwhile: a handler must not run in the child.
static pid_t start(const program *program)
{
    volatile int error = 0;
    sigset_t all;
    sigset_t kept;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &kept);
    const pid_t pid = vfork(); // fork would copy the page tables
    if (pid == 0)
        become(program, &error); // NOLINT(clang-analyzer-unix.Vfork): it only makes system calls
    const int kept_errno = errno;
    pthread_sigmask(SIG_SETMASK, &kept, nullptr);
    watched_in_doubt(); // whatever the command does is seen at once
    errno = kept_errno;
    if (pid > 0 && error != 0) {
        waitpid(pid, nullptr, 0);
        program_notes_command(0);
        errno = error;
        return -1;
    }
    return pid;
}

// ---- waiting ----

// True: the process has ended, and *status is its wait status.
static bool has_ended(pid_t pid, int *status)
{
    pid_t ended = 0;
    do
        ended = waitpid(pid, status, WNOHANG);
    while (ended < 0 && errno == EINTR);
    if (ended < 0)
        *status = 0; // somebody else reaped it; its status is lost
    return ended != 0;
}

// Kernels before 5.3 have no descriptor for a process: looks with growing pauses, 1 to 32 ms.
static bool wait_by_looking(pid_t pid, int *status, int64_t deadline)
{
    constexpr int64_t LONGEST_PAUSE_MS = 32;
    int64_t pause_ms = 1;
    while (!has_ended(pid, status)) {
        if (monotonic_ms() >= deadline)
            return false;
        program_wait(nullptr, 0, pause_ms);
        if (pause_ms < LONGEST_PAUSE_MS)
            pause_ms *= 2;
    }
    return true;
}

// -1: there is no such thing on this system.
static int process_descriptor(pid_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    (void)pid;
    return -1;
#endif
}

static bool wait_until(pid_t pid, int *status, int64_t deadline)
{
    const int descriptor = process_descriptor(pid);
    if (descriptor < 0)
        return wait_by_looking(pid, status, deadline);
    bool ended = has_ended(pid, status);
    for (int64_t left_ms = deadline - monotonic_ms(); !ended && left_ms > 0; left_ms = deadline - monotonic_ms()) {
        pollfd end = {.fd = descriptor, .events = POLLIN, .revents = 0};
        program_wait(&end, 1, left_ms);
        ended = has_ended(pid, status);
    }
    close(descriptor);
    return ended;
}

int command_deadline_s()
{
    const char *configured = getenv("TIME_CHECK_COMMAND_DEADLINE_S");
    const int seconds = configured == nullptr ? 0 : leading_integer(configured);
    return seconds > 0 ? seconds : DEFAULT_DEADLINE_S;
}

// A command may carry a password, so lines show its first word alone.
static int first_word_length(const char *command)
{
    return static_cast<int>(strcspn(command, " \t\n"));
}

static int64_t after_s(int seconds)
{
    return monotonic_ms() + int64_t{seconds} * MS_A_SECOND;
}

// Waits for the end; ends the whole process group at the deadline, which was `timeout_s` after the start
// (decision 0126). False: not even that ended it, and *status is as it was.
static bool end_by(int64_t deadline, pid_t pid, int timeout_s, const char *name, int *status)
{
    if (wait_until(pid, status, deadline))
        return true;
    ground_log("command %.*s: ended after %d s", first_word_length(name), name, timeout_s);
    kill(-pid, SIGKILL);
    return wait_until(pid, status, monotonic_ms() + KILL_TIMEOUT_MS);
}

static int exit_status(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

static int finish(pid_t pid, int timeout_s, const char *name)
{
    int status = 0;
    program_notes_command(pid);
    const bool has_ended = end_by(after_s(timeout_s), pid, timeout_s, name, &status);
    program_notes_command(0);
    if (!has_ended)
        return NOT_RUN;
    return exit_status(status);
}

// Once for each kind of failure: what fails every second must not fill the log.
static void log_not_run(const char *name)
{
    if (logged_run_error.exchange(errno) != errno)
        ground_log("command %.*s: cannot be run: %s", first_word_length(name), name, strerror(errno));
}

// A shell with the command, -1 and perhaps a line when there can be none. `output`: as in program.
static pid_t start_shell(const char *command, int output, bool is_waited)
{
    char shell[] = "sh";
    char option[] = "-c";
    char *const argv[] = {shell, option, const_cast<char *>(command), nullptr};
    const program program = {.path = "/bin/sh", .argv = argv, .output = output, .errors = -1, .is_waited = is_waited};
    const pid_t pid = start(&program);
    if (pid < 0)
        log_not_run(command);
    return pid;
}

// ---- the calls ----

int doSystemCmd(const char *format, ...)
{
    char command[COMMAND_SIZE];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) {
        journal_command("too long");
        errno = E2BIG;
        log_not_run(format);
        return NOT_RUN;
    }

    program_notes_command(-1);
    journal_command(command);
    const pid_t pid = start_shell(command, -1, true);
    if (pid >= 0)
        return finish(pid, command_deadline_s(), command);
    program_notes_command(0);
    return NOT_RUN;
}

// The file of ">PATH"; -1: none, or it cannot be opened, and then the output goes where the caller's goes. Devices are
// not made, and opening must not wait for a reader or a carrier; who writes may, until its deadline.
static int open_redirect(const char *redirect)
{
    if (redirect == nullptr || redirect[0] != '>')
        return -1;
    const char *const path = redirect + 1;
    const int make = strncmp(path, "/dev/", 5) == 0 ? 0 : O_CREAT;
    const int file = open(path, O_WRONLY | make | O_TRUNC | O_NOCTTY | O_CLOEXEC | O_NONBLOCK, 0644);
    fcntl(file, F_SETFL, 0); // the flags are this opening's own
    return file;
}

int _eval(char *const argv[], const char *redirect, int timeout, int *pid) // NOLINT(bugprone-reserved-identifier)
{
    if (argv == nullptr || argv[0] == nullptr)
        return NOT_RUN;
    journal_exec(argv, redirect);
    const int output = open_redirect(redirect);
    const program program = {
        .path = argv[0], .argv = argv, .output = output, .errors = output, .is_waited = pid == nullptr};
    const pid_t started = start(&program);
    const int kept_errno = errno;
    if (output >= 0)
        close(output);
    if (started < 0) {
        errno = kept_errno;
        log_not_run(argv[0]);
        return NOT_RUN;
    }
    if (pid != nullptr) {
        *pid = started;
        return 0;
    }
    return finish(started, timeout > 0 ? timeout : command_deadline_s(), argv[0]);
}

pid_t command_begin(const char *command)
{
    return start_shell(command, -1, false);
}

bool command_is_over(pid_t pid, int *status)
{
    if (!has_ended(pid, status))
        return false;
    *status = exit_status(*status);
    return true;
}

void command_end(pid_t pid)
{
    int status = 0;
    kill(-pid, SIGKILL);
    wait_until(pid, &status, monotonic_ms() + KILL_TIMEOUT_MS);
}

int done_in_a_child(void (*act)())
{
    const pid_t pid = fork(); // vfork would wait for the act
    if (pid == 0) {
        close_inherited_descriptors();
        act();
        _exit(0);
    }
    if (pid < 0) { // nothing is safer than to wait then
        act();
        return 0;
    }
    int status = 0;
    const int timeout_s = command_deadline_s();
    return wait_until(pid, &status, after_s(timeout_s)) ? 0 : timeout_s;
}

// ---- a command whose output is read ----

// One at a time: all that the daemon reads is the liveness watchdog's look at the processes.
static struct {
    pid_t pid; // 0: none
    int output;
    int timeout_s;
    int64_t deadline;
    char name[16];
} read_command;

// The output is at its end once the deadline has passed.
static ssize_t read_output(void * /*cookie*/, char *text, size_t size)
{
    pollfd readable = {.fd = read_command.output, .events = POLLIN, .revents = 0};
    int ready = -1;
    while (ready < 0) {
        const int64_t left_ms = read_command.deadline - monotonic_ms();
        ready = left_ms <= 0 ? 0 : program_wait(&readable, 1, left_ms);
    }
    if (ready == 0)
        return 0;
    return read(read_command.output, text, size);
}

// Every call of popen and pclose in the daemon comes here (linker option --wrap), because libc's know no deadline
// (decision 0124).
extern "C" FILE *__wrap_popen(const char *command, const char *mode); // NOLINT(bugprone-reserved-identifier)
extern "C" int __wrap_pclose(FILE *stream);                           // NOLINT(bugprone-reserved-identifier)

FILE *__wrap_popen(const char *command, const char *mode) // NOLINT(bugprone-reserved-identifier)
{
    int ends[2];
    if (read_command.pid != 0 || strcmp(mode, "r") != 0 || pipe2(ends, O_CLOEXEC) != 0)
        return nullptr;
    FILE *const stream = fopencookie(&read_command, mode, {read_output, nullptr, nullptr, nullptr});
    const pid_t pid = stream == nullptr ? -1 : start_shell(command, ends[1], true);
    close(ends[1]);
    if (pid < 0) {
        close(ends[0]);
        if (stream != nullptr)
            fclose(stream);
        return nullptr;
    }
    const int timeout_s = command_deadline_s();
    program_notes_command(pid);
    read_command = {.pid = pid, .output = ends[0], .timeout_s = timeout_s, .deadline = after_s(timeout_s), .name = ""};
    snprintf(read_command.name, sizeof read_command.name, "%s", command);
    return stream;
}

int __wrap_pclose(FILE *stream) // NOLINT(bugprone-reserved-identifier)
{
    int status = SIGKILL; // of a program that the deadline ended, also when the kernel holds it longer
    fclose(stream);
    close(read_command.output); // who has more to print than was read ends
    end_by(read_command.deadline, read_command.pid, read_command.timeout_s, read_command.name, &status);
    program_notes_command(0);
    read_command.pid = 0;
    return status;
}
