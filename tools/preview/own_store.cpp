#include "tools/preview/own_store.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace preview
{

namespace
{

std::string cfm_path()
{
    std::error_code error;
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path beside = own.parent_path() / "cfm";
    return !error && access(beside.c_str(), X_OK) == 0 ? beside.string() : "cfm";
}

[[noreturn]] void become_cfm(const std::string &path, int output)
{
    dup2(output, STDOUT_FILENO);
    execlp(path.c_str(), "cfm", "export", nullptr);
    _exit(127); // as the shell says that there is no such program
}

std::string read_to_end(int fd)
{
    std::string text;
    std::array<char, 65536> piece = {};
    for (ssize_t got = 0; (got = read(fd, piece.data(), piece.size())) != 0;)
        if (got > 0)
            text.append(piece.data(), static_cast<size_t>(got));
        else if (errno != EINTR)
            break;
    return text;
}

} // namespace

settings own_store()
{
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw refused(fmt::format("cannot ask for the store: {}", std::strerror(errno)));
    const std::string path = cfm_path();
    const pid_t child = fork();
    if (child == 0)
        become_cfm(path, ends[1]);
    close(ends[1]);
    std::string text = child > 0 ? read_to_end(ends[0]) : "";
    close(ends[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        throw refused(fmt::format("cannot ask for the store: {}", std::strerror(errno)));
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw refused(WIFEXITED(status) && WEXITSTATUS(status) == 127 ? "there is no cfm to ask for this router's store"
                                                                      : "this router's store cannot be read");
    return parse_settings(std::move(text), "this router's store");
}

} // namespace preview
