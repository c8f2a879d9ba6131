// Ends a process at any instruction of what it does, and not only where it happens to be after a sleep. x86-64.
#ifndef TESTS_LAB_INSTRUCTION_KILL_H
#define TESTS_LAB_INSTRUCTION_KILL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

// What a process goes through in an act, each instruction of its own: none of the kernel's.
struct Course {
    std::vector<uintptr_t> at; // the address of each instruction, in the order in which they are carried out
    std::vector<size_t> calls; // the numbers of those that are system calls
};

// Goes through the act once in a child, step by step; a hundred times as slow as it is. Empty: the child did not come
// to its end, or has more instructions than room. The act must not begin processes, threads or signal handlers.
Course course_of(const std::function<void()> &act);

struct Killed {
    bool is_exact = false;  // just before the instruction that was asked for; otherwise at a system call near it
    bool has_ended = false; // before it came there: it went another way
};

// Begins the act in a child and ends that by SIGKILL before its instruction of this number. To get there soon it runs
// freely up to the last system call before it, and from there to the nearest instruction that it comes by seldom.
Killed kill_at(const Course &course, size_t number, const std::function<void()> &act);

#endif
