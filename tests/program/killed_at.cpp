// killed_at STEP PROGRAM [ARGUMENT...]: runs a program and kills it at a step: when it enters, or has done, a call by
// which it may change what is outside of it. Step 0: never. Prints the program's process first, and at the end how many
// steps it did; what the program prints goes to standard error. What the program starts itself is left alone. Ends with
// 0 if the program was killed or ended with 0.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

bool changes_something(const __ptrace_syscall_info &call)
{
    switch (call.entry.nr) {
    case SYS_openat:
        return (call.entry.args[2] & (O_WRONLY | O_RDWR)) != 0;
#ifdef SYS_vfork
    case SYS_vfork:
    case SYS_rename:
    case SYS_unlink:
#endif
    case SYS_clone:
    case SYS_renameat2:
    case SYS_unlinkat:
    case SYS_wait4:
    case SYS_ftruncate:
    case SYS_fchmod:
    case SYS_fsync:
    case SYS_kill:
        return true;
    case SYS_write:
        return call.entry.args[0] > STDERR_FILENO;
    default:
        return false;
    }
}

class Program
{
public:
    Program(pid_t pid, long last) : pid_(pid), last_(last)
    {
    }

    // Until it has ended: its wait status.
    int run()
    {
        int status = 0;
        for (;;) {
            const pid_t thread = waitpid(-1, &status, __WALL);
            if (thread < 0 || (thread == pid_ && !WIFSTOPPED(status)))
                return status;
            if (WIFSTOPPED(status))
                ptrace(PTRACE_SYSCALL, thread, nullptr, signal_after_stop(thread, status));
        }
    }
    long steps() const
    {
        return steps_;
    }

private:
    // What the thread is to get when it goes on.
    long signal_after_stop(pid_t thread, int status)
    {
        const int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80))
            look_at_call(thread);
        const bool is_the_tracers =
            signal == SIGTRAP || signal == (SIGTRAP | 0x80) || (signal == SIGSTOP && known_.insert(thread).second);
        return is_the_tracers ? 0 : signal;
    }
    void look_at_call(pid_t thread)
    {
        __ptrace_syscall_info call = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call);
        if (call.op == PTRACE_SYSCALL_INFO_ENTRY)
            in_step_[thread] = changes_something(call);
        if (in_step_[thread] && ++steps_ == last_)
            kill(pid_, SIGKILL);
    }

    pid_t pid_;
    long last_;
    long steps_ = 0;
    std::set<pid_t> known_; // threads whose first stop was seen
    std::map<pid_t, bool> in_step_;
};

[[noreturn]] void become(char **arguments)
{
    dup2(STDERR_FILENO, STDOUT_FILENO);
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execvp(arguments[0], arguments);
    perror(arguments[0]);
    _exit(127);
}

} // namespace

int main(int count, char **arguments)
{
    if (count < 3) {
        fputs("Usage: killed_at STEP PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    const pid_t pid = fork();
    if (pid == 0)
        become(arguments + 2);
    int status = 0;
    waitpid(pid, &status, 0);
    ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
    printf("%d\n", pid);
    fflush(stdout);
    Program program(pid, strtol(arguments[1], nullptr, 10));
    ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
    status = program.run();
    printf("%ld\n", program.steps());
    return WIFSIGNALED(status) ? WTERMSIG(status) != SIGKILL : WEXITSTATUS(status);
}
