// start_bench CFM EMPTY FILE KEY: a "cfm get KEY" from start to exit, in turn with an empty program of the same
// linkage, and with grep and cut in a shell, reading FILE.
// start_bench TCCTL EMPTY STREAMS: a "tcctl status" of a daemon that is well, in turn with the empty program, and with
// one that holds the C++ library's streams, as tcctl does; before that the processor time and page faults of each.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
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

struct start_cost {
    std::vector<double> cpu_us; // user and system
    std::vector<double> faults;
};

void take_start(const std::vector<std::string> &words, start_cost *cost)
{
    const auto cpu_us = [](const rusage &usage) {
        return 1e6 * static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    };
    rusage before = {};
    rusage after = {};
    getrusage(RUSAGE_CHILDREN, &before);
    run(words);
    getrusage(RUSAGE_CHILDREN, &after);
    cost->cpu_us.push_back(cpu_us(after) - cpu_us(before));
    cost->faults.push_back(static_cast<double>(after.ru_minflt - before.ru_minflt));
}

// In turn, so that other work on the machine meets all of them alike.
void print_costs(const std::vector<std::vector<std::string>> &programs)
{
    constexpr int ROUNDS = 500;
    std::vector<start_cost> costs(programs.size());
    for (int round = 0; round < ROUNDS; round++)
        for (size_t i = 0; i < programs.size(); i++)
            take_start(programs[i], &costs[i]);
    for (size_t i = 0; i < programs.size(); i++) {
        std::string name = programs[i][0];
        for (size_t word = 1; word < programs[i].size(); word++)
            name += " " + programs[i][word];
        std::printf("start\t%s\tcpu us\t%.0f\n", name.c_str(), bench::part_of(costs[i].cpu_us, 0.5));
        std::printf("start\t%s\tpage faults\t%.0f\n", name.c_str(), bench::part_of(costs[i].faults, 0.5));
    }
}

void compare_status(const std::vector<std::string> &arguments)
{
    print_costs({{arguments[0], "status"}, {arguments[1]}, {arguments[2]}});
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
