// What the sanitizers have to be told when execution moves to another stack. Without sanitizers it is nothing
// (decision 0103).
#ifndef PLATFORM_SIM_STACK_SWITCH_H
#define PLATFORM_SIM_STACK_SWITCH_H

#include <cstddef>

#if defined(__has_feature)
#define SIM_HAS_FEATURE(x) __has_feature(x)
#else
#define SIM_HAS_FEATURE(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || SIM_HAS_FEATURE(address_sanitizer)
#define SIM_ASAN 1
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#else
#define SIM_ASAN 0
#endif
#if defined(__SANITIZE_THREAD__) || SIM_HAS_FEATURE(thread_sanitizer)
#define SIM_TSAN 1
#include <sanitizer/tsan_interface.h>
#else
#define SIM_TSAN 0
#endif

namespace sim
{

// For the functions between the notice and the switch itself: the thread sanitizer would take their ends for the other
// stack's.
#define SIM_SWITCHES __attribute__((always_inline)) inline

// For the switch itself: the address sanitizer takes any jump for the end of the frames above it.
#if SIM_ASAN
#define SIM_UNWATCHED __attribute__((no_sanitize("address"), noinline))
#else
#define SIM_UNWATCHED
#endif

// One for each fibre's stack, which it does not own: `length` bytes from `begin`, there before it and after it.
//
// A way in is enters(), the jump, is_inside() on the new stack; a way out is leaves(), the jump, is_outside() on the
// old one. Nothing but the jump may stand between the two notices of a way: to a sanitizer the code there runs on both
// stacks at once. Leaks are looked for on the stack as well, for what a fibre holds is reached from nowhere else.
struct StackSwitch {
    StackSwitch(void *begin, size_t length) : stack(begin), size(length)
    {
#if SIM_ASAN
        __lsan_register_root_region(stack, size);
#endif
#if SIM_TSAN
        inside = __tsan_create_fiber(0);
#endif
    }
    ~StackSwitch()
    {
#if SIM_ASAN
        __lsan_unregister_root_region(stack, size);
        __asan_unpoison_memory_region(stack, size); // frames that were left in the middle
#endif
#if SIM_TSAN
        __tsan_destroy_fiber(inside);
#endif
    }
    StackSwitch(const StackSwitch &) = delete;
    StackSwitch &operator=(const StackSwitch &) = delete;

    // Outside, before the stack is entered; *kept is given back to is_outside().
    SIM_SWITCHES void enters([[maybe_unused]] void **kept)
    {
#if SIM_ASAN
        __sanitizer_start_switch_fiber(kept, stack, size);
#endif
#if SIM_TSAN
        outside = __tsan_get_current_fiber();
        __tsan_switch_to_fiber(inside, 0);
#endif
    }
    SIM_SWITCHES void is_outside([[maybe_unused]] void *kept)
    {
#if SIM_ASAN
        __sanitizer_finish_switch_fiber(kept, nullptr, nullptr);
#endif
    }
    // Inside, before the stack is left; for good: its frames will not be returned to, and what is kept of them goes.
    SIM_SWITCHES void leaves([[maybe_unused]] bool for_good)
    {
#if SIM_ASAN
        __sanitizer_start_switch_fiber(for_good ? nullptr : &fake_stack, outside_stack, outside_size);
#endif
#if SIM_TSAN
        __tsan_switch_to_fiber(outside, 0);
#endif
    }
    SIM_SWITCHES void is_inside()
    {
#if SIM_ASAN
        __sanitizer_finish_switch_fiber(fake_stack, &outside_stack, &outside_size);
        fake_stack = nullptr;
#endif
    }

    void *stack;
    size_t size;
    // What each sanitizer gave at the last switch and wants back at the next. Without sanitizers they stay null.
    void *fake_stack = nullptr;
    const void *outside_stack = nullptr;
    size_t outside_size = 0;
    void *inside = nullptr;
    void *outside = nullptr;
};

} // namespace sim

#endif
