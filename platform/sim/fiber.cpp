#undef _FORTIFY_SOURCE // its longjmp takes another stack for a mistake
#include "platform/sim/fiber.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace sim
{

constexpr size_t STACK_SIZE = size_t{1} << 20;

static size_t page_size()
{
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

Stack::Stack()
    : mapping_(mmap(nullptr, STACK_SIZE + page_size(), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
{
    if (mapping_ == MAP_FAILED)
        throw std::bad_alloc();
    mprotect(mapping_, page_size(), PROT_NONE);
}

Stack::~Stack()
{
    munmap(mapping_, STACK_SIZE + page_size());
}

void *Stack::begin() const
{
    return static_cast<char *>(mapping_) + page_size();
}

size_t Stack::size()
{
    return STACK_SIZE;
}

Fiber::Fiber(std::function<void()> body) : body_(std::move(body)), switch_(stack_.begin(), Stack::size())
{
    getcontext(&inside_);
    inside_.uc_stack.ss_sp = stack_.begin();
    inside_.uc_stack.ss_size = Stack::size();
    inside_.uc_link = nullptr;
    const uint64_t self = reinterpret_cast<uintptr_t>(this);
    makecontext(&inside_, reinterpret_cast<void (*)()>(&Fiber::trampoline), 2, static_cast<unsigned>(self),
                static_cast<unsigned>(self >> 32));
}

#if SIM_TSAN // which knows of no other way
SIM_SWITCHES void Fiber::go_in()
{
    swapcontext(&outside_, &inside_);
}

SIM_SWITCHES void Fiber::go_out()
{
    swapcontext(&inside_, &outside_);
}
#else
#if SIM_ASAN
#define SIM_MARK __builtin_setjmp
#define SIM_JUMP __builtin_longjmp
#else
#define SIM_MARK _setjmp
#define SIM_JUMP _longjmp
#endif

// A context has the signal mask with it, and the two system calls for that are most of what a switch costs; with the
// address sanitizer it is six more for the memory in which that keeps what it knows of the stack. So a context is used
// for the first entry alone.
SIM_UNWATCHED void Fiber::go_in()
{
    if (SIM_MARK(outside_place_) != 0)
        return;
    if (started_)
        SIM_JUMP(inside_place_, 1);
    started_ = true;
    setcontext(&inside_);
}

SIM_UNWATCHED void Fiber::go_out()
{
    if (SIM_MARK(inside_place_) == 0)
        SIM_JUMP(outside_place_, 1);
}
#endif

void Fiber::enter()
{
    const int error = errno;
    void *kept = nullptr;
    switch_.enters(&kept);
    go_in();
    switch_.is_outside(kept);
    errno = error;
}

void Fiber::leave()
{
    const int error = errno;
    switch_.leaves(false);
    go_out();
    switch_.is_inside();
    errno = error;
}

void Fiber::leave_for_good()
{
    ended_ = true;
    switch_.leaves(true);
    go_out();
    abort();
}

void Fiber::trampoline(unsigned low, unsigned high)
{
    const uint64_t self = (static_cast<uint64_t>(high) << 32) | low;
    reinterpret_cast<Fiber *>(static_cast<uintptr_t>(self))->run(); // NOLINT(performance-no-int-to-ptr): two ints
}

void Fiber::run()
{
    switch_.is_inside();
    errno = 0;
    body_();
    leave_for_good();
}

} // namespace sim
