// The program cfm, run as a shell runs it, on a store of the test's own.
#ifndef TESTS_CONTRACT_CFM_PROGRAM_H
#define TESTS_CONTRACT_CFM_PROGRAM_H

#include <array>
#include <cstdio>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "tests/contract/config_store_folders.h"

struct Outcome {
    int status;
    std::string output; // standard output and standard error
};

inline bool operator==(const Outcome &a, const Outcome &b)
{
    return a.status == b.status && a.output == b.output;
}

inline void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.status << ": " << outcome.output;
}

class Cfm : public testing::Test
{
protected:
    // What stands there from the beginning is no news.
    Cfm()
    {
        config_store_open();
    }

    // `words` is what stands behind "cfm" on a shell's line.
    static Outcome cfm(const std::string &words)
    {
        FILE *output = popen(("{ timeout 60 '" CFM_PROGRAM "' " + words + "; } 2>&1").c_str(), "r");
        if (output == nullptr)
            throw std::runtime_error("no shell");
        Outcome outcome;
        std::array<char, 4096> piece = {};
        for (size_t got = 0; (got = fread(piece.data(), 1, piece.size(), output)) > 0;)
            outcome.output.append(piece.data(), got);
        outcome.status = WEXITSTATUS(pclose(output));
        return outcome;
    }
    static std::string output(const std::string &words)
    {
        return cfm(words).output;
    }

    StoreFolders folders;
};

#endif
