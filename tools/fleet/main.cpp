// tcctl-fleet: what tcctl fleet starts. A night of many routers, by the daemon itself in virtual time.
//
// Ends with 0, or with 2 and a line that says why there is nothing to show.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "platform/sim/virtual_router.h"
#include "tools/command_line.h"
#include "tools/fleet/counts.h"
#include "tools/fleet/night.h"
#include "tools/fleet/workers.h"
#include "tools/preview/progress.h"
#include "tools/tcctl/command.h"
#include "tools/tcctl/output.h"

namespace
{

using fleet::refused;

struct options {
    uint32_t routers = 0; // 0: not given
    std::string profile;
    uint64_t seed = 1;
    std::string night = "2026-03-02"; // a fixed one: the same words give the same night
    std::string shard;
    int jobs = 0; // 0: as many as there are processors
    std::string output;
    std::string format;
    std::vector<std::string> merged;
};

int fail(std::string_view why)
{
    fmt::print(stderr, "tcctl fleet: {}\n", tcctl::shown(why));
    return tcctl::CANNOT;
}

void add_options(CLI::App &app, options &given)
{
    constexpr uint32_t ROUTERS_MAX = 100000000;
    constexpr int JOBS_MAX = 1024;
    app.add_option("--routers", given.routers, "how many routers there are")
        ->type_name("N")
        ->check(CLI::Range(uint32_t{1}, ROUTERS_MAX));
    app.add_option("--profile", given.profile, "what they have in common, - for standard input (docs/fleet.md)")
        ->type_name("FILE");
    app.add_option("--seed", given.seed, "another number, other routers of the same kind (1)")->type_name("N");
    app.add_option("--night", given.night, "the day on whose evening it begins, YYYY-MM-DD (2026-03-02)")
        ->type_name("DATE");
    app.add_option("--shard", given.shard, "the I-th of K parts of them alone")->type_name("I/K");
    app.add_option("--jobs", given.jobs, "how many processes (one a processor)")
        ->type_name("N")
        ->check(CLI::Range(1, JOBS_MAX));
    app.add_option("--out", given.output, "where to (standard output)")->type_name("FILE");
    app.add_option("--format", given.format, "text, json or svg (text; of a shard json)")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "svg"}));
    CLI::Option *const merge =
        app.add_option("--merge", given.merged, "adds up what was written as JSON")->type_name("FILE")->expected(1, -1);
    for (const char *other : {"--routers", "--profile", "--seed", "--night", "--shard", "--jobs"})
        merge->excludes(app.get_option(other));
}

uint32_t read_number(std::string_view text)
{
    uint32_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && stop == text.data() + text.size() ? value : 0;
}

// Parts that differ by one router at the most.
fleet::span shard_of(const options &given)
{
    if (given.shard.empty())
        return {.first = 1, .last = given.routers};
    const size_t slash = given.shard.find('/');
    const uint64_t number = read_number(std::string_view(given.shard).substr(0, slash));
    const uint64_t parts =
        slash == std::string::npos ? 0 : read_number(std::string_view(given.shard).substr(slash + 1));
    if (number < 1 || parts < number)
        throw refused("--shard: not I/K with I from 1 to K: " + given.shard);
    if (parts > given.routers)
        throw refused(fmt::format("--shard: {} parts of {} routers", parts, given.routers));
    return {.first = static_cast<uint32_t>(given.routers * (number - 1) / parts + 1),
            .last = static_cast<uint32_t>(given.routers * number / parts)};
}

fleet::counts simulated(const options &given)
{
    if (given.routers == 0)
        throw refused("--routers is missing (--help lists the options)");
    const fleet::profile profile = fleet::read_profile(given.profile);
    fleet::counts result = fleet::no_counts(profile, given.night, given.seed, given.routers);
    preview::progress_line progress;
    fleet::run_nights(result, profile, shard_of(given), given.jobs == 0 ? fleet::processors() : given.jobs,
                      [&progress](double done) { progress.show(done); });
    progress.clear();
    return result;
}

fleet::counts read_counts(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad())
        throw refused(fmt::format("cannot read {}: {}", path, std::strerror(errno)));
    return fleet::counts_of(text, path);
}

fleet::counts merged(const options &given)
{
    fleet::counts result = read_counts(given.merged[0]);
    for (size_t i = 1; i < given.merged.size(); i++)
        try {
            fleet::add(result, read_counts(given.merged[i]));
        } catch (const refused &why) {
            throw refused(fmt::format("{}: {}", given.merged[i], why.what()));
        }
    sim::router().local_time.set_zone(result.zone);
    return result;
}

std::string formatted(const fleet::counts &result, const options &given)
{
    if (given.format == "json" || (given.format.empty() && !given.shard.empty()))
        return fleet::json_of(result);
    return given.format == "svg" ? fleet::svg_of(result) : fleet::text_of(result);
}

int show(const options &given)
{
    const std::string text = formatted(given.merged.empty() ? simulated(given) : merged(given), given);
    if (given.output.empty() || given.output == "-")
        return tcctl::print(text);
    std::ofstream file(given.output, std::ios::binary);
    if (!file.write(text.data(), static_cast<std::streamsize>(text.size())) || !file.flush())
        throw refused(fmt::format("cannot write {}: {}", given.output, std::strerror(errno)));
    return tcctl::WELL;
}

int run(const std::vector<std::string> &words)
{
    CLI::App app("A night of many routers: when they restart, and what they ask of the internet.", "tcctl fleet");
    app.set_version_flag("--version", "tcctl fleet " TCCTL_VERSION);
    options given;
    add_options(app, given);
    try {
        take_words(app, words);
    } catch (const CLI::ParseError &error) {
        if (app.exit(error) != 0)
            return tcctl::CANNOT;
        return std::cout.flush() ? tcctl::WELL : fail("cannot write the help");
    }
    try {
        return show(given);
    } catch (const refused &why) { // which may hold foreign text
        return fail(why.what());
    }
}

} // namespace

int main(int argc, char *argv[])
{
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "tcctl fleet: %s\n", error.what());
        return tcctl::CANNOT;
    }
}
