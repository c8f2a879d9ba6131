#include "tools/preview/progress.h"

#include <cstdio>
#include <string>
#include <unistd.h>

#include <fmt/format.h>

namespace preview
{

static constexpr int BAR_WIDTH = 40;

progress_line::progress_line()
    : has_terminal_(isatty(STDERR_FILENO) != 0), next_(clock::now() + std::chrono::seconds(1))
{
}

void progress_line::show(double done)
{
    if (!has_terminal_ || clock::now() < next_)
        return;
    next_ = clock::now() + std::chrono::milliseconds(100);
    is_shown_ = true;
    const auto filled = static_cast<size_t>(done * BAR_WIDTH);
    fmt::print(stderr, "\r[{:<{}}] {:3.0f} %", std::string(filled, '#'), BAR_WIDTH, done * 100);
    std::fflush(stderr);
}

void progress_line::clear()
{
    if (is_shown_)
        fmt::print(stderr, "\r\033[K");
    is_shown_ = false;
}

} // namespace preview
