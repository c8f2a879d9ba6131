// start_bench CFM EMPTY FILE KEY: a "cfm get KEY" from start to exit, in turn with an empty program of the same
// linkage, and with grep and cut in a shell, reading FILE.
// start_bench TCCTL EMPTY STREAMS: a "tcctl status" of a daemon that is well, in turn with the empty program, and with
// one that holds the C++ library's streams, as tcctl does.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench/alternate.h"

namespace
{

// What the program prints goes nowhere.
void run(std::vector<std::string> words)
{
    static posix_spawn_file_actions_t actions;
    static const int prepared = posix_spawn_file_actions_init(&actions) +
                                posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (prepared != 0 || posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) < 0 || status != 0) {
        std::fprintf(stderr, "%s fails\n", arguments[0]);
        std::exit(1); // NOLINT(concurrency-mt-unsafe)
    }
}

void compare_status(const std::vector<std::string> &arguments)
{
    const bench::way status = {"tcctl status", [&] { run({arguments[0], "status"}); }, {}};
    bench::alternate("tcctl status, start to exit", status, {"empty program", [&] { run({arguments[1]}); }, {}},
                     {15, 20, 1});
    bench::alternate("tcctl status, start to exit", status,
                     {"empty program with streams", [&] { run({arguments[2]}); }, {}}, {15, 20, 1});
}

void compare_get(const std::vector<std::string> &arguments)
{
    const std::string shell = "grep '^" + arguments[3] + "=' " + arguments[2] + " | cut -d= -f2";
    const bench::way cfm = {"cfm get", [&] { run({arguments[0], "get", arguments[3]}); }, {}};
    bench::alternate("cfm get, start to exit", cfm, {"empty program", [&] { run({arguments[1]}); }, {}}, {15, 20, 1});
    bench::alternate("cfm get, start to exit", cfm,
                     {"sh, grep and cut",
                      [&] {
                          run({"sh", "-c", shell});
                      },
                      {}},
                     {15, 20, 1});
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (argc == 4) {
        compare_status(arguments);
    } else if (argc == 5) {
        compare_get(arguments);
    } else {
        std::fputs("usage: start_bench CFM EMPTY FILE KEY\n       start_bench TCCTL EMPTY STREAMS\n", stderr);
        return 2;
    }
}
