// Every kind of fault that docs/faults.md tells of, each with what makes it in the virtual router; and what stands of
// them at a time, any number together (decision 0223).
#ifndef TESTS_SUPPORT_FAULT_CATALOGUE_H
#define TESTS_SUPPORT_FAULT_CATALOGUE_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/faults_world.h"

namespace fault_catalogue
{

using busy_nights::Dice;
using soak::Wans;

class Standing;

struct Fault {
    const char *kind; // kind and name are a row of docs/faults.md
    const char *name;
    unsigned modes = soak::ALL_MODES;
    Wans wans = Wans::UNKNOWN;
    // The calls by which the daemon meets it, and, unless it is 0, why they fail. Without calls the fault says itself
    // that it was met.
    std::vector<const char *> calls = {};
    int error = 0;
    void (*begin)(Standing &on, Dice &dice) = nullptr; // what else there is to it
    bool stands_alone = false;                         // the daemon does not run while it stands
};

// In the order of the document.
const std::vector<Fault> &all_faults();

// Each of the probed hosts has the address that it has again after a fault of its name: what a router keeps of it, its
// policy rules, does not change.
void names_have_addresses();

// The faults that stand, and how to take all of them away again.
class Standing
{
public:
    explicit Standing(Dice &dice) : dice_(dice)
    {
    }
    // Another one, beside those that stand.
    void begin(size_t fault);
    // The world is whole again. The faults that the daemon has met, each in order.
    std::set<size_t> end();

    // ---- for who makes a fault ----

    // To be done at the end, in the reverse order.
    void undo(std::function<void()> change)
    {
        undone_.push_back(std::move(change));
    }
    // Asked for the exit status of each command, or NOT_HANDLED.
    void answer_commands(std::function<int(const std::string &)> answer);
    // A file's text is another, made anew whenever it is opened.
    void spoil_file(const std::string &path, Dice &dice);
    // A setting has another value, and its module is told; null: it is gone.
    void spoil_setting(const std::string &key, const std::string *value);
    // Gives what tells that the fault which is begun at present was met.
    std::function<void()> meeting();

private:
    struct Failing {
        size_t fault;
        int error;
        uint64_t first; // of the calls that fail, from 1
        uint64_t every; // and each so many after it; 0: that one alone
        uint64_t made = 0;
    };
    void fail(const char *call, int error);
    bool fails(const std::string &call);

    Dice &dice_;
    size_t begun_ = 0;
    std::set<size_t> met_;
    std::map<size_t, uint64_t> calls_before_; // by fault: how often its calls had been made
    std::map<std::string, std::vector<Failing>> failing_;
    std::vector<std::function<int(const std::string &)>> answers_;
    std::vector<std::function<void()>> undone_;
};

// How often the daemon met each fault, and each with each.
class Tally
{
public:
    Tally();
    // One to four of those that there are in the mode, rather those that were met seldom.
    std::vector<size_t> deal(unsigned mode, Dice &dice) const;
    // These were met at one time.
    void count(const std::set<size_t> &faults);
    // A line "KIND\tNAME\tHITS" each fault, and "KIND\tNAME\tKIND\tNAME\tHITS" each pair that can stand together.
    void write(const std::string &path) const;
    uint64_t hits(size_t fault) const
    {
        return hits_[fault][fault];
    }

private:
    std::vector<std::vector<uint64_t>> hits_; // of a fault with itself: all of them
};

// What is published of the WANs while they stand, "probed, online" as two digits; "" where nothing can be said.
std::array<std::string, 2> published(const std::vector<size_t> &faults);
// Their names, for people.
std::string text_of(const std::vector<size_t> &faults);

} // namespace fault_catalogue

#endif
