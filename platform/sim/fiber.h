// One flow of control with a stack of its own; exactly one runs at a time.
#ifndef PLATFORM_SIM_FIBER_H
#define PLATFORM_SIM_FIBER_H

#include <cstddef>
#include <functional>
#include <ucontext.h>

namespace sim
{

class Fiber
{
public:
    explicit Fiber(std::function<void()> body);
    ~Fiber();
    Fiber(const Fiber &) = delete;
    Fiber &operator=(const Fiber &) = delete;

    // Runs the fibre until it leaves or its body ends. Called from the context that owns the fibres.
    void enter();
    // Goes back to the caller of enter(). Called inside the fibre.
    void leave();
    // The same for ever: the stack is given up.
    [[noreturn]] void leave_for_good();
    bool ended() const
    {
        return ended_;
    }

private:
    static void trampoline(unsigned low, unsigned high);
    void run();

    std::function<void()> body_;
    void *stack_;
    size_t mapped_;
    ucontext_t inside_ = {};
    ucontext_t outside_ = {};
    bool ended_ = false;
    int inside_errno_ = 0;
    // What the sanitizers keep about the switches.
    void *fake_stack_ = nullptr;
    const void *outside_stack_ = nullptr;
    size_t outside_stack_size_ = 0;
    void *inside_tsan_ = nullptr;
    void *outside_tsan_ = nullptr;
};

} // namespace sim

#endif
