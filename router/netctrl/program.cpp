#include "router/netctrl/program.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int CANNOT_EXECUTE = 126; // as shells have it

bool is_something(const std::string &path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

// What we have changed for ourselves and a program does not expect.
void restore_signals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
}

[[noreturn]] void become(const char *path, char *const *environment, pid_t parent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(CANNOT_EXECUTE);
    restore_signals();
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0)
        dup2(nothing, STDIN_FILENO);
    char *const arguments[] = {const_cast<char *>(path), nullptr}; // NOLINT(*-const-cast): execve does not change them
    execve(path, arguments, environment);
    fprintf(stderr, "netctrl: cannot run %s: %s\n", path, strerror(errno));
    _exit(CANNOT_EXECUTE);
}

} // namespace

std::string program_of(const program_folders &folders, std::string_view verb)
{
    const std::string owners = folders.owner + "/" + std::string(verb);
    char target[PATH_MAX];
    if (is_something(owners)) {
        const bool is_off = realpath(owners.c_str(), target) != nullptr && strcmp(target, "/dev/null") == 0;
        return is_off ? target : owners;
    }
    std::string packages = folders.package + "/" + std::string(verb);
    return is_something(packages) ? packages : std::string();
}

pid_t start_program(const std::string &path, const std::vector<std::string> &variables)
{
    std::vector<char *> environment;
    environment.reserve(variables.size() + 1);
    for (const std::string &variable : variables)
        environment.push_back(
            const_cast<char *>(variable.c_str())); // NOLINT(*-const-cast): execve does not change them
    for (char **own = environ; *own != nullptr; own++)
        if (strncmp(*own, "TC_", 3) != 0 && strncmp(*own, "NOTIFY_SOCKET=", 14) != 0)
            environment.push_back(*own);
    environment.push_back(nullptr);

    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0)
        become(path.c_str(), environment.data(), parent);
    if (child > 0)
        setpgid(child, child); // here too: who comes first does it
    return child;
}
