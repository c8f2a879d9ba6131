// What the C++ library needs of a program without exceptions, so that the linker takes nothing of how they are thrown
// and caught: with that cfm would be seven times as large (decision 0231).
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace
{

[[noreturn]] void end(const char *why)
{
    std::fprintf(stderr, "cfm: %s\n", why);
    std::_Exit(1);
}

void *taken(size_t size)
{
    void *const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        end("no memory is left");
    return memory;
}

} // namespace

void *operator new(size_t size)
{
    return taken(size);
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

// Where the library's headers would throw. Weak: a library that has other places besides brings its own of all of them.
namespace std // NOLINT(cert-dcl58-cpp): the library's own names
{

// NOLINTBEGIN(bugprone-reserved-identifier)
__attribute__((weak)) void __throw_length_error(const char *why)
{
    end(why);
}

__attribute__((weak)) void __throw_logic_error(const char *why)
{
    end(why);
}

__attribute__((weak)) void __throw_out_of_range_fmt(const char *why, ...)
{
    end(why);
}

__attribute__((weak)) void __throw_bad_alloc()
{
    end("no memory is left");
}

__attribute__((weak)) void __throw_bad_array_new_length()
{
    end("no memory is left");
}
// NOLINTEND(bugprone-reserved-identifier)

} // namespace std
