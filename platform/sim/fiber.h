// One flow of control with a stack of its own; exactly one runs at a time.
//
// Nothing is scheduled here: the machine says who runs next. A fibre that is destroyed in the middle of its body is not
// unwound, as a thread of a machine that loses power is not: what its frames held stays unreleased, and that is why the
// model takes back itself what the daemon had open.
#ifndef PLATFORM_SIM_FIBER_H
#define PLATFORM_SIM_FIBER_H

#include <csetjmp>
#include <cstddef>
#include <functional>
#include <ucontext.h>

#include "platform/sim/stack_switch.h"

namespace sim
{

// Memory for a stack of 1 MiB, of which only what is touched is taken, with a page below it that ends the process when
// the stack overflows. std::bad_alloc: there is none. begin() is the lowest address, size() in bytes.
class Stack
{
public:
    Stack();
    ~Stack();
    Stack(const Stack &) = delete;
    Stack &operator=(const Stack &) = delete;
    void *begin() const;
    static size_t size();

private:
    void *mapping_;
};

// Where execution goes on after a jump. libc's own would have the address sanitizer forget the frames that stay behind.
#if SIM_ASAN
using Place = void *[5];
#else
using Place = jmp_buf;
#endif

class Fiber
{
public:
    // The body begins at the first enter(), with errno 0. An exception that leaves it ends the program.
    explicit Fiber(std::function<void()> body);
    Fiber(const Fiber &) = delete;
    Fiber &operator=(const Fiber &) = delete;

    // Each side finds its own errno again after a switch; the signal mask is one for all.

    // Runs the fibre until it leaves or its body ends. Called from the context that owns the fibres, and never again
    // when the fibre has ended().
    void enter();
    // Goes back to the caller of enter(). Called inside the fibre.
    void leave();
    // The same for ever: the stack is given up, and the fibre has ended.
    [[noreturn]] void leave_for_good();
    bool ended() const
    {
        return ended_;
    }

private:
    static void trampoline(unsigned low, unsigned high);
    void run();
    void go_in();
    void go_out();

    std::function<void()> body_;
    Stack stack_;
    StackSwitch switch_; // after the stack, for it is told of it, and goes first
    ucontext_t inside_ = {};
#if SIM_TSAN
    ucontext_t outside_ = {};
#else
    Place inside_place_ = {};
    Place outside_place_ = {};
    bool started_ = false;
#endif
    bool ended_ = false;
};

} // namespace sim

#endif
