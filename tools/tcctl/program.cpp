#include "tools/tcctl/program.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/tcctl/output.h"

namespace tcctl
{

namespace
{

// Beside tcctl in a build; the folder is where they are installed.
std::array<std::filesystem::path, 2> folders()
{
    std::error_code error;
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    return {own, (own / TCCTL_LIBEXEC_FOLDER).lexically_normal()};
}

// "" where there is none.
std::string find_program(const char *program)
{
    for (const std::filesystem::path &folder : folders())
        if (access((folder / program).c_str(), X_OK) == 0)
            return folder / program;
    return "";
}

int run(const char *program, const char *name, std::vector<std::string> words)
{
    const std::string path = find_program(program);
    if (path.empty())
        return fail(fmt::format("there is no {} on this router, neither beside tcctl nor in {}", program,
                                folders().back().string()));
    words.insert(words.begin(), name);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(path.c_str(), arguments.data());
    return fail(fmt::format("cannot start {}: {}", path, std::strerror(errno)));
}

} // namespace

run_fn add_program(CLI::App &app, const char *program, const char *name)
{
    app.set_help_flag(); // the program's own help has the options
    app.prefix_command();
    return [&app, program, name] { return run(program, name == nullptr ? program : name, app.remaining()); };
}

} // namespace tcctl
