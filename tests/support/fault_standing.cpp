#include <cerrno>
#include <memory>
#include <numeric>

#include "tests/support/fault_catalogue.h"

namespace fault_catalogue
{
namespace
{

uint64_t times_made(const std::vector<const char *> &calls)
{
    return std::accumulate(calls.begin(), calls.end(), uint64_t{0},
                           [](uint64_t sum, const char *call) { return sum + box.faults.made(call); });
}

} // namespace

void Standing::begin(size_t fault)
{
    const Fault &row = all_faults()[fault];
    begun_ = fault;
    for (const char *call : row.calls)
        if (row.error != 0)
            fail(call, row.error);
    if (row.error == 0 && !row.calls.empty())
        calls_before_[fault] = times_made(row.calls);
    if (row.begin != nullptr)
        row.begin(*this, dice_);
}

std::set<size_t> Standing::end()
{
    for (const auto &[fault, before] : calls_before_)
        if (times_made(all_faults()[fault].calls) > before)
            met_.insert(fault);
    calls_before_.clear();
    box.faults.clear();
    failing_.clear();
    box.commands.set_hook([](const std::string &) { return sim::NOT_HANDLED; });
    answers_.clear();
    for (auto change = undone_.rbegin(); change != undone_.rend(); ++change)
        (*change)();
    undone_.clear();
    return std::exchange(met_, {});
}

std::function<void()> Standing::meeting()
{
    return [this, fault = begun_] { met_.insert(fault); };
}

// ---- calls that fail ----

// One of them, each of some, or all; half of them from the first, for some are made once.
void Standing::fail(const char *call, int error)
{
    constexpr uint64_t FIRST_MAX = 20;
    constexpr uint64_t EVERY_MAX = 10;
    const uint64_t first = dice_.roll(2) == 0 ? 1 : 1 + dice_.roll(FIRST_MAX);
    Failing failing = {.fault = begun_, .error = error, .first = first, .every = 1};
    const size_t way = dice_.roll(4);
    if (way == 0)
        failing.every = 0;
    else if (way == 1)
        failing.every = 1 + dice_.roll(EVERY_MAX);
    const bool is_first = failing_[call].empty();
    failing_[call].push_back(failing);
    if (is_first)
        box.faults.fail_when(
            call, [this, name = std::string(call)](uint64_t) { return fails(name); }, error);
}

bool Standing::fails(const std::string &call)
{
    bool any = false;
    for (Failing &one : failing_[call]) {
        one.made++;
        const bool is_due = one.made == one.first ||
                            (one.made > one.first && one.every != 0 && (one.made - one.first) % one.every == 0);
        if (!is_due)
            continue;
        any = true;
        met_.insert(one.fault);
    }
    return any;
}

// ---- what others do ----

void Standing::answer_commands(std::function<int(const std::string &)> answer)
{
    answers_.push_back([answer = std::move(answer), meet = meeting()](const std::string &command) {
        const int status = answer(command);
        if (status != sim::NOT_HANDLED)
            meet();
        return status;
    });
    box.commands.set_hook([this](const std::string &command) {
        int status = sim::NOT_HANDLED;
        for (const auto &one : answers_)
            status = status == sim::NOT_HANDLED ? one(command) : status;
        return status;
    });
}

void Standing::spoil_file(const std::string &path, Dice &dice)
{
    const std::string text = soak::garbage(dice);
    undo([path, before = box.files.text_of(path)] { box.files.set(path, before); });
    box.files.generate(path, [text, meet = meeting()](std::string &now) {
        now = text;
        meet();
    });
}

void Standing::spoil_setting(const std::string &key, const std::string *value)
{
    undo([key, had = box.store.has(key), before = box.store.get(key)] {
        if (had)
            box.store.set(key, before);
        else
            box.store.unset(key);
        box.ask_to_read_again();
    });
    if (value == nullptr)
        box.store.unset(key);
    else
        box.store.set(key, *value);
    box.ask_to_read_again();
}

} // namespace fault_catalogue
