#include "platform/sim/journal.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/sim/model.h"
#include "platform/sim/virtual_router.h"

namespace sim
{

std::string local_text(time_t time)
{
    struct tm local = {};
    char text[64];
    localtime_r(&time, &local);
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    return text;
}

time_t from_local_text(const std::string &text)
{
    struct tm local = {};
    if (sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &local.tm_year, &local.tm_mon, &local.tm_mday, &local.tm_hour,
               &local.tm_min, &local.tm_sec) != 6)
        return -1;
    local.tm_year -= 1900;
    local.tm_mon -= 1;
    local.tm_isdst = -1;
    return mktime(&local);
}

// ---- journal ----

void Journal::act(std::string line)
{
    if (!muted_.empty() && muted_.contains(std::string_view(line).substr(0, line.find(' '))))
        return;
    lines_.push_back(std::move(line));
    moments_.push_back({.wall = clock_.wall(), .uptime = clock_.uptime()});
}

std::vector<std::string> Journal::timed_lines() const
{
    std::vector<std::string> timed;
    timed.reserve(lines_.size());
    for (size_t i = 0; i < lines_.size(); i++)
        timed.push_back(local_text(moments_[i].wall) + " +" + std::to_string(moments_[i].uptime) + " " + lines_[i]);
    return timed;
}

void Journal::clear()
{
    lines_.clear();
    moments_.clear();
    lines_.shrink_to_fit(); // a long run looks at what the process holds
    moments_.shrink_to_fit();
}

// ---- log ----

void Log::print(std::string_view text)
{
    if (shown_)
        fwrite(text.data(), 1, text.size(), stdout);
    for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        count_++;
        if (keep_) {
            unfinished_.append(text.substr(0, end));
            lines_.push_back(unfinished_);
            unfinished_.clear();
        }
        text.remove_prefix(end + 1);
    }
    if (keep_)
        unfinished_.append(text);
}

void Log::print_format(const char *format, va_list arguments)
{
    char text[1024];
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    if (length < 0 || static_cast<size_t>(length) < sizeof text) {
        print({text, length < 0 ? 0 : static_cast<size_t>(length)});
    } else {
        std::string longer(static_cast<size_t>(length), '\0');
        vsnprintf(longer.data(), longer.size() + 1, format, again);
        print(longer);
    }
    va_end(again);
}

void Log::clear()
{
    lines_.clear();
    unfinished_.clear();
}

// ---- what tests ask for ----

const std::vector<std::string> &VirtualRouter::journal() const
{
    return model().journal.lines();
}

std::vector<std::string> VirtualRouter::timed_journal() const
{
    return model().journal.timed_lines();
}

std::vector<std::string> VirtualRouter::acts(std::string_view first_word) const
{
    std::vector<std::string> found;
    std::ranges::copy_if(journal(), std::back_inserter(found), [first_word](const std::string &line) {
        return std::string_view(line).substr(0, line.find(' ')) == first_word;
    });
    return found;
}

void VirtualRouter::clear_journal()
{
    model().journal.clear();
    model().commands.clear_messages();
}

void VirtualRouter::mute(const std::string &first_word)
{
    model().journal.mute(first_word);
}

const std::vector<std::string> &VirtualRouter::log() const
{
    return model().log.lines();
}

std::vector<std::string> VirtualRouter::bodies() const
{
    std::vector<std::string> all;
    std::ranges::transform(log(), std::back_inserter(all), body);
    return all;
}

// The prefixes are "COLOUR[TIMER_CHECK >>NAME(LINE)]:\033[m", the same with TIMER_CHECK_DEBUG, and for trace lines
// "COLOUR[time_check:NAME:LINE] COLOUR". The colour that ends a trace line comes after its line end, that is, in front
// of the next line.
std::string VirtualRouter::body(const std::string &line)
{
    static constexpr std::string_view RESET = "\033[0m";
    static constexpr std::string_view END = "]:\033[m";
    std::string_view rest = line;
    while (rest.starts_with(RESET))
        rest.remove_prefix(RESET.size());
    if (!rest.starts_with('\033'))
        return std::string(rest);
    if (const size_t end = rest.find(END); rest.find("[TIMER_CHECK") < end && end != std::string_view::npos)
        return std::string(rest.substr(end + END.size()));
    if (const size_t colour = rest.find("] \033["); colour != std::string_view::npos)
        return std::string(rest.substr(rest.find('m', colour) + 1));
    return std::string(rest);
}

void VirtualRouter::clear_log()
{
    model().log.clear();
}

void VirtualRouter::keep_log(bool keep)
{
    model().log.keep(keep);
}

void VirtualRouter::show_log(bool show)
{
    model().log.show(show);
}

uint64_t VirtualRouter::lines_logged() const
{
    return model().log.count();
}

} // namespace sim
