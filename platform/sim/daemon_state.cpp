#include "platform/sim/daemon_state.h"

#include <cstddef>
#include <vector>

#include "platform/ledger.h"
#include "platform/status.h"

// The linker marks the ends of the sections into which the daemon's writable data were gathered.
extern "C" {
extern char __start_time_check_data[] __attribute__((visibility("hidden"))); // NOLINT
extern char __stop_time_check_data[] __attribute__((visibility("hidden")));  // NOLINT
extern char __start_time_check_bss[] __attribute__((visibility("hidden")));  // NOLINT
extern char __stop_time_check_bss[] __attribute__((visibility("hidden")));   // NOLINT
}

namespace sim
{
namespace
{

// Byte by byte and unchecked: the red zones that the address sanitizer lays between variables lie in here too.
__attribute__((no_sanitize("address", "undefined", "thread"))) void copy_raw(volatile char *to,
                                                                             const volatile char *from, size_t size)
{
    for (size_t i = 0; i < size; i++)
        to[i] = from[i];
}

class Section
{
public:
    Section(char *begin, const char *end) : begin_(begin), saved_(static_cast<size_t>(end - begin))
    {
        copy_raw(saved_.data(), begin_, saved_.size());
    }
    void restore() const
    {
        copy_raw(begin_, saved_.data(), saved_.size());
    }

private:
    char *begin_;
    std::vector<char> saved_;
};

// Taken while the program starts, before any of the daemon's code can have run.
const Section data(__start_time_check_data, __stop_time_check_data);
const Section bss(__start_time_check_bss, __stop_time_check_bss);

} // namespace

void restore_daemon_state()
{
    data.restore();
    bss.restore();
    status_memory = {}; // memory of the ground's, which a restart empties, too
    *ledger_memory = {};
}

} // namespace sim
