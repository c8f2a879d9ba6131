#include "platform/sim/journal.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "platform/status.h"

namespace sim
{

// ---- journal ----

void Journal::act(std::string line)
{
    if (!muted_.empty() && muted_.contains(std::string_view(line).substr(0, line.find(' '))))
        return;
    lines_.push_back(std::move(line));
    moments_.push_back({.wall = clock_.wall(),
                        .uptime = clock_.uptime(),
                        .who = STATUS_NOBODY,
                        .verdict = STATUS_UNJUDGED,
                        .count = 0,
                        .target = 0});
}

void Journal::reason(const journal_record &record)
{
    if (hook_)
        hook_(record);
    if (reasoned_ == lines_.size()) // its line is muted
        return;
    Moment &moment = moments_[reasoned_++];
    moment.who = record.who;
    moment.verdict = record.verdict;
    moment.count = record.count;
    moment.target = record.target;
}

void Journal::file_act(const std::string &line)
{
    act(line);
    journal_file(line.c_str());
}

std::vector<Journal::Record> Journal::records() const
{
    std::vector<Record> all;
    all.reserve(lines_.size());
    for (size_t i = 0; i < lines_.size(); i++)
        all.push_back({.line = lines_[i],
                       .who = moments_[i].who,
                       .verdict = moments_[i].verdict,
                       .count = moments_[i].count,
                       .target = moments_[i].target});
    return all;
}

std::vector<std::string> Journal::timed_lines() const
{
    std::vector<std::string> timed;
    timed.reserve(lines_.size());
    for (size_t i = 0; i < lines_.size(); i++)
        timed.push_back(local_text(moments_[i].wall) + " +" + std::to_string(moments_[i].uptime) + " " + lines_[i]);
    return timed;
}

std::vector<std::string> Journal::acts(std::string_view first_word) const
{
    std::vector<std::string> found;
    std::ranges::copy_if(lines_, std::back_inserter(found), [first_word](const std::string &line) {
        return std::string_view(line).substr(0, line.find(' ')) == first_word;
    });
    return found;
}

void Journal::clear()
{
    lines_.clear();
    moments_.clear();
    reasoned_ = 0;
    messages_.clear();
    lines_.shrink_to_fit(); // a long run looks at what the process holds
    moments_.shrink_to_fit();
    messages_.shrink_to_fit();
}

// ---- log ----

void Log::print(std::string_view text)
{
    if (ignored_)
        return;
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
    if (ignored_)
        return;
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

std::vector<std::string> Log::bodies() const
{
    std::vector<std::string> all;
    std::ranges::transform(lines_, std::back_inserter(all), body);
    return all;
}

// The prefixes are "COLOUR[TIMER_CHECK >>NAME(LINE)]:\033[m", the same with TIMER_CHECK_DEBUG, and for trace lines
// "COLOUR[time_check:NAME:LINE] COLOUR". The colour that ends a trace line comes after its line end, that is, in front
// of the next line.
std::string Log::body(const std::string &line)
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

} // namespace sim
