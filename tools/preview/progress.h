// How far a long preview has come, on a terminal.
#ifndef TOOLS_PREVIEW_PROGRESS_H
#define TOOLS_PREVIEW_PROGRESS_H

#include <chrono>

namespace preview
{

// One line on standard error, once it takes longer than a second, and none at all where that is no terminal.
class progress_line
{
public:
    progress_line();
    void show(double done); // 0 to 1
    void clear();

private:
    using clock = std::chrono::steady_clock;
    bool has_terminal_;
    bool is_shown_ = false;
    clock::time_point next_;
};

} // namespace preview

#endif
