// The verdicts of a module that a test has seen, and those that it has not.
#ifndef TESTS_SUPPORT_VERDICTS_H
#define TESTS_SUPPORT_VERDICTS_H

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/router_test.h"

// One row of the module's file, which makes the list of all:
//
//     const std::vector<NamedVerdict<led_verdict>> LED_VERDICTS = {
//     #define VERDICT(name, why) {led_verdict::name, #name},
//     #include "platform/verdicts/led.def"
//     };
template <typename Verdict>
struct NamedVerdict {
    Verdict verdict;
    std::string name;
};

template <typename Verdict>
class SeenVerdicts
{
public:
    // `last` gives what the module's last tick found.
    SeenVerdicts(std::vector<NamedVerdict<Verdict>> all, Verdict (*last)()) : all_(std::move(all)), last_(last)
    {
    }

    // The last tick's verdict by name, now one of the seen.
    std::string look()
    {
        seen_.insert(last_());
        return name_of(last_());
    }

    // The names of those never seen.
    std::vector<std::string> unseen() const
    {
        std::vector<std::string> names;
        for (const NamedVerdict<Verdict> &one : all_)
            if (!seen_.contains(one.verdict))
                names.push_back(one.name);
        return names;
    }

private:
    std::string name_of(Verdict verdict) const
    {
        for (const NamedVerdict<Verdict> &one : all_)
            if (one.verdict == verdict)
                return one.name;
        return "none of them";
    }

    std::vector<NamedVerdict<Verdict>> all_;
    Verdict (*last_)();
    std::set<Verdict> seen_;
};

// A module whose verdict a test follows tick by tick.
template <typename Verdict>
class VerdictsTest : public RouterTest
{
protected:
    VerdictsTest(std::vector<NamedVerdict<Verdict>> all, Verdict (*last)(), void (*run_tick)())
        : seen(std::move(all), last), run_tick_(run_tick)
    {
    }

    // What a tick finds.
    std::string tick()
    {
        run_tick_();
        return seen.look();
    }

    // What a tick at this local time finds, "2026-03-02 23:00:00".
    std::string tick_at(const std::string &local)
    {
        box.clock.set(local);
        return tick();
    }

    // What the last of these many ticks finds, a second apart.
    std::string ticks(unsigned number)
    {
        for (unsigned i = 1; i < number; i++) {
            tick();
            box.clock.step(1);
        }
        return tick();
    }

    SeenVerdicts<Verdict> seen;

private:
    void (*run_tick_)();
};

#endif
