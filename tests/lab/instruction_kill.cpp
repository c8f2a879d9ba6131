#include "tests/lab/instruction_kill.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>
#include <unordered_map>

#include <fcntl.h>

namespace
{

// ---- one time through, step by step ----

constexpr size_t COURSE_MAX = size_t{1} << 22;

struct Steps {
    size_t count;
    uintptr_t at[COURSE_MAX];
};
Steps *steps; // shared with the child

// The processor comes here before each instruction while its trap flag is set; the kernel clears it in here.
void take_step(int /*signal*/, siginfo_t * /*info*/, void *context)
{
    const auto *state = static_cast<const ucontext_t *>(context);
    if (steps->count < COURSE_MAX)
        steps->at[steps->count] = static_cast<uintptr_t>(state->uc_mcontext.gregs[REG_RIP]);
    steps->count++;
}

// The stack pointer steps over what the compiler may keep below it.
void set_trap_flag()
{
    __asm__ volatile("sub $128, %%rsp\n\tpushfq\n\torl $0x100, (%%rsp)\n\tpopfq\n\tadd $128, %%rsp" ::: "memory", "cc");
}

void clear_trap_flag()
{
    __asm__ volatile("sub $128, %%rsp\n\tpushfq\n\tandl $~0x100, (%%rsp)\n\tpopfq\n\tadd $128, %%rsp" ::
                         : "memory", "cc");
}

void be_silent()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
}

[[noreturn]] void step_through(const std::function<void()> &act)
{
    be_silent();
    struct sigaction action = {};
    action.sa_sigaction = take_step;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigaction(SIGTRAP, &action, nullptr);
    set_trap_flag();
    act();
    clear_trap_flag();
    _exit(0);
}

bool is_system_call(uintptr_t address)
{
    constexpr unsigned char SYSCALL[] = {0x0f, 0x05};
    return memcmp(reinterpret_cast<const void *>(address), SYSCALL, sizeof SYSCALL) == 0;
}

// ---- a child that is led ----

bool is_stopped_at_call(int status)
{
    return WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80);
}

bool is_stopped_by_trap(int status)
{
    return WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP;
}

class Led
{
public:
    explicit Led(const std::function<void()> &act) : child_(fork())
    {
        if (child_ == 0) {
            be_silent();
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            syscall(SYS_kill, getpid(), SIGSTOP);
            act();
            _exit(0);
        }
        waitpid(child_, &status_, 0);
        ptrace(PTRACE_SETOPTIONS, child_, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    }
    Led(const Led &) = delete;
    Led &operator=(const Led &) = delete;
    ~Led()
    {
        if (has_ended())
            return;
        kill(child_, SIGKILL);
        waitpid(child_, &status_, 0);
    }

    bool has_ended() const
    {
        return WIFEXITED(status_) || WIFSIGNALED(status_);
    }

    // Through so many system calls, to the return of the last. False: it did not get so far.
    bool pass_calls(size_t count)
    {
        for (size_t stops = 0; stops < 2 * count; stops++)
            if (!go(PTRACE_SYSCALL) || !is_stopped_at_call(status_))
                return false;
        return true;
    }

    // To where it comes by the address for the `time`th time, from 1. False: a system call came first.
    bool run_to(uintptr_t address, size_t time)
    {
        const long word = ptrace(PTRACE_PEEKTEXT, child_, address, nullptr);
        const long trap = (word & ~0xffL) | 0xcc;
        for (;;) {
            ptrace(PTRACE_POKETEXT, child_, address, trap);
            const bool came = go(PTRACE_SYSCALL) && is_stopped_by_trap(status_);
            if (has_ended())
                return false;
            ptrace(PTRACE_POKETEXT, child_, address, word);
            if (!came)
                return false;
            ptrace(PTRACE_POKEUSER, child_, offsetof(user_regs_struct, rip), address);
            if (--time == 0)
                return true;
            if (!step(1))
                return false;
        }
    }

    bool step(size_t count)
    {
        for (; count > 0; count--)
            if (!go(PTRACE_SINGLESTEP) || !is_stopped_by_trap(status_))
                return false;
        return true;
    }

    bool is_at(uintptr_t address) const
    {
        return static_cast<uintptr_t>(ptrace(PTRACE_PEEKUSER, child_, offsetof(user_regs_struct, rip), nullptr)) ==
               address;
    }

private:
    bool go(__ptrace_request how)
    {
        if (ptrace(how, child_, nullptr, nullptr) != 0)
            return false;
        waitpid(child_, &status_, 0);
        return !has_ended();
    }

    pid_t child_;
    int status_ = 0;
};

// An instruction between the last system call and the one that is looked for, and how often it is come by until then.
struct Anchor {
    size_t number;
    size_t time;
};

// The one from which the way is shortest: to come by an address takes three stops, to step takes one.
Anchor anchor_before(const Course &course, size_t begin, size_t number)
{
    constexpr size_t STOPS = 3;
    std::unordered_map<uintptr_t, size_t> times;
    Anchor best = {.number = begin, .time = 1};
    size_t shortest = SIZE_MAX;
    for (size_t i = begin; i <= number; i++) {
        const size_t time = ++times[course.at[i]];
        const size_t way = STOPS * time + (number - i);
        if (way <= shortest) {
            shortest = way;
            best = {.number = i, .time = time};
        }
    }
    return best;
}

} // namespace

Course course_of(const std::function<void()> &act)
{
    steps = static_cast<Steps *>(
        mmap(nullptr, sizeof(Steps), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (steps == MAP_FAILED)
        return {};
    const pid_t child = fork();
    if (child == 0)
        step_through(act);
    int status = -1;
    waitpid(child, &status, 0);
    Course course;
    if (status == 0 && steps->count <= COURSE_MAX)
        course.at.assign(steps->at, steps->at + steps->count);
    munmap(steps, sizeof(Steps));
    for (size_t i = 0; i < course.at.size(); i++)
        if (is_system_call(course.at[i]))
            course.calls.push_back(i);
    return course;
}

Killed kill_at(const Course &course, size_t number, const std::function<void()> &act)
{
    const auto next = std::ranges::lower_bound(course.calls, number);
    const auto passed = static_cast<size_t>(next - course.calls.begin());
    const size_t begin = passed == 0 ? 0 : course.calls[passed - 1] + 1;
    const Anchor anchor = anchor_before(course, begin, number);
    Led child(act);
    Killed killed;
    killed.is_exact = child.pass_calls(passed) && child.run_to(course.at[anchor.number], anchor.time) &&
                      child.step(number - anchor.number) && child.is_at(course.at[number]);
    killed.has_ended = child.has_ended();
    return killed;
}
