// One and the same sequence of calls, made up by chance, for two programs that are to answer alike: the virtual
// router's side and the real one. compare.py starts both and compares what they print (decision 0221).
//
// A sequence is a script, a call a line: the step's name, then its words. The same seed gives the same script on every
// machine, and a script can be played by itself.
#ifndef TESTS_CONTRACT_PAIR_PAIR_H
#define TESTS_CONTRACT_PAIR_PAIR_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace pair
{

// The C++ library's distributions differ from machine to machine.
class Random
{
public:
    explicit Random(uint64_t seed) : state_(seed)
    {
    }
    uint64_t next();
    // From 0 to below `count`.
    int below(int count)
    {
        return static_cast<int>(next() % static_cast<uint64_t>(count));
    }
    bool one_in(int count)
    {
        return below(count) == 0;
    }
    template <typename List>
    const auto &pick(const List &list)
    {
        return *(list.begin() + below(static_cast<int>(list.size())));
    }
    const char *pick(std::initializer_list<const char *> list)
    {
        return *(list.begin() + below(static_cast<int>(list.size())));
    }

private:
    uint64_t state_;
};

using Words = std::vector<std::string>;

// A word as it stands in scripts and answers: blanks, percent signs and what is not printable as %XX, nothing as "%".
std::string quoted(std::string_view text);
std::string unquoted(std::string_view word);
int number_of(const std::string &word);

// What came of a step: one line, its parts divided by blanks.
class Answer
{
public:
    void number(long long value);
    // -1 with the error that errno holds.
    void result(long long value);
    void pointer(const void *pointer);
    void text(std::string_view text);
    void word(std::string_view word);
    const std::string &line() const
    {
        return line_;
    }

private:
    std::string line_;
};

struct Step {
    const char *name;
    const char *calls;        // of libc or the contract that it compares; "": it changes the world
    int weight;               // how often it is made, next to the others
    Words (*words)(Random &); // its words, made up
    void (*run)(const Words &, Answer &);
};

struct Family {
    const char *name;
    std::initializer_list<Step> steps;
    int longest;         // sequence
    bool in_own_process; // each sequence
    void (*begin)();     // a fresh world
    void (*end)();       // null: nothing to do
};

// ---- words made up ----

Words no_words(Random &random);
std::string some_text(Random &random, int longest);

// The program: --list, or --family NAME with --seed N --rounds N, --print too, or --script (from standard input).
// `begin` is called before the first sequence; from then on standard output is the steps' own.
int play(int count, char **arguments, void (*begin)(), std::initializer_list<const Family *> families);

} // namespace pair

#endif
