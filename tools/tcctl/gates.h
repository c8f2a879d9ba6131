// How an explanation is put together. The page's verdict closes the gate, no input does (decision 0160).
#ifndef TOOLS_TCCTL_GATES_H
#define TOOLS_TCCTL_GATES_H

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "tools/tcctl/explain.h"

namespace tcctl
{

// Walks through a rule's gates in their order until one is closed.
template <typename Verdict>
class gate_walk
{
public:
    // `verdict` is the page's number.
    gate_walk(std::string module, const status_row &row, uint8_t verdict) : verdict_(verdict)
    {
        made_.module = std::move(module);
        made_.row = row;
        const auto words = words_of(Verdict{});
        if (verdict >= words.size())
            return;
        made_.verdict = words[verdict].name;
        made_.meaning = words[verdict].sentence;
    }

    // Whether the verdict is one of these.
    bool is(std::initializer_list<Verdict> verdicts) const
    {
        return std::any_of(verdicts.begin(), verdicts.end(),
                           [this](Verdict each) { return static_cast<uint8_t>(each) == verdict_; });
    }

    // A gate that is closed by these verdicts. None is added after a closed one, nor without a verdict that is known.
    void add(std::string_view name, std::initializer_list<Verdict> closed_by, std::string question,
             std::string detail = "")
    {
        if (is_closed_ || made_.verdict.empty())
            return;
        is_closed_ = is(closed_by);
        made_.gates.push_back({name, std::move(question), !is_closed_, is_closed_ ? std::move(detail) : ""});
    }

    void is_wrong_if(std::initializer_list<Verdict> verdicts)
    {
        made_.is_wrong = made_.is_wrong || is(verdicts);
    }

    explanation &made()
    {
        return made_;
    }

private:
    explanation made_;
    uint8_t verdict_;
    bool is_closed_ = false;
};

} // namespace tcctl

#endif
