// tcctl-replay: what tcctl replay starts.
#ifndef TOOLS_REPLAY_PROGRAM_H
#define TOOLS_REPLAY_PROGRAM_H

#include <string>
#include <vector>

namespace replay
{

// Runs the program with these words; its exit status. Throws what cannot be done.
int run_program(const std::vector<std::string> &words);

} // namespace replay

#endif
