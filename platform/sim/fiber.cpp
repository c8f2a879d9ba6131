#include "platform/sim/fiber.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

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

constexpr size_t STACK_SIZE = size_t{1} << 20;

Fiber::Fiber(std::function<void()> body) : body_(std::move(body))
{
    const size_t guard = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    mapped_ = STACK_SIZE + guard;
    stack_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (stack_ == MAP_FAILED)
        throw std::bad_alloc();
    mprotect(stack_, guard, PROT_NONE);
    getcontext(&inside_);
    inside_.uc_stack.ss_sp = static_cast<char *>(stack_) + guard;
    inside_.uc_stack.ss_size = STACK_SIZE;
    inside_.uc_link = nullptr;
    const uint64_t self = reinterpret_cast<uintptr_t>(this);
    makecontext(&inside_, reinterpret_cast<void (*)()>(&Fiber::trampoline), 2, static_cast<unsigned>(self),
                static_cast<unsigned>(self >> 32));
#if SIM_ASAN
    __lsan_register_root_region(inside_.uc_stack.ss_sp, STACK_SIZE);
#endif
#if SIM_TSAN
    inside_tsan_ = __tsan_create_fiber(0);
#endif
}

Fiber::~Fiber()
{
#if SIM_ASAN
    __lsan_unregister_root_region(inside_.uc_stack.ss_sp, STACK_SIZE);
    __asan_unpoison_memory_region(inside_.uc_stack.ss_sp, STACK_SIZE); // frames that were left in the middle
#endif
#if SIM_TSAN
    __tsan_destroy_fiber(inside_tsan_);
#endif
    munmap(stack_, mapped_);
}

void Fiber::enter()
{
    const int outside_errno = errno;
#if SIM_ASAN
    void *fake_stack = nullptr;
    __sanitizer_start_switch_fiber(&fake_stack, inside_.uc_stack.ss_sp, inside_.uc_stack.ss_size);
#endif
#if SIM_TSAN
    outside_tsan_ = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(inside_tsan_, 0);
#endif
    swapcontext(&outside_, &inside_);
#if SIM_ASAN
    __sanitizer_finish_switch_fiber(fake_stack, nullptr, nullptr);
#endif
    errno = outside_errno;
}

void Fiber::leave()
{
    inside_errno_ = errno;
#if SIM_ASAN
    __sanitizer_start_switch_fiber(&fake_stack_, outside_stack_, outside_stack_size_);
#endif
#if SIM_TSAN
    __tsan_switch_to_fiber(outside_tsan_, 0);
#endif
    swapcontext(&inside_, &outside_);
#if SIM_ASAN
    __sanitizer_finish_switch_fiber(fake_stack_, &outside_stack_, &outside_stack_size_);
#endif
    errno = inside_errno_;
}

void Fiber::leave_for_good()
{
    ended_ = true;
#if SIM_ASAN
    __sanitizer_start_switch_fiber(nullptr, outside_stack_, outside_stack_size_);
#endif
#if SIM_TSAN
    __tsan_switch_to_fiber(outside_tsan_, 0);
#endif
    setcontext(&outside_);
    abort();
}

void Fiber::trampoline(unsigned low, unsigned high)
{
    const uint64_t self = (static_cast<uint64_t>(high) << 32) | low;
    reinterpret_cast<Fiber *>(static_cast<uintptr_t>(self))->run();
}

void Fiber::run()
{
#if SIM_ASAN
    __sanitizer_finish_switch_fiber(nullptr, &outside_stack_, &outside_stack_size_);
#endif
    errno = 0;
    body_();
    leave_for_good();
}

} // namespace sim
