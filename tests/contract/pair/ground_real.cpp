// The plain-Linux ground's side. It is played in kit/in_namespaces.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <unistd.h>

#include "tests/contract/config_store_folders.h"
#include "tests/contract/kit/world.h"
#include "tests/contract/pair/ground_steps.h"

namespace pair
{

static std::unique_ptr<StoreFolders> folders;

// What the ground says on standard error is not compared.
void begin_program()
{
    const int file = open("/tmp/said", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(file, STDERR_FILENO);
    dup2(file, STDOUT_FILENO);
    close(file);
    if (system("ip link set lo up") != 0) // NOLINT(cert-env33-c)
        _exit(1);
}

void begin_ground()
{
    folders.reset();
    folders = std::make_unique<StoreFolders>();
}

void begin_world()
{
    folders.reset();
    kit_world.begin();
}

void end_world()
{
    kit_end_processes();
    kit_world.end();
}

void restart_store()
{
    folders->restart();
}

void teach_status(const std::string & /*command*/, int /*status*/)
{
}

void put_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

void take_file(const std::string &path)
{
    unlink(path.c_str());
}

static std::string said_by(const char *command)
{
    std::string text;
    char piece[512];
    FILE *const stream = popen(command, "r"); // NOLINT(cert-env33-c)
    while (stream != nullptr && fgets(piece, sizeof piece, stream) != nullptr)
        text += piece;
    if (stream != nullptr)
        pclose(stream);
    return text;
}

// "100: from all to 192.0.2.1 iif lo lookup 201" as it was asked for.
static std::string rules_of_routing()
{
    std::istringstream lines(said_by("ip rule"));
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        const size_t colon = line.find(":\tfrom all ");
        if (line.starts_with("0:") || line.starts_with("3276") || colon == std::string::npos)
            continue;
        std::string selector = line.substr(colon + strlen(":\tfrom all "));
        while (selector.ends_with(' '))
            selector.pop_back();
        all += line.substr(0, colon) + " " + selector + "\n";
    }
    return all;
}

std::string rules_here()
{
    std::string all = rules_of_routing();
    for (const char *chain : {"OUTPUT", "TEST"}) {
        std::istringstream lines(said_by((std::string("iptables -S ") + chain + " 2>/dev/null").c_str()));
        for (std::string line; std::getline(lines, line);)
            all += line.starts_with("-A ") ? line.substr(3) + "\n" : std::string("-N ") + chain + "\n";
    }
    return all;
}

} // namespace pair
